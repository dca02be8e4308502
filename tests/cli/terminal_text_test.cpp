#include "cli/terminal_text.h"

#include <string>

#include <gtest/gtest.h>

#include "cli/terminal_interface.h"

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
      {"C1 control",
       "\xC2\x9B"
       "2J",
       "\uFFFD"
       "2J"},
      {"bare C1 byte",
       "\x9B"
       "2J",
       "\uFFFD"
       "2J"},
      {"NUL and DEL", std::string("a\0\x7F", 3), "a\uFFFD\uFFFD"},
      {"letters", "größe 日本", "größe 日本"},
      {"nothing", "", ""},
  };
  for (const Case& each : cases) EXPECT_EQ(terminalText(each.given), each.shown) << each.name;
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
}

}  // namespace
}  // namespace keldane
