// The list of commands that you give to the command manager.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <vector>

#include <platform/core/Exception.h>
#include <platform/hevra/Command.h>
#include <platform/hevra/homeautomation/Container.h>

namespace Quarnix::Hevra::Proxy {

/// It holds commands in the order in which you append them, and the cursor of a walk over them.
///
/// The first element of the vector is the list's own and no command: the cursor starts on it, and `next` moves to what
/// is behind it. A copy has its own cursor, at the same place. Threads: as any value. Walking is const, but counts as
/// writing.
class HEVRA_EXPORT CommandContainerList : public HomeAutomation::Container<Hevra::Command> {
 public:
  /// `get` raises it if there is no current command.
  class HEVRA_EXPORT BadUse : public Quarnix::Exception {
   public:
    BadUse() = default;
    ~BadUse() override;
    const char* getId() const override;
  };

  CommandContainerList() : elements_(1) {}
  CommandContainerList(std::initializer_list<Hevra::Command> commands)
      : CommandContainerList(commands.begin(), commands.end()) {}
  template <class InputIterator>
  CommandContainerList(InputIterator first, InputIterator last) : CommandContainerList() {
    elements_.insert(elements_.end(), first, last);
  }
  // It has no moves, because a list that was moved from would lack its own first element.
  CommandContainerList(const CommandContainerList&) = default;
  CommandContainerList& operator=(const CommandContainerList&) = default;

  /// Appends a command. A walk stays on its command and reaches the new one later. A walk at its end goes back to the
  /// last command, so that its `next` moves to the new one. References that `get` has returned are no longer valid.
  void append(Hevra::Command command);
  /// How many commands the list has.
  std::size_t size() const noexcept { return elements_.size() - 1; }

  /// The current command. Raises BadUse before the first `next` after construction or `reset`, and after `next` was
  /// false.
  const Hevra::Command& get() const override;
  bool next() const override;
  void reset() const override;

 private:
  std::vector<Hevra::Command> elements_;
  mutable std::size_t cursor_ = 0;  // the place of the current element, which an append does not change
  mutable bool started_ = false;
};

}  // namespace Quarnix::Hevra::Proxy
