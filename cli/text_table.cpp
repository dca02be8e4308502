#include "cli/text_table.h"

#include <algorithm>
#include <array>

#include <sys/ioctl.h>
#include <unicode/uchar.h>
#include <unicode/utf8.h>
#include <unistd.h>

#include "base/text.h"
#include "cli/terminal_text.h"

namespace keldane {
namespace {

std::size_t characterWidth(UChar32 character) {
  if (character < 0) return 1;
  switch (u_charType(character)) {
    case U_NON_SPACING_MARK:
    case U_ENCLOSING_MARK:
    case U_FORMAT_CHAR:
      return 0;
    default:
      break;
  }
  const int width = u_getIntPropertyValue(character, UCHAR_EAST_ASIAN_WIDTH);
  return width == U_EA_WIDE || width == U_EA_FULLWIDTH ? 2 : 1;
}

/// Steps over one character at `at` and answers its width.
std::size_t stepCharacter(std::string_view text, int32_t& at) {
  if (static_cast<unsigned char>(text[static_cast<std::size_t>(at)]) < 0x80) {
    ++at;
    return 1;
  }
  UChar32 character = 0;
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  U8_NEXT(bytes, at, static_cast<int32_t>(text.size()), character);
  return characterWidth(character);
}

void appendCell(std::string& line, const std::string& cell, std::size_t width, bool rightAligned,
                bool last) {
  const std::size_t taken = displayWidth(cell);
  const std::string pad(width > taken ? width - taken : 0, ' ');
  if (rightAligned) line += pad;
  line += cell;
  if (!rightAligned && !last) line += pad;
}

/// The text in lines of at most `width` columns, broken at blanks where there are any.
std::vector<std::string> wrapped(std::string_view text, std::size_t width) {
  std::vector<std::string> lines;
  while (displayWidth(text) > width) {
    int32_t at = 0;
    std::size_t end = 0;
    std::size_t blank = 0;
    for (std::size_t taken = 0; at < static_cast<int32_t>(text.size());) {
      taken += stepCharacter(text, at);
      if (taken > width && end > 0) break;
      end = static_cast<std::size_t>(at);
      if (end < text.size() && text[end] == ' ') blank = end;
    }
    lines.emplace_back(text.substr(0, blank > 0 ? blank : end));
    text.remove_prefix(blank > 0 ? blank + 1 : end);
  }
  lines.emplace_back(text);
  return lines;
}

/// A column of a table that is too wide is not cut further than this, or than the second where a
/// line would still be too long.
constexpr std::array<std::size_t, 2> kNarrowest = {8, 4};

/// Widths of the columns: what their cells need, cut where a limit or the line asks for it.
std::vector<std::size_t> columnWidths(const std::vector<TableColumn>& columns,
                                      const std::vector<std::vector<std::string>>& cells,
                                      std::size_t width) {
  std::vector<std::size_t> widths;
  for (std::size_t c = 0; c < columns.size(); ++c) {
    std::size_t needed = displayWidth(columns[c].title);
    for (const auto& row : cells) needed = std::max(needed, displayWidth(row[c]));
    if (width != 0 && columns[c].widest != 0) needed = std::min(needed, columns[c].widest);
    widths.push_back(needed);
  }
  if (width == 0) return widths;
  std::size_t total = 2 * (columns.size() - 1);
  for (const std::size_t each : widths) total += each;
  // What is too much comes off the widest first.
  for (const std::size_t narrowest : kNarrowest) {
    while (total > width) {
      std::size_t victim = columns.size();
      for (std::size_t c = 0; c < columns.size(); ++c) {
        if (columns[c].rightAligned || columns[c].neverCut) continue;
        if (victim == columns.size() || widths[c] > widths[victim]) victim = c;
      }
      if (victim == columns.size() || widths[victim] <= narrowest) break;
      --widths[victim];
      --total;
    }
  }
  return widths;
}

std::string tabbedTable(const std::vector<TableColumn>& columns,
                        const std::vector<std::vector<std::string>>& rows) {
  std::string text;
  for (const TableColumn& column : columns) text.append(column.title).append("\t");
  text.back() = '\n';
  for (const auto& row : rows) text.append(join(row, "\t")).append("\n");
  return text;
}

}  // namespace

std::size_t displayWidth(std::string_view text) {
  std::size_t width = 0;
  for (int32_t at = 0; at < static_cast<int32_t>(text.size());) width += stepCharacter(text, at);
  return width;
}

std::string fitToWidth(std::string_view text, std::size_t width) {
  std::size_t taken = 0;
  int32_t at = 0;
  int32_t cut = 0;  // where the text ends when the mark of a cut must follow
  while (at < static_cast<int32_t>(text.size())) {
    taken += stepCharacter(text, at);
    if (taken + 1 <= width) cut = at;
    if (taken > width) {
      return std::string(text.substr(0, static_cast<std::size_t>(cut)))
          .append(terminalIsPlain() ? "~" : "…");
    }
  }
  return std::string(text);
}

std::string wrapLines(std::string_view text, std::size_t width) {
  if (width == 0) return std::string(text);
  std::string all;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    std::size_t indent = std::min(line.find_first_not_of(' '), line.size());
    const std::size_t gap = line.find("  ", indent);
    if (gap != std::string_view::npos) {
      indent = std::min(line.find_first_not_of(' ', gap), line.size());
    }
    // A column that leaves no room gives way.
    if (indent > width / 2) indent = std::min<std::size_t>(4, width / 4);
    const std::string_view opening = line.substr(0, indent);
    all += opening;
    std::string below;
    for (const std::string& part : wrapped(line.substr(opening.size()), width - indent)) {
      all.append(below).append(below.empty() ? part : trimWhitespace(part)).append("\n");
      below = std::string(indent, ' ');
    }
  }
  return all;
}

std::size_t terminalWidth(int descriptor) {
  winsize size = {};
  if (::ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return 80;
  return size.ws_col;
}

std::size_t outputWidth() {
  return ::isatty(STDOUT_FILENO) == 0 ? 0 : terminalWidth(STDOUT_FILENO);
}

std::string formatTable(const std::vector<TableColumn>& columns,
                        std::vector<std::vector<std::string>> rows, std::size_t width) {
  const bool isShown = width != 0 || ::isatty(STDOUT_FILENO) != 0;
  const bool isPlain = isShown && terminalIsPlain();
  for (auto& row : rows) {
    for (std::string& cell : row) cell = isPlain ? plainText(printable(cell)) : printable(cell);
    row.resize(columns.size());
  }
  if (!isShown) return tabbedTable(columns, rows);
  const std::vector<std::size_t> widths = columnWidths(columns, rows, width);
  std::string text;
  const auto appendLine = [&](const std::vector<std::string>& line) {
    for (std::size_t c = 0; c < columns.size(); ++c) {
      if (c != 0) text += "  ";
      appendCell(text, width == 0 ? line[c] : fitToWidth(line[c], widths[c]), widths[c],
                 columns[c].rightAligned, c + 1 == columns.size());
    }
    text += '\n';
  };
  std::vector<std::string> titles;
  for (const TableColumn& column : columns) titles.push_back(column.title);
  appendLine(titles);
  for (auto& row : rows) {
    if (width == 0 || !columns.back().wraps) {
      appendLine(row);
      continue;
    }
    const std::vector<std::string> lines = wrapped(row.back(), widths.back());
    for (const std::string& line : lines) {
      row.back() = line;
      appendLine(row);
      for (std::string& cell : row) cell.clear();
    }
  }
  return text;
}

}  // namespace keldane
