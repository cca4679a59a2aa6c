// Makes the JSON of each value from the words, so that files and the command line take the same values.
#include <tools/Writes.h>

#include <charconv>
#include <cstddef>

#include <nlohmann/json.hpp>

#include <cli/Number.h>
#include <json/Malformed.h>
#include <json/ValueForm.h>

namespace Quarnix::Hevra::Tools {

using nlohmann::json;

namespace {

/// Returns what JSON has for the word. What is none stays a text, which the reader of values refuses, unless it is
/// right.
json valueOf(const std::string& type, const std::string& word) {
  if (type == "b") {
    for (const char* yes : {"true", "yes", "on", "1"})
      if (word == yes) return true;
    for (const char* no : {"false", "no", "off", "0"})
      if (word == no) return false;
  }
  if (type == "d") {
    double number = 0;
    const char* const end = word.data() + word.size();
    const auto [stop, error] = std::from_chars(word.data(), end, number);
    if (error == std::errc() && stop == end) return number;
  }
  if (type == "null" && word == "null") return nullptr;
  return word;
}

}  // namespace

std::vector<Command> Writes::read(const std::vector<std::string>& words) const {
  constexpr std::size_t EACH = 3;
  if (words.size() % EACH != 0)
    throw Json::Malformed("send", std::to_string(words.size()) + " words",
                          "a file, or ADDRESS TYPE VALUE of each command");
  std::vector<Command> commands;
  for (std::size_t i = 0; i < words.size(); i += EACH) {
    const std::string where = "command " + std::to_string(commands.size() + 1);
    Command command;
    command.setId(static_cast<std::uint32_t>(commands.size() + 1));
    command.setWrite(true);
    command.setAddress(static_cast<std::uint32_t>(Cli::readNumber(where + ": ADDRESS", words[i], UINT32_MAX)));
    command.setValue(Json::readValue({{"type", words[i + 1]}, {"value", valueOf(words[i + 1], words[i + 2])}}, where));
    if (delay) command.setDelay(*delay, 0);
    if (label) command.setLabel(*label);
    commands.push_back(std::move(command));
  }
  return commands;
}

}  // namespace Quarnix::Hevra::Tools
