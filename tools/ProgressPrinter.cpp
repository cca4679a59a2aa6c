// The two forms of a progress line.
#include <tools/ProgressPrinter.h>

#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <iostream>

#include <stack/forms/CommandForm.h>
#include <stack/forms/Printable.h>

namespace Quarnix::Hevra::Tools {

namespace {

constexpr std::size_t STATUS_WIDTH = 11;
constexpr std::size_t NODE_WIDTH = 10;
constexpr std::size_t PARAMETER_WIDTH = 18;

std::string pad(std::string text, std::size_t width) {
  text.resize(std::max(text.size(), width), ' ');
  return text + "  ";
}

std::string hexadecimal(std::uint64_t number) {
  char digits[19];
  const int length = std::snprintf(digits, sizeof digits, "0x%" PRIx64, number);
  return std::string(digits, static_cast<std::size_t>(length));
}

std::string keyOf(const Group& group, std::uint32_t id) { return group.getId() + "_" + std::to_string(id); }

/// The value as JSON has it, which leaves no control characters for the terminal.
std::string describe(const Shared::Pointer<HvType>& value) {
  constexpr std::size_t LONGEST = 60;
  const nlohmann::ordered_json form = Stack::Forms::writeValue(value);
  if (form.is_null()) return "-";
  std::string text = form["type"].get<std::string>() + " " + form["value"].dump();
  if (text.size() > LONGEST) text = text.substr(0, LONGEST) + "...";
  return text;
}

const char* colourOf(HvDetailedCommandStatus status) {
  if (!Command::isFinalStatus(status)) return "\033[33m";
  return status == HvDetailedCommandStatus::COMPLETED ? "\033[32m" : "\033[31m";
}

bool isColourWanted() {
  const char* const refused = std::getenv("NO_COLOR");
  return !(refused && *refused) && ::isatty(STDOUT_FILENO);
}

}  // namespace

std::string nameOf(HvDetailedCommandStatus status) {
  static constexpr const char* NAMES[] = {"INITIALIZED", "TRANSMITTED", "IN_PROGRESS", "COMPLETED", "FAILED",
                                          "CANCELLED",   "DELAYED",     "TIMED_OUT",   "REJECTED"};
  const auto number = static_cast<std::uint32_t>(status);
  return number < std::size(NAMES) ? NAMES[number] : std::to_string(number);
}

ProgressPrinter::ProgressPrinter(bool json, const Group& group, const std::vector<Command>& commands)
    : json_(json), coloured_(isColourWanted()), keyWidth_(std::char_traits<char>::length("COMMAND")) {
  for (const Command& command : commands) keyWidth_ = std::max(keyWidth_, keyOf(group, command.getId()).size());
}

void ProgressPrinter::print(const Command& command, const Group& group, HomeAutomation::Command::Status status) {
  if (!json_) return printRow(command, group);
  const nlohmann::ordered_json line = {{"event", "progress"},
                                       {"group", group.getId()},
                                       {"status", static_cast<std::int32_t>(status)},
                                       {"final", Command::isFinalStatus(command.getStatus())},
                                       {"command", Stack::Forms::writeCommand(command)}};
  std::cout << line.dump() << std::endl;
}

void ProgressPrinter::printRow(const Command& command, const Group& group) {
  if (!titled_) {
    std::cout << pad("COMMAND", keyWidth_) << pad("STATUS", STATUS_WIDTH) << pad("NODE", NODE_WIDTH)
              << pad("PARAMETER", PARAMETER_WIDTH) << "VALUE\n";
    titled_ = true;
  }
  std::string status = pad(nameOf(command.getStatus()), STATUS_WIDTH);
  if (coloured_) status = colourOf(command.getStatus()) + status + "\033[0m";
  std::string row = pad(Stack::Forms::printable(keyOf(group, command.getId())), keyWidth_) + status +
                    pad(hexadecimal(command.getAddress()), NODE_WIDTH) +
                    pad(hexadecimal(command.getParameterId()), PARAMETER_WIDTH) + describe(command.getValue());
  if (!command.getLabel().empty()) row += "  " + nlohmann::json(command.getLabel()).dump();
  const DetailedError& error = command.getDetailedError();
  if (error.getErrorCode().getErrorType() != 0 || error.getErrorCode().getErrorId() != 0)
    row += "  error " + nlohmann::json(error.getErrorFieldsToString()).dump();
  std::cout << row << std::endl;
}

}  // namespace Quarnix::Hevra::Tools
