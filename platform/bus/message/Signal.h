// A signal.
#pragma once

#include <platform/bus/message/Base.h>

namespace Quarnix::Bus::Message {

/// A bus object announces something: its path, an interface, a member and arguments.
class HEVRA_EXPORT Signal : public Base {
 public:
  /// Raises InvalidArgument for what is no path, interface or member.
  Signal(const std::string& path, const char* interface, const char* member);
  Signal(Frame frame, const Header& header) noexcept : Base(std::move(frame), header) {}
  Signal(const Signal&) = default;
  Signal(Signal&&) noexcept = default;
  Signal& operator=(const Signal&) = default;
  Signal& operator=(Signal&&) noexcept = default;
  ~Signal() override;

  /// Sends it to one connection instead of all that listen.
  void setDestination(const std::string& busName);
};

}  // namespace Quarnix::Bus::Message
