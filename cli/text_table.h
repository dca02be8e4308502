#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace keldane {

/// Columns that a text takes on a terminal: wide East Asian characters count two, combining marks
/// and other zero-width characters none.
[[nodiscard]] std::size_t displayWidth(std::string_view text);
/// The text cut to at most `width` columns, with "…" at the end when something was cut, or "~" on a
/// plain terminal.
[[nodiscard]] std::string fitToWidth(std::string_view text, std::size_t width);
/// The text with its lines broken at blanks to fit `width` columns; a line goes on below its second
/// column, which two blanks set off, or else below its own beginning. 0: as it is.
[[nodiscard]] std::string wrapLines(std::string_view text, std::size_t width);
/// Columns of the terminal behind this descriptor; 80 when it is none.
[[nodiscard]] std::size_t terminalWidth(int descriptor);

/// Columns of the terminal that shows standard output; 0 when none does.
[[nodiscard]] std::size_t outputWidth();

struct TableColumn {
  std::string title;
  bool rightAligned = false;  ///< a number: never cut
  std::size_t widest = 0;     ///< the most columns it may take; 0: as many as there are
  bool neverCut = false;
  bool wraps = false;  ///< the last column: goes on in lines of its own instead of being cut
};

/// Rows of a table as lines, with a line of titles. Cells are made printable. `width` is that of
/// the terminal that shows the table; 0: it is shown by none, or nothing is to be cut. What is
/// shown by none has a tab between its cells and no padding.
[[nodiscard]] std::string formatTable(const std::vector<TableColumn>& columns,
                                      std::vector<std::vector<std::string>> rows,
                                      std::size_t width);

}  // namespace keldane
