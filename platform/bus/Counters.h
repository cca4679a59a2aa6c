// What a connection has done so far, for diagnosis.
#pragma once

#include <cstddef>
#include <cstdint>

#include <platform/core/time/Elapsed.h>

namespace Quarnix::Bus {

/// The figures of a connection since it was opened. `Connection::getCounters` returns those of one moment.
struct Counters {
  std::size_t callsInFlight = 0;  // on the bus, without a reply so far
  std::size_t callsWaiting = 0;   // for a place among the calls on the bus, or for the bus
  std::uint64_t callsAnswered = 0;
  std::uint64_t callsFailed = 0;    // with an error reply, of the service, the bus or this library
  std::uint64_t callsTimedOut = 0;  // with no reply in time

  std::uint64_t droppedTooLarge =
      0;                            // messages that were discarded, because they were too large or there was no memory
  std::uint64_t droppedSlow = 0;    // signals for objects that were too slow
  std::uint64_t droppedUnread = 0;  // answers for a bus that does not read

  std::uint64_t connects = 0;       // how often the bus was reached
  Time::Elapsed lastRoundTrip;      // of the last call that was answered; 0 before the first
  std::uint64_t bytesSent = 0;      // to the bus
  std::uint64_t bytesReceived = 0;  // in whole messages from the bus
};

}  // namespace Quarnix::Bus
