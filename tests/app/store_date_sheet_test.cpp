#include "app/panels/store_date_sheet.h"

#include <vector>

#include <gtest/gtest.h>

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

TEST(StoreDate, BeginsAtTheDayOfALimit) {
  StoreDateForm form;
  beginAt(form, "");
  EXPECT_EQ(form.beginStoreYr, "All");
  beginAt(form, "2019-02-03 00:00:00");
  EXPECT_EQ(rangeOf(form).rangeStartText, "2019-02-03 00:00:00");
  EXPECT_EQ(form.endStoreYr, "All");
}

}  // namespace
}  // namespace keldane
