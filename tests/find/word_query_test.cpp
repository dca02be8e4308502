#include "find/word_query.h"

#include <string>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

namespace keldane {
namespace {

constexpr const char* kToday = "2024-03-01";  // a Friday

struct Case {
  const char* query;
  const char* understood;
};

TEST(WordQuery, IsUnderstood) {
  const std::vector<Case> cases = {
      {"Invoice", "\"invoice\""},
      {"a b", "(\"a\" \"b\")"},
      {"a AND b", "(\"a\" \"b\")"},
      {"a OR b c", "(\"a\" OR (\"b\" \"c\"))"},
      {"(a OR b) c", "((\"a\" OR \"b\") \"c\")"},
      {"a -b NOT c", "(\"a\" NOT \"b\" NOT \"c\")"},
      {"NOT NOT a", "\"a\""},
      {"-(a b)", "NOT (\"a\" \"b\")"},
      {"e-mail \"To Be\"", "(\"e mail\" \"to be\")"},
      {"Wor* x-wor*", "(wor* (\"x\" wor*))"},
      {"from:Ann@x.org SUBJECT:(a OR b)", "(from:\"ann x org\" (subject:\"a\" OR subject:\"b\"))"},
      {"a & b", "(\"a\" \"b\")"},
      {"http://x.org", "\"http x org\""},
      {"12:30", "\"12 30\""},
      {"date:2003", "date:2003..2003"},
      {"date:2003-02..2005", "date:2003-02..2005"},
      {"date:..2005-06-07", "date:..2005-06-07"},
      {"date:last-month", "date:2024-02..2024-02"},
      {"date:yesterday", "date:2024-02-29..2024-02-29"},
      {"date:last-week", "date:2024-02-19..2024-02-25"},
      {"date:last-30-days", "date:2024-02-01..2024-03-01"},
      {"size:>1M", "size:1048577.."},
      {"size:1K..1.5K", "size:1024..1536"},
      {"id:12", "id:12..12"},
      {"has:attachment type:pdf", "(has:attachment type:\"pdf\")"},
  };
  for (const Case& one : cases) {
    const auto read = readWordQuery(one.query, kToday);
    const auto* problem = std::get_if<QueryProblem>(&read);
    EXPECT_EQ(problem ? problem->message : queryText(std::get<QueryNode>(read)), one.understood)
        << one.query;
  }
}

TEST(WordQuery, SaysWhereItCannotBeReadAndWhy) {
  const std::vector<std::tuple<std::string, std::size_t, const char*>> cases = {
      {"", 0, "no word"},
      {" & ", 0, "no word"},
      {"a \"b c", 2, "quote is not closed"},
      {"a (b", 2, "not closed"},
      {"a b)", 3, "no \"(\""},
      {"a OR", 4, "missing beside OR"},
      {"OR a", 0, "missing beside OR"},
      {"a NOT", 2, "missing behind NOT"},
      {"a AND", 5, "missing beside AND"},
      {"x form:ann", 2, "no field \"form\""},
      {"x from: y", 2, "missing behind \"from:\""},
      {"date:2003-13", 5, "no date"},
      {"date:..", 5, "a date is missing"},
      {"size:big", 5, "no size"},
      {"has:tail", 4, "attachment only"},
      {"w*", 0, "two letters"},
      {"wo2*", 0, "two letters"},
      {std::string(100, '('), 51, "too many brackets"},
      {std::string(9000, 'a'), 0, "too long"},
  };
  for (const auto& [query, at, message] : cases) {
    const auto read = readWordQuery(query, kToday);
    const auto* problem = std::get_if<QueryProblem>(&read);
    ASSERT_TRUE(problem) << query;
    EXPECT_EQ(problem->atByte, at) << query;
    EXPECT_NE(problem->message.find(message), std::string::npos) << query << problem->message;
  }
}

}  // namespace
}  // namespace keldane
