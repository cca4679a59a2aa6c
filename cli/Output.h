// The standard output and standard error of a program.
#pragma once

#include <streambuf>
#include <string>

namespace Quarnix::Hevra::Cli {

/// Takes the place of std::cout's buffer while it exists. Flushed text is written at once and completely. When that
/// fails, the process ends: by SIGPIPE when the reader has gone, otherwise with status 2 and a line on standard error.
/// This may happen on any thread, and runs nothing else of the program.
///
/// A program makes one object. Threads: one prints at a time; the program sees to that.
class Output : public std::streambuf {
 public:
  /// `program` is the program's name, which begins the lines on standard error. It must exist as long as the process.
  explicit Output(const char* program);
  ~Output() override;
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  /// Declares that JSON follows: its control characters are escaped from now on.
  void beginJson() noexcept { isJson_ = true; }

  /// Prints one line to standard error: the program's name and the text, made printable.
  static void printError(const std::string& text);
  /// Prints a line that belongs to the one before: indented, and without the program's name.
  static void printDetail(const std::string& text);
  /// Ends the process because of an error of standard output.
  [[noreturn]] static void fail(int error) noexcept;

 protected:
  int sync() override;
  int_type overflow(int_type character) override;
  std::streamsize xsputn(const char* text, std::streamsize size) override;

 private:
  std::streambuf* const former_;
  bool isJson_ = false;
  std::string text_;  // not flushed yet
};

}  // namespace Quarnix::Hevra::Cli
