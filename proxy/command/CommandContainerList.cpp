// Moves the list's cursor.
#include <proxy/command/CommandContainerList.h>

namespace Quarnix::Hevra::Proxy {

CommandContainerList::BadUse::~BadUse() = default;

const char* CommandContainerList::BadUse::getId() const {
  return "com.quarnix.Trellium.Application.Hevra.Proxy.Command.Container.BadUse";
}

void CommandContainerList::append(Hevra::Command command) {
  const bool atEnd = cursor_ == elements_.size();
  elements_.push_back(std::move(command));
  if (atEnd) --cursor_;
}

const Hevra::Command& CommandContainerList::get() const {
  if (!started_ || cursor_ == 0 || cursor_ == elements_.size()) throw BadUse();
  return elements_[cursor_];
}

bool CommandContainerList::next() const {
  if (!started_) {
    cursor_ = 0;
    started_ = true;
    return next();
  }
  if (cursor_ == elements_.size()) return false;
  ++cursor_;
  return cursor_ != elements_.size();
}

void CommandContainerList::reset() const {
  cursor_ = 0;
  started_ = false;
}

}  // namespace Quarnix::Hevra::Proxy
