// How the programs end.
#pragma once

namespace Quarnix::Hevra::Cli {

enum class ExitStatus : int {
  DONE = 0,         // all went well, and the service answered yes
  NO = 1,           // the service answered no, or a command ended with another status than COMPLETED
  WRONG_INPUT = 2,  // the command line or the input is wrong; nothing was sent
  BUS_ERROR = 3,    // the bus or the service answered with an error
  GAVE_UP = 4,      // commands did not end in time
};

}  // namespace Quarnix::Hevra::Cli
