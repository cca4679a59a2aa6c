// A read-only list with a cursor of its own. What fills one is elsewhere (for the command manager,
// Proxy::CommandContainerList).
#pragma once

#include <platform/core/Export.h>

namespace Quarnix::HomeAutomation {

/// A walk over elements: `while (list.next()) use(list.get());`.
///
/// The cursor moves although the operations are const: it is no part of the list's value.
/// Threads: one at a time, reading included.
template <class T>
class HEVRA_EXPORT Container {
 public:
  virtual ~Container() = default;

  /// The current element; valid until the list changes. What it raises without a current element is the list's own.
  virtual const T& get() const = 0;
  /// Goes to the next element, from a fresh list to the first; false when there is none.
  virtual bool next() const = 0;
  /// Rewinds: the following `next` is as on a fresh list.
  virtual void reset() const = 0;
};

}  // namespace Quarnix::HomeAutomation
