// A link of a ring in which objects stand without needing memory for it.
#pragma once

namespace Quarnix {

/// A link that is not in a ring is a ring of its own. The head of a list is a link too.
///
/// Threads: one at a time.
class Link {
 public:
  Link() = default;
  Link(const Link&) = delete;
  Link& operator=(const Link&) = delete;

  bool isAlone() const noexcept { return next_ == this; }
  Link* next() const noexcept { return next_; }

  /// Puts this link, which is alone, before `other`; before the head means at the end of the list.
  void insertBefore(Link& other) noexcept {
    next_ = &other;
    previous_ = other.previous_;
    previous_->next_ = other.previous_ = this;
  }
  /// Takes it out of its ring.
  void remove() noexcept {
    previous_->next_ = next_;
    next_->previous_ = previous_;
    next_ = previous_ = this;
  }

 protected:
  ~Link() = default;

 private:
  Link* next_ = this;
  Link* previous_ = this;
};

}  // namespace Quarnix
