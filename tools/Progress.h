// What is known of the commands that `send` follows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <vector>

#include <platform/core/Mutex.h>
#include <platform/hevra/Command.h>
#include <proxy/command/Outcome.h>

namespace Quarnix::Hevra::Tools {

/// Counts how the commands ended. Threads: any.
class Progress {
 public:
  struct Summary {
    std::size_t completed = 0;
    std::size_t failed = 0;  // ended in any other status
    std::vector<std::uint32_t> lost;
    std::vector<std::uint32_t> unheard;     // forgotten, because no more was heard of them
    std::vector<std::uint32_t> unfinished;  // by now
  };

  explicit Progress(const std::vector<Command>& commands);

  void end(std::uint32_t id, const Proxy::Command::Outcome& outcome);
  /// Whether all have.
  bool isEnded() const;
  Summary getSummary() const;

 private:
  mutable Mutex mutex_;
  std::set<std::uint32_t> unfinished_ HEVRA_GUARDED_BY(mutex_);
  Summary summary_ HEVRA_GUARDED_BY(mutex_);  // but for `unfinished`
};

}  // namespace Quarnix::Hevra::Tools
