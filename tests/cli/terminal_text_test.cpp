#include "cli/terminal_text.h"

#include <string>

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace keldane
