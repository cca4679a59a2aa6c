// What standard output can show.
#pragma once

#include <cstddef>

namespace Quarnix::Hevra::Cli {

struct Terminal {
  std::size_t columns = 0;  // without the last one, where some terminals wrap; 0: no terminal, nothing is cut
  std::size_t rows = 0;     // 0: the cursor cannot be moved, so lines only follow each other
  bool coloured = false;    // never when NO_COLOR is set
  bool utf8 = false;        // as the locale's variables say

  /// Describes standard output. Its size is that of the terminal, otherwise $COLUMNS and $LINES, otherwise 80 columns
  /// and 24 rows.
  static Terminal ofOutput();
};

}  // namespace Quarnix::Hevra::Cli
