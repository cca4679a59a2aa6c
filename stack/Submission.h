// What one call of "add" has submitted.
#pragma once

#include <string>
#include <vector>

#include <platform/hevra/Command.h>
#include <stack/Variant.h>

namespace Quarnix::Hevra::Stack {

struct Submission {
  Variant variant = Variant::HEVRA;
  std::string group;
  std::vector<Command> commands;  // as they came
};

}  // namespace Quarnix::Hevra::Stack
