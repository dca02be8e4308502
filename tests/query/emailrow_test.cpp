#include "query/emailrow.h"

#include <gtest/gtest.h>

namespace keldane {
namespace {

struct DateCase {
  const char* name;
  DateStyle style;
  const char* listed;
  const char* sortsAs;
};

std::ostream& operator<<(std::ostream& out, const DateCase& row) { return out << row.name; }

class ListDate : public testing::TestWithParam<DateCase> {};

TEST_P(ListDate, IsWrittenAndSortedInItsStyle) {
  const DateCase& row = GetParam();
  const std::string listed = formatListDate("2021-03-04 05:06:07", row.style);
  EXPECT_EQ(listed, row.listed);
  EXPECT_EQ(reorderDate(listed + "*", row.style.dateFormat), row.sortsAs);
}

INSTANTIATE_TEST_SUITE_P(
    Styles, ListDate,
    testing::Values(
        DateCase{"year_first", {0, 0}, "2021-03-04 05:06:07", "2021-03-04 05:06:07*"},
        DateCase{"year_first_dots", {0, 2}, "2021.03.04 05:06:07", "2021.03.04 05:06:07*"},
        DateCase{"month_first", {1, 1}, "03/04/2021 05:06:07", "2021-03-04 05:06:07"},
        DateCase{"day_first", {2, 2}, "04.03.2021 05:06:07", "2021-03-04 05:06:07"},
        DateCase{"unknown_separator", {2, 7}, "04-03-2021 05:06:07", "2021-03-04 05:06:07"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(EmailrowOrder, TaggedRowSortsBehindAnUntaggedOneOfTheSameSecond) {
  Emailrow plain;
  plain.emailDate = "2021-03-04 05:06:07";
  Emailrow tagged = plain;
  tagged.emailDate += "*";
  EXPECT_LT(emailDateComparison(plain, tagged, 0), 0);
  EXPECT_EQ(emailDateComparison(plain, tagged, 2), 0);
}

TEST(EmailrowOrder, DatesWithoutATimeAreReorderedAsFarAsTheyGo) {
  EXPECT_EQ(reorderDate("04.03.2021*", 2), "2021-03-04");
  EXPECT_EQ(reorderDate("04.03.", 2), "-03-04");
  EXPECT_EQ(reorderDate("", 1), "--");
  EXPECT_EQ(formatListDate("short", {2, 1}), "short");
}

}  // namespace
}  // namespace keldane
