// Reads figures of the calling process from the kernel.
#pragma once

#include <fstream>
#include <string>

namespace Benchmarks {

/// A field of /proc/self/status, such as "VmRSS:" (the resident size in KiB) or "Threads:". 0 if there is no such
/// field.
inline long processStatus(const std::string& field) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.starts_with(field)) return std::stol(line.substr(field.size()));
  return 0;
}

}  // namespace Benchmarks
