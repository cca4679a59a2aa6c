// What is known of the commands that `send` follows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include <platform/core/Mutex.h>
#include <platform/hevra/Command.h>

namespace Quarnix::Hevra::Tools {

/// Notes the commands' statuses. Threads: any.
class Progress {
 public:
  struct Outcome {
    std::size_t completed = 0;
    std::size_t failed = 0;  // ended in any other status
    std::vector<std::uint32_t> unfinished;
    std::size_t reports = 0;  // heard, doubled ones too
  };

  explicit Progress(const std::vector<Command>& commands);

  void note(std::uint32_t id, HvDetailedCommandStatus status);
  /// Nothing more will come.
  void close();
  bool isClosed() const;
  Outcome getOutcome() const;

 private:
  mutable Mutex mutex_;
  bool closed_ HEVRA_GUARDED_BY(mutex_) = false;
  std::size_t reports_ HEVRA_GUARDED_BY(mutex_) = 0;
  std::map<std::uint32_t, HvDetailedCommandStatus> statuses_ HEVRA_GUARDED_BY(mutex_);
};

}  // namespace Quarnix::Hevra::Tools
