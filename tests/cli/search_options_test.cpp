#include "cli/search_options.h"

#include <gtest/gtest.h>

#include "cli/day_text.h"

namespace keldane {
namespace {

TEST(SearchOptions, TermsFillTheRowsInTheirOrder) {
  SearchWords words;
  words.terms = {{"AND", "body=a=b"}, {"OR NOT", "raw-headings=x y"}};
  words.types = {"video"};
  words.since = "2024-02";
  words.until = "2024";
  words.priority = "none";
  const Result<SearchRequest> request = searchRequestOf(words);
  ASSERT_TRUE(request);
  ASSERT_EQ(request->conditions.size(), 2U);
  EXPECT_EQ(request->conditions[0].column, "body_fld");
  EXPECT_EQ(request->conditions[0].pattern, "a=b");
  EXPECT_EQ(request->conditions[1].column, "headings");
  EXPECT_TRUE(request->conditions[1].joiner.isOr && request->conditions[1].joiner.isNot);
  EXPECT_TRUE(request->onlyAttach);
  EXPECT_TRUE(request->types[3]);
  EXPECT_EQ(request->dates, (DateRange{"2024-02-01", "2024-12-31"}));
  EXPECT_EQ(request->priority, 0);
}

TEST(SearchOptions, WhatHasNoPlaceInTheFormIsRefused) {
  SearchWords words;
  for (const char* term : {"subject", "subject=", "=x", "Subject=x"}) {
    words.terms = {{"AND", term}};
    EXPECT_FALSE(searchRequestOf(words)) << term;
  }
  words.terms.assign(9, {"AND", "from=x"});
  EXPECT_FALSE(searchRequestOf(words));
  words.terms.clear();
  for (const char* day : {"24", "2024-13", "2024-1-1", "2024-02-30", "2023-02-29", "1900-02-29",
                          "2024/02/01", "2024-02-0\""}) {
    words.since = day;
    EXPECT_FALSE(searchRequestOf(words)) << day;
  }
  words.since.clear();
  words.types = {"images"};
  EXPECT_FALSE(searchRequestOf(words));
}

TEST(SearchOptions, TheLastDayOfARangeIsTheLastOfItsMonth) {
  SearchWords words;
  for (const auto& [until, end] :
       {std::pair("2024-02", "2024-02-29"), std::pair("2023-02", "2023-02-28"),
        std::pair("2000", "2000-12-31"), std::pair("2024-06", "2024-06-30")}) {
    words.until = until;
    EXPECT_EQ(searchRequestOf(words).value().dates.lastDay, end);
  }
}

TEST(SearchOptions, WordsForDaysCountBackFromToday) {
  struct Case {
    const char* word;
    const char* today;
    const char* day;
  };
  const Case cases[] = {
      {"today", "2024-03-01", "2024-03-01"},
      {"yesterday", "2024-03-01", "2024-02-29"},
      {"yesterday", "2023-01-01", "2022-12-31"},
      {"3d", "2024-03-02", "2024-02-28"},
      {"2w", "2024-01-10", "2023-12-27"},
      {"last-month", "2024-01-31", "2023-12"},
      {"last-month", "2024-03-31", "2024-02"},
      {"0d", "2024-03-01", "2024-03-01"},
      {"d", "2024-03-01", "d"},
      {"-1d", "2024-03-01", "-1d"},
      {"999999d", "2024-03-01", "999999d"},
      {"2024-02", "2024-03-01", "2024-02"},
  };
  for (const Case& each : cases) {
    EXPECT_EQ(dayOfWords(each.word, each.today), each.day) << each.word << " on " << each.today;
  }
}

TEST(SearchOptions, OrderAndLimitStandOverTheSettings) {
  SearchContext settings;
  settings.sortOrder = 1;
  SearchWords words;
  EXPECT_EQ(searchContextOf(words, settings)->sortOrder, 1);
  words.sort = "mailbox";
  words.limit = "none";
  const Result<SearchContext> context = searchContextOf(words, settings);
  ASSERT_TRUE(context);
  EXPECT_EQ(context->sortOrder, 0);
  EXPECT_EQ(context->sortFieldRow, 1);
  EXPECT_EQ(context->sortFieldCol, 2);
  EXPECT_EQ(limitClause(*context), "");
  for (const char* limit : {"0", "-1", "5x", "five"}) {
    words.limit = limit;
    EXPECT_FALSE(searchContextOf(words, settings)) << limit;
  }
}

}  // namespace
}  // namespace keldane
