// Prints the steps and gives advice about the errors of the bus.
#include <tools/Checkup.h>

#include <algorithm>
#include <string_view>

#include <cli/Printable.h>
#include <cli/Table.h>
#include <platform/bus/message/method/Return.h>

namespace Quarnix::Hevra::Tools {

using Cli::GREEN;
using Cli::RED;
using Cli::Terminal;

namespace {

constexpr std::size_t WIDTH = 79;
constexpr std::size_t NAME = 8;
constexpr std::size_t TEXT = 24;

void padTo(std::string& line, std::size_t column) { line.resize(std::max(line.size() + 1, column), ' '); }

/// Appends the words from column TEXT on, and breaks lines between words so that they stay below WIDTH.
void append(std::string& text, std::string_view words) {
  std::size_t column = TEXT;
  while (!words.empty()) {
    const std::string_view word = words.substr(0, words.find(' '));
    words.remove_prefix(std::min(words.size(), word.size() + 1));
    if (column > TEXT && column + 1 + word.size() > WIDTH) {
      text += '\n' + std::string(TEXT, ' ');
      column = TEXT;
    } else if (column > TEXT) {
      text += ' ';
      ++column;
    }
    text += word;
    column += word.size();
  }
}

std::string adviceFor(std::string_view errorName) {
  if (errorName.ends_with(".AccessDenied")) {
    return "the bus's policy forbids this user to call the service: install com.quarnix.Application.HevraZuv.conf in "
           "/usr/share/dbus-1/system.d, and run this as root or as a member of the group hevra";
  }
  if (errorName.ends_with(".NoReply"))
    return "the service has the call and does not answer: look whether it hangs (hevractl wait, its log) and restart "
           "it";
  if (errorName.ends_with(".ServiceUnknown") || errorName.ends_with(".NameHasNoOwner"))
    return "the service went meanwhile: look into its log, why it ended";
  return "look into the service's log; is it the service that this tool was made for?";
}

}  // namespace

bool Checkup::run(const char* name, const std::function<std::string()>& step, ExitStatus whenFailed) {
  const auto fail = [&](const std::string& found, const std::string& advice) {
    print(name, false, found, advice);
    if (status_ == ExitStatus::DONE) status_ = whenFailed;
    return false;
  };
  try {
    print(name, true, step(), {});
    return true;
  } catch (const Failure& failure) {
    return fail(failure.found, failure.advice);
  } catch (const Bus::Message::Method::Return& error) {
    std::string text = error.getErrorName() + std::string(": ") + error.getErrorText();
    // After the semicolon a bus adds all that it knows about the message and both ends.
    if (text.find(".AccessDenied") != text.npos) text.resize(std::min(text.size(), text.find(';')));
    return fail(text, adviceFor(error.getErrorName()));
  } catch (const Exception& error) {
    return fail(error.getId() + std::string(": ") + error.what(), adviceFor({}));
  }
}

void Checkup::print(const char* name, const nlohmann::ordered_json& ok, const std::string& found,
                    const std::string& advice, const nlohmann::ordered_json& details) const {
  const std::string shown = Cli::printable(found);
  const std::string verdict = ok.is_null() ? "skipped" : ok == true ? "ok" : "FAILED";
  std::string text = verdict;
  padTo(text, NAME);
  text += name;
  padTo(text, TEXT);
  append(text, shown);
  if (!advice.empty()) {
    text += '\n' + std::string(TEXT - 3, ' ') + "-> ";
    append(text, advice);
  }
  if (Terminal::ofOutput().coloured && !ok.is_null())
    text.replace(0, verdict.size(), (ok == true ? GREEN : RED) + verdict + "\033[0m");
  nlohmann::ordered_json line = {{"step", name}, {"ok", ok}, {"found", shown}, {"advice", advice}};
  line.update(details);
  context_.print(line, text);
}

}  // namespace Quarnix::Hevra::Tools
