#include "query/emailrow.h"

#include <gtest/gtest.h>

namespace keldane {
namespace {

TEST(ListDate, IsWrittenAndSortedInItsStyle) {
  const struct {
    const char* name;
    DateStyle style;
    const char* listed;
    const char* sortsAs;
  } rows[] = {
      {"year first", {0, 0}, "2021-03-04 05:06:07", "2021-03-04 05:06:07*"},
      {"month first", {1, 1}, "03/04/2021 05:06:07", "2021-03-04 05:06:07"},
      {"day first", {2, 2}, "04.03.2021 05:06:07", "2021-03-04 05:06:07"},
      {"unknown separator", {2, 7}, "04-03-2021 05:06:07", "2021-03-04 05:06:07"},
  };
  for (const auto& row : rows) {
    const std::string listed = formatListDate("2021-03-04 05:06:07", row.style);
    EXPECT_EQ(listed, row.listed) << row.name;
    EXPECT_EQ(reorderDate(listed + "*", row.style.dateFormat), row.sortsAs) << row.name;
  }
}

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
