// How urgent a log line is, and what the priorities are called.
#pragma once

#include <platform/core/Export.h>

namespace Quarnix::Log {

enum class Priority : int { EMERGENCY = 0, ALERT, CRITICAL, ERROR, WARNING, NOTICE, INFO, DEBUG, SILENT, UNKNOWN };

/// The names of the priorities by their number, in three spellings. Each translation unit has its own tables.
[[maybe_unused]] static const char* const PRIORITY_UPPER_NAMES[] = {
    "EMERGENCY", "ALERT", "CRITICAL", "ERROR", "WARNING", "NOTICE", "INFO", "DEBUG", "SILENT", "UNKNOWN"};
[[maybe_unused]] static const char* const PRIORITY_CAPITALISED_NAMES[] = {
    "Emergency", "Alert", "Critical", "Error", "Warning", "Notice", "Info", "Debug", "Silent", "Unknown"};
[[maybe_unused]] static const char* const PRIORITY_LOWER_NAMES[] = {
    "emergency", "alert", "critical", "error", "warning", "notice", "info", "debug", "silent", "unknown"};

}  // namespace Quarnix::Log
