// What every command of hevractl needs: the global options, the bus, and where results go.
#pragma once

#include <functional>
#include <string>

#include <nlohmann/json.hpp>

#include <platform/bus/Connection.h>
#include <tools/ExitStatus.h>

namespace Quarnix::Hevra::Tools {

struct Context {
  std::string bus;  // empty: what the environment says
  bool zuv = false;
  std::string application = "hevractl";
  bool strict = false;  // progress only from the service
  bool json = false;
  bool showKeys = false;  // in tables; JSON has them anyway

  /// The command that the command line chose; runs once all of the line is known to be right.
  std::function<ExitStatus(const Context&)> chosen;

  /// Raises Malformed for what is no bus, Bus::StartFailed when the environment names none.
  Shared::Pointer<Bus::Connection> openBus() const;
  /// Prints a result to standard output: the JSON value with --json, otherwise the sentence.
  void print(const nlohmann::ordered_json& value, const std::string& sentence) const;
};

/// Prints one line to standard error, "hevractl: " and the text, in which what is not printable is escaped.
void complain(const std::string& text);

}  // namespace Quarnix::Hevra::Tools
