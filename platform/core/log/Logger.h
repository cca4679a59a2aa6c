// The process's logger, to which every diagnostic of the library goes.
#pragma once

#include <cstdarg>
#include <cstddef>

#include <platform/core/log/Priority.h>
#include <platform/core/shared/Pointer.h>

namespace Quarnix::Log {

/// Logs as `Logger::get()->print` does, but does nothing when there is no logger and raises nothing: for code that must
/// go on, such as a task's boundary or a reader.
HEVRA_EXPORT void printQuietly(Priority priority, const char* format, ...) noexcept
    __attribute__((format(printf, 2, 3)));

/// Receives finished log lines. Derive from it and `set` an instance to send the lines elsewhere.
///
/// Threads: every operation may be called from any thread, and several threads may call an application's `write` at
/// once. No lock of the library is held while `write` runs, so that it may call the library.
class HEVRA_EXPORT Logger {
 public:
  virtual ~Logger();

  /// The process's logger, at first one that writes to standard error. It is empty after `set` of an empty pointer, and
  /// then dereferencing it raises Shared::Exception::Nil.
  static Shared::Pointer<Logger> get();
  static void set(Shared::Pointer<Logger> logger);

  /// Formats as printf does and hands the line to `write`: the whole line, whatever its length, but to a
  /// StandardErrorLogger no more than it writes.
  void print(Priority priority, const char* format, ...) __attribute__((format(printf, 3, 4)));

 protected:
  /// Takes one line, without a newline at its end. `line` is valid during the call only.
  virtual void write(Priority priority, const char* line) = 0;

 private:
  friend void printQuietly(Priority priority, const char* format, ...) noexcept;
  HEVRA_INTERNAL void printArguments(Priority priority, const char* format, va_list arguments)
      __attribute__((format(printf, 3, 0)));
};

/// Writes each line to standard error, in one write, behind the priority prefix that journald understands ("<4>").
/// A line of priority SILENT is not written; one of UNKNOWN, or of a number without a name, is written as INFO. A line
/// that cannot be written is lost.
///
/// Lines may contain texts from outside. Therefore:
/// - a newline within a line becomes a space. Other control characters (C0, DEL, C1), the overrides, embeddings and
///   isolates of bidirectional text, the separators U+2028 and U+2029, and bytes that are no UTF-8 are written as their
///   numbers, such as "\x1b";
/// - a line has at most LONGEST bytes as it is written; one that is cut says so at its end;
/// - the process writes at most 1,000 lines and 160 KiB at once, and 100 lines and 14 KiB more with each second of its
///   clock (Time::Clock): 1,000 KiB in any minute. Further lines are suppressed until the next second begins. Then one
///   line says how many there were; the timers' thread writes it when no other line comes.
class HEVRA_EXPORT StandardErrorLogger : public Logger {
 public:
  static constexpr std::size_t LONGEST = 4096;

  ~StandardErrorLogger() override;

 protected:
  void write(Priority priority, const char* line) override;
};

}  // namespace Quarnix::Log
