// Keeps track of the commands that `send` follows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <vector>

#include <platform/hevra/Command.h>
#include <proxy/command/Outcome.h>

namespace Quarnix::Hevra::Tools {

class Progress {
 public:
  struct Summary {
    std::size_t completed = 0;
    std::size_t failed = 0;                 // ended with any other status
    std::vector<std::uint32_t> lost;        // the service had them and has gone
    std::vector<std::uint32_t> unheard;     // no report came for so long that the manager gave them up
    std::vector<std::uint32_t> unfinished;  // have not ended yet
  };

  explicit Progress(const std::vector<Command>& commands);

  /// Notes how a command ended.
  void end(std::uint32_t id, const Proxy::Command::Outcome& outcome);
  /// Returns whether all commands have ended.
  bool isEnded() const noexcept { return unfinished_.empty(); }
  Summary getSummary() const;

 private:
  std::set<std::uint32_t> unfinished_;
  Summary summary_;  // without `unfinished`
};

}  // namespace Quarnix::Hevra::Tools
