// Standard output of the programs.
#pragma once

#include <streambuf>
#include <string>

namespace Quarnix::Hevra::Stack::Forms {

/// Stands behind std::cout for its life. What is flushed is written at once and whole. When it cannot be written, the
/// process ends: as SIGPIPE ends it when the reader has gone, else with 2 and a line on standard error. That may be on
/// any thread, and nothing else of the program runs then.
///
/// Threads: those who print take turns, as by a mutex.
class Output : public std::streambuf {
 public:
  /// `program`: its name, for the line on standard error.
  explicit Output(const char* program);
  ~Output() override;
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  /// From now on it is JSON, in which control characters are escaped.
  void beginJson() noexcept { isJson_ = true; }
  /// Ends the process because of an error of standard output.
  [[noreturn]] static void fail(const char* program, int error) noexcept;

 protected:
  int sync() override;
  int_type overflow(int_type character) override;
  std::streamsize xsputn(const char* text, std::streamsize size) override;

 private:
  const char* const program_;
  std::streambuf* const former_;
  bool isJson_ = false;
  std::string text_;  // not flushed yet
};

}  // namespace Quarnix::Hevra::Stack::Forms
