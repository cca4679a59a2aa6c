// What `doctor` does step by step, and how it prints it.
#pragma once

#include <functional>
#include <string>

#include <tools/Context.h>

namespace Quarnix::Hevra::Tools {

/// Runs steps and prints each: a line "ok", "FAILED" or "skipped" and what was found, and below a failure what to do;
/// or a JSON object. Wide lines are broken at 80 columns.
class Checkup {
 public:
  /// What a step raises that has failed.
  struct Failure {
    std::string found;
    std::string advice;
  };

  explicit Checkup(const Context& context) : context_(context) {}

  /// Runs `step`, which returns what it has found, and is true when it went well. An error of the bus or of the library
  /// that it raises is a failure too. The first failure decides how the program ends.
  bool run(const char* name, const std::function<std::string()>& step, ExitStatus whenFailed = ExitStatus::NO);
  /// A step that cannot be done.
  void skip(const char* name, const std::string& why) const { print(name, nullptr, why, {}); }

  ExitStatus getExitStatus() const noexcept { return status_; }

 private:
  /// `ok`: true, false, or null for what was skipped.
  void print(const char* name, const nlohmann::ordered_json& ok, const std::string& found,
             const std::string& advice) const;

  const Context& context_;
  ExitStatus status_ = ExitStatus::DONE;
};

}  // namespace Quarnix::Hevra::Tools
