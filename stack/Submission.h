// What a call of "add" submits.
#pragma once

#include <string>
#include <vector>

#include <platform/hevra/Command.h>
#include <stack/Variant.h>

namespace Quarnix::Hevra::Stack {

struct Submission {
  Variant variant = Variant::HEVRA;
  std::string group;
  std::vector<Command> commands;  // unchanged
};

}  // namespace Quarnix::Hevra::Stack
