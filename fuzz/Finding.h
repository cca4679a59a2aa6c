// How a fuzzer says that something is not as it must be.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace Quarnix::Fuzz {

/// Ends the run with `what`; the input is kept.
[[noreturn]] inline void fail(const char* what, const char* detail = "") {
  std::fprintf(stderr, "finding: %s %s\n", what, detail);
  std::abort();
}

inline void require(bool holds, const char* what) {
  if (!holds) fail(what);
}

}  // namespace Quarnix::Fuzz
