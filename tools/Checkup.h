// Runs the steps of `doctor` and prints their results.
#pragma once

#include <functional>
#include <string>

#include <tools/Context.h>

namespace Quarnix::Hevra::Tools {

/// Prints each step as a JSON object, or as a line with "ok", "FAILED" or "skipped" and what was found; advice follows
/// a failure. Lines are broken at 80 columns.
class Checkup {
 public:
  /// What a step raises when it fails.
  struct Failure {
    std::string found;
    std::string advice;
  };

  explicit Checkup(const Context& context) : context_(context) {}

  /// Runs `step`, which returns what it has found, and returns whether it succeeded. A step also fails when it raises
  /// an error of the bus or of the library. The first failure decides how the program ends.
  bool run(const char* name, const std::function<std::string()>& step, ExitStatus whenFailed = ExitStatus::NO);
  /// Prints a step that cannot be done.
  void skip(const char* name, const std::string& why) const { print(name, nullptr, why, {}); }
  /// Prints a step that cannot fail; the JSON object also has `details`.
  void tell(const char* name, const std::string& found, const nlohmann::ordered_json& details) const {
    print(name, true, found, {}, details);
  }

  ExitStatus getExitStatus() const noexcept { return status_; }

 private:
  /// `ok` is true, false, or null for a step that was skipped.
  void print(const char* name, const nlohmann::ordered_json& ok, const std::string& found, const std::string& advice,
             const nlohmann::ordered_json& details = nlohmann::ordered_json::object()) const;

  const Context& context_;
  ExitStatus status_ = ExitStatus::DONE;
};

}  // namespace Quarnix::Hevra::Tools
