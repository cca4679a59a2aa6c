// What every command of hevractl needs: the global options, the bus, and printing results.
#pragma once

#include <functional>
#include <string>

#include <nlohmann/json.hpp>

#include <cli/ExitStatus.h>
#include <platform/bus/Connection.h>
#include <stack/Variant.h>

namespace Quarnix::Hevra::Tools {

using Cli::ExitStatus;

struct Context {
  std::string bus;  // empty: the environment decides
  Stack::Variant variant = Stack::Variant::HEVRA;
  std::string application = "hevractl";
  bool strict = false;  // take progress from the service only
  bool json = false;
  bool showKeys = false;  // in tables and recordings; JSON results always have them

  /// The chosen command, which runs after the whole command line has been checked.
  std::function<ExitStatus(const Context&)> chosen;

  /// Whether the proxies are to reach the Zuv variant.
  bool isZuv() const noexcept { return variant == Stack::Variant::ZUV; }
  /// See Cli::openBus.
  Shared::Pointer<Bus::Connection> openBus() const;
  /// Prints a result to standard output: with --json the value, otherwise the sentence.
  void print(const nlohmann::ordered_json& value, const std::string& sentence) const;
};

}  // namespace Quarnix::Hevra::Tools
