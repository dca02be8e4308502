#include "ingest/store_date.h"

#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/environment.h"

namespace keldane {
namespace {

TEST(StoreDate, LimitsFollowTheMenus) {
  struct Case {
    const char* name;
    StoreDateForm form;
    const char* start;
    const char* end;
  };
  const std::vector<Case> cases = {
      {"all", {}, "1901-01-01 00:00:00", "2050-12-31 00:00:00"},
      {"whole dates",
       {"03", "04", "2020", "05", "06", "2021"},
       "2020-03-04 00:00:00",
       "2021-05-06 00:00:00"},
      {"February of a leap year",
       {"All", "All", "All", "02", "All", "2024"},
       "1901-01-01 00:00:00",
       "2024-02-28 00:00:00"},
      {"month of thirty days",
       {"All", "All", "2020", "09", "All", "All"},
       "2020-01-01 00:00:00",
       "2050-09-30 00:00:00"},
      {"month of thirty-one days",
       {"All", "All", "2020", "10", "All", "All"},
       "2020-01-01 00:00:00",
       "2050-10-31 00:00:00"},
  };
  for (const Case& row : cases) {
    const RunRange range = rangeOf(row.form);
    EXPECT_EQ(range.rangeStartText, row.start) << row.name;
    EXPECT_EQ(range.rangeEndText, row.end) << row.name;
  }
}

TEST(StoreDate, BeginsWithTheNewestDayButTwoDaysBackAtTheLatest) {
  constexpr std::int64_t kNow = 1700000000;
  const std::string twoDaysAgo = localDateTime(kNow - 172800).substr(0, 10);
  struct Case {
    const char* name;
    const char* newest;
    std::string day;
  };
  const std::vector<Case> cases = {
      {"long ago", "2019-02-03 04:05:06", "2019-02-03"},
      {"today", "2023-11-14 04:05:06", twoDaysAgo},
      {"in the future", "2040-01-01 00:00:00", twoDaysAgo},
      {"not a whole date", "2019", twoDaysAgo},
      {"nothing stored", "0", "All-All-All"},
      {"a date of zeros", "0000-00-00 00:00:00", "All-All-All"},
  };
  for (const Case& row : cases) {
    StoreDateForm form;
    beginWithNewest(form, row.newest, kNow);
    EXPECT_EQ(form.beginStoreYr + "-" + form.beginStoreMo + "-" + form.beginStoreDa, row.day)
        << row.name;
    EXPECT_EQ(form.endStoreYr, "All") << row.name;
  }
}

}  // namespace
}  // namespace keldane
