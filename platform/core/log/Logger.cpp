// Keeps the process's logger and formats lines for it. StandardErrorLogger.cpp has the default one.
#include <platform/core/log/Logger.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <string>
#include <utility>

#include <platform/core/Mutex.h>
#include <platform/core/internal/NeverDestroyed.h>

namespace Quarnix::Log {

namespace {

/// Made by whoever logs first, which may be before `main`.
struct Current {
  Mutex mutex;
  Shared::Pointer<Logger> logger HEVRA_GUARDED_BY(mutex) = Shared::make<StandardErrorLogger>();
};

Current& current() {
  static NeverDestroyed<Current> instance;
  return instance.object;
}

}  // namespace

Logger::~Logger() = default;

Shared::Pointer<Logger> Logger::get() {
  Current& process = current();
  MutexLock lock(process.mutex);
  return process.logger;
}

void Logger::set(Shared::Pointer<Logger> logger) {
  Current& process = current();
  MutexLock lock(process.mutex);
  // The former logger goes with the parameter, after the lock: its destructor is the application's.
  process.logger.swap(logger);
}

void Logger::print(Priority priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  printArguments(priority, format, arguments);
  va_end(arguments);
}

void Logger::printArguments(Priority priority, const char* format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  char buffer[512];
  const int length = std::vsnprintf(buffer, sizeof buffer, format, arguments);
  std::string whole;
  const char* line = length < 0 ? format : buffer;
  if (length >= static_cast<int>(sizeof buffer)) {
    // What a StandardErrorLogger cuts off takes no memory. LONGEST bytes without the prefix are too many for it, so
    // that the line says that it is cut.
    const bool isCut = dynamic_cast<const StandardErrorLogger*>(this);
    const auto needed = static_cast<std::size_t>(length);
    whole.resize(isCut ? std::min(needed, StandardErrorLogger::LONGEST) : needed);
    std::vsnprintf(whole.data(), whole.size() + 1, format, again);
    line = whole.c_str();
  }
  va_end(again);
  write(priority, line);
}

void printQuietly(Priority priority, const char* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  try {
    if (const auto logger = Logger::get()) logger->printArguments(priority, format, arguments);
  } catch (...) {
    // The caller must go on, and there is no place left to say that the line is lost.
  }
  va_end(arguments);
}

}  // namespace Quarnix::Log
