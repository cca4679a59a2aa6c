// What every command of hevractl needs: the global options, the bus, its calls, and printing results.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include <cli/ExitStatus.h>
#include <cli/Loop.h>
#include <platform/bus/Connection.h>
#include <platform/bus/object/Proxy.h>
#include <stack/Variant.h>

namespace Quarnix::Hevra::Tools {

using Cli::ExitStatus;

struct Context {
  explicit Context(Cli::Loop& programLoop) noexcept : loop(programLoop) {}

  Cli::Loop& loop;
  std::string bus;   // empty: the environment decides
  std::string host;  // another machine, whose bus it is; empty for this one
  Stack::Variant variant = Stack::Variant::HEVRA;
  std::string application = "hevractl";
  Time::Elapsed timeout;  // of a call to the service; zero: as long as the library waits
  bool strict = false;    // take progress from the service only
  bool raw = false;       // take numbers that the protocol has no names for
  bool json = false;
  bool showKeys = false;     // in tables and recordings; JSON results always have them
  bool isDiagnosis = false;  // the command is `doctor`, which needs no hint at itself

  /// The chosen command, which runs after the whole command line has been checked.
  std::function<ExitStatus(const Context&)> chosen;

  /// Whether the proxies are to reach the Zuv variant.
  bool isZuv() const noexcept { return variant == Stack::Variant::ZUV; }
  /// See Cli::openBus and Cli::addressOfHost. With `isReached`, it waits for the bus of another machine, as `await`
  /// does, and raises the error reply if it cannot be reached.
  Shared::Pointer<Bus::Connection> openBus(bool isReached = true) const;
  /// Opens the bus and gives it to a manager, with the time-out of its calls.
  void connect(Bus::Object::Proxy& manager) const;
  /// Returns a command line for a shell that runs another command of this program on the same bus and service.
  std::string commandLine(const std::string& command) const;
  /// Runs the loop until the asynchronous operation is over, which `begin` begins with the handler that it is given.
  /// Returns what the operation returns or raises what it raises. If SIGINT or SIGTERM comes before, the process ends
  /// as it does without a handler for the signal.
  template <class T>
  T await(const std::function<Bus::PendingCall(Bus::Handler<T> handler)>& begin) const {
    std::optional<Bus::Result<T>> result;
    begin([&](const Bus::Result<T>& came) {
      result.emplace(came);
      loop.wake();
    });
    if (!loop.runUntil([&] { return result.has_value(); })) loop.obeySignal();
    return result->get();
  }
  /// Prints a result to standard output: with --json the value, otherwise the sentence.
  void print(const nlohmann::ordered_json& value, const std::string& sentence) const;
};

/// Returns the word as a shell takes it.
std::string quoted(const std::string& word);

}  // namespace Quarnix::Hevra::Tools
