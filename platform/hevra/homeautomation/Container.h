// A read-only list with a cursor of its own. Derived classes fill it, such as Proxy::CommandContainerList for the
// command manager.
#pragma once

#include <platform/core/Export.h>

namespace Quarnix::HomeAutomation {

/// A walk over elements: `while (list.next()) use(list.get());`.
///
/// The operations are const although they move the cursor, which is no part of the list's value.
/// Threads: one at a time, even to read.
template <class T>
class HEVRA_EXPORT Container {
 public:
  virtual ~Container() = default;

  /// The current element, valid until the list changes. The derived class decides what it raises when there is none.
  virtual const T& get() const = 0;
  /// Goes to the next element; in a fresh list, to the first. Returns false when there is none.
  virtual bool next() const = 0;
  /// Makes the list fresh again.
  virtual void reset() const = 0;
};

}  // namespace Quarnix::HomeAutomation
