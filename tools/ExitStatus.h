// How hevractl ends.
#pragma once

namespace Quarnix::Hevra::Tools {

enum class ExitStatus : int {
  DONE = 0,         // and the answer was yes
  NO = 1,           // the service answered no, or a command ended in another status than COMPLETED
  WRONG_INPUT = 2,  // of the command line or the input; nothing was sent
  BUS_ERROR = 3,    // the bus or the service answered with an error
  GAVE_UP = 4,      // waiting for commands, or the last of them timed out
};

}  // namespace Quarnix::Hevra::Tools
