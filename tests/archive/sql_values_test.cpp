#include "archive/sql_values.h"

#include <string>

#include <gtest/gtest.h>

namespace keldane {
namespace {

TEST(SqlValues, EscapeDoublesBackslashesAndQuotes) {
  struct Row {
    const char* name;
    const char* plain;
    const char* escaped;
  };
  const Row rows[] = {{"empty", "", ""},
                      {"nothing to do", "it's 100%", "it's 100%"},
                      {"quote", "a\"b", "a\"\"b"},
                      {"backslash", "a\\b", "a\\\\b"},
                      {"backslash before quote", "\\\"", "\\\\\"\""},
                      {"backslash at the end", "x\\", "x\\\\"}};
  for (const Row& row : rows) {
    EXPECT_EQ(escapeInline(row.plain), row.escaped) << row.name;
    EXPECT_EQ(unescapeInline(row.escaped), row.plain) << row.name;
    EXPECT_EQ(quotedInline(row.plain), "\"" + std::string(row.escaped) + "\"") << row.name;
  }
}

TEST(SqlValues, UnescapeTakesAwayFromTextsThatWereNotEscaped) {
  EXPECT_EQ(unescapeInline("say \"\"hi\"\" C:\\\\x"), "say \"hi\" C:\\x");
}

}  // namespace
}  // namespace keldane
