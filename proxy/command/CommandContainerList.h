// The list of commands that callers of the command manager fill.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <vector>

#include <platform/core/Exception.h>
#include <platform/hevra/Command.h>
#include <platform/hevra/homeautomation/Container.h>

namespace Quarnix::Hevra::Proxy {

/// Commands in the order in which they were appended, with the walk's cursor.
///
/// The vector's first element is the list's own and never a command of anybody's: the cursor starts on it and `next`
/// yields what stands behind it. A copy has its own cursor, which stands where the original's did.
/// Threads: as any value; walking it, const though it is, counts as writing.
class HEVRA_EXPORT CommandContainerList : public HomeAutomation::Container<Hevra::Command> {
 public:
  /// Raised by `get` without a current command.
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
  // No moves: what is left of a list must still have its own first element.
  CommandContainerList(const CommandContainerList&) = default;
  CommandContainerList& operator=(const CommandContainerList&) = default;

  /// Appends a command. A walk under way stays on its command, and yields the new one when it gets there; one that was
  /// at its end is on the last command again, so that its `next` yields the new one. References that `get` gave are no
  /// longer valid.
  void append(Hevra::Command command);
  /// How many commands will be sent.
  std::size_t size() const noexcept { return elements_.size() - 1; }

  /// The current command; BadUse before the first `next` after construction or `reset`, and once `next` was false.
  const Hevra::Command& get() const override;
  bool next() const override;
  void reset() const override;

 private:
  std::vector<Hevra::Command> elements_;
  mutable std::size_t cursor_ = 0;  // the current element's place, which an append does not move
  mutable bool started_ = false;
};

}  // namespace Quarnix::Hevra::Proxy
