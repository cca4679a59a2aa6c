// The identifier under which commands are submitted together.
#pragma once

#include <string>
#include <utility>

#include <platform/core/Export.h>

namespace Quarnix::Hevra {

/// A group of commands, known by its identifier, which may be any text. The identifiers of the group and of the command
/// together name a command ("g1" and 7 make "g1_7"), so that two groups in flight need two identifiers.
class HEVRA_EXPORT Group {
 public:
  /// True makes a fresh identifier, 16 random hexadecimal digits (raises std::system_error when the system has no
  /// randomness to give); false leaves it empty.
  explicit Group(bool generate);
  explicit Group(const std::string& id) : id_(id) {}
  /// `id` must not be null.
  explicit Group(const char* id) : id_(id) {}

  const std::string& getId() const noexcept { return id_; }
  void setId(std::string id) noexcept { id_ = std::move(id); }

 private:
  std::string id_;
};

}  // namespace Quarnix::Hevra
