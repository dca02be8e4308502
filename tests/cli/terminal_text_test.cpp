#include "cli/terminal_text.h"

#include <string>

#include <gtest/gtest.h>

#include "base/text.h"
#include "cli/terminal_interface.h"
#include "cli/text_table.h"

namespace keldane {
namespace {

TEST(TerminalText, LetsNothingThroughThatSteersATerminal) {
  struct Case {
    const char* name;
    std::string given;
    std::string shown;
  };
  const Case cases[] = {
      {"lines and tabs", "a\n\tb\n", "a\n\tb\n"},
      {"CR LF", "a\r\nb\r\n", "a\nb\n"},
      {"CR alone", "good\rbad", "good bad"},
      {"escape sequence", "\x1B]0;title\x07", "\uFFFD]0;title\uFFFD"},
      {"C1 control", "\u009B2J", "\uFFFD2J"},
      {"bare C1 byte", "\2332J", "\uFFFD2J"},
      {"NUL and DEL", std::string("a\0\x7F", 3), "a\uFFFD\uFFFD"},
      {"letters", "größe 日本", "größe 日本"},
      {"direction", "a\u202Efdp.exe", "a\uFFFDfdp.exe"},
      {"nothing", "", ""},
  };
  for (const Case& each : cases)
    EXPECT_EQ(terminalText(each.given, false), each.shown) << each.name;
}

TEST(TerminalText, APlainTerminalGetsAsciiAlone) {
  EXPECT_EQ(terminalText("größe\n日本 \x9B", true), "gr??e\n?? ?");
}

TEST(TextTable, FitsANarrowTerminal) {
  const std::vector<TableColumn> columns = {
      {"ID", true, 0}, {"DATE", false, 0, true}, {"FROM", false, 32}, {"SUBJECT", false, 0}};
  const std::string table = formatTable(
      columns, {{"123456", "2024-02-28", std::string(40, 'f'), std::string(90, 's')}}, 60);
  for (const std::string& line : split(table, "\n")) EXPECT_LE(displayWidth(line), 60U) << line;
  EXPECT_NE(table.find("123456  2024-02-28  fff"), std::string::npos);
}

TEST(TextTable, TheLastColumnGoesOnBelow) {
  const std::string table = formatTable({{"A", false, 0, true}, {.title = "B", .wraps = true}},
                                        {{"name", "two words 日本日本日本日本"}, {"x", ""}}, 17);
  EXPECT_EQ(table,
            "A     B\n"
            "name  two words\n"
            "      日本日本日\n"
            "      本日本\n"
            "x     \n");
}

TEST(TerminalText, ReadingLineTellsShareAndRest) {
  struct Case {
    ReadingProgress progress;
    double seconds;
    const char* line;
  };
  const Case cases[] = {
      {{1234, 6046, 1300, 1234.0 / 6046}, 46, "1,234 of 6,046 files, 20 %, about 3 min left"},
      {{0, 1, 1234567, 0.5}, 20000, "1,234,567 messages, 50 %, about 5.6 h left"},
      {{1, 1000, 1, 0.001}, 60, "1 of 1,000 files, 0 %"},
      {{10, 100, 10, 0.1}, 0.5, "10 of 100 files, 10 %"},
      {{100, 100, 1, 1}, 60, "100 of 100 files, 100 %"},
  };
  for (const Case& row : cases) EXPECT_EQ(readingLine(row.progress, row.seconds), row.line);
  EXPECT_EQ(shareLine(1200, 6046, 3), "1,200 of 6,046 messages, 400/s, about 12 s left");
  EXPECT_EQ(shareLine(0, 0, 0), "0 of 0 messages, 0/s");
}

}  // namespace
}  // namespace keldane
