#include "cli/search_options.h"

#include <gtest/gtest.h>

namespace keldane {
namespace {

TEST(SearchOptions, TermsFillTheRowsInTheirOrder) {
  SearchRequest request;
  request.terms = {{"AND", "body=a=b"}, {"OR NOT", "raw-headings=x y"}};
  request.types = {"video"};
  request.since = "2024-02";
  request.until = "2024";
  request.priority = "none";
  const Result<SearchForm> form = searchFormOf(request);
  ASSERT_TRUE(form);
  EXPECT_EQ(form->fieldButton[0], "Body Text");
  EXPECT_EQ(form->searchTextField[0], "a=b");
  EXPECT_EQ(form->fieldButton[1], "Raw Headings");
  EXPECT_EQ(form->opsButton[1], "OR NOT");
  EXPECT_TRUE(form->onlyAttachCheck);
  EXPECT_TRUE(form->typeCheck[3]);
  EXPECT_EQ(dateRange(form->dates).begin, "2024-02-01 00:00:00");
  EXPECT_EQ(dateRange(form->dates).end, "2024-12-31 23:59:59");
  EXPECT_TRUE(form->priorityCheck);
  EXPECT_EQ(form->searchPriorityButton, "None");
}

TEST(SearchOptions, WhatHasNoPlaceInTheFormIsRefused) {
  SearchRequest request;
  for (const char* term : {"subject", "subject=", "=x", "Subject=x"}) {
    request.terms = {{"AND", term}};
    EXPECT_FALSE(searchFormOf(request)) << term;
  }
  request.terms.assign(9, {"AND", "from=x"});
  EXPECT_FALSE(searchFormOf(request));
  request.terms.clear();
  for (const char* day : {"24", "2024-13", "2024-1-1", "2024-02-30", "2023-02-29", "1900-02-29",
                          "2024/02/01", "2024-02-0\""}) {
    request.since = day;
    EXPECT_FALSE(searchFormOf(request)) << day;
  }
  request.since.clear();
  request.types = {"images"};
  EXPECT_FALSE(searchFormOf(request));
}

TEST(SearchOptions, TheLastDayOfARangeIsTheLastOfItsMonth) {
  SearchRequest request;
  for (const auto& [until, end] :
       {std::pair("2024-02", "2024-02-29"), std::pair("2023-02", "2023-02-28"),
        std::pair("2000", "2000-12-31"), std::pair("2024-06", "2024-06-30")}) {
    request.until = until;
    const Result<SearchForm> form = searchFormOf(request);
    ASSERT_TRUE(form);
    EXPECT_EQ(dateRange(form->dates).end, std::string(end) + " 23:59:59");
  }
}

TEST(SearchOptions, OrderAndLimitStandOverTheSettings) {
  SearchContext settings;
  settings.sortOrder = 1;
  SearchRequest request;
  EXPECT_EQ(searchContextOf(request, settings)->sortOrder, 1);
  request.sort = "mailbox";
  request.limit = "none";
  const Result<SearchContext> context = searchContextOf(request, settings);
  ASSERT_TRUE(context);
  EXPECT_EQ(context->sortOrder, 0);
  EXPECT_EQ(context->sortFieldRow, 1);
  EXPECT_EQ(context->sortFieldCol, 2);
  EXPECT_EQ(limitClause(*context), "");
  for (const char* limit : {"0", "-1", "5x", "five"}) {
    request.limit = limit;
    EXPECT_FALSE(searchContextOf(request, settings)) << limit;
  }
}

}  // namespace
}  // namespace keldane
