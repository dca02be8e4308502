#include "cli/schedule_options.h"

#include <gmock/gmock.h>

#include "schedule/schedule.h"

namespace keldane {
namespace {

constexpr const char* kToday = "2024-05-06";

TEST(ScheduleOptions, AddToWhatWasChosenBefore) {
  struct Case {
    ScheduleRequest request;
    const char* words;
  };
  UserSettings user;
  for (const Case& row :
       {Case{{"09:30", "", "", false, ""}, "every day at 09:30"},
        Case{{"", "mon, SUN", "", false, ""}, "sun,mon at 09:30"},
        Case{{"", "", "3", false, ""}, "sun,mon, every 3 hours from midnight"},
        Case{{"", "fri,all", "", false, ""}, "every day, every 3 hours from midnight"},
        Case{{"23:59", "", "", true, "no"}, "every day at 23:59"}}) {
    const Result<void> filled = fillSchedule(user, row.request, kToday);
    ASSERT_TRUE(filled) << filled.error();
    UserSettings read = user;  // as the preferences give it back
    read.schedHour = user.schedTime.substr(11, 2);
    read.schedMinute = user.schedTime.substr(14, 2);
    EXPECT_EQ(summaryOf(scheduleTimes(read)).words, row.words);
  }
  EXPECT_EQ(user.schedTime, "2024-05-06 23:59:00");
  EXPECT_EQ(user.leaveLogState, 0);
}

TEST(ScheduleSummary, TellsWhatIsInstalled) {
  struct Case {
    const char* name;
    std::vector<ScheduleTime> times;
    const char* words;
    const char* time;
    int everyHours;
  };
  for (const Case& row :
       {Case{"nothing", {}, "on no day", "", 0},
        Case{"one of each day", {{7, 9, 5}, {2, 9, 5}}, "sun,tue at 09:05", "09:05", 0},
        Case{"changed by hand", {{0, 0, 0}, {0, 7, 30}}, "every day at 00:00, 07:30", "", 0},
        Case{"every five hours",
             {{0, 0, 0}, {0, 5, 0}, {0, 10, 0}, {0, 15, 0}, {0, 20, 0}},
             "every day, every 5 hours from midnight",
             "",
             5},
        Case{"on a day that none is", {{8, 0, 0}}, "weekday 8 at 00:00", "00:00", 0}}) {
    const ScheduleSummary summary = summaryOf(row.times);
    EXPECT_EQ(summary.words, row.words) << row.name;
    EXPECT_EQ(summary.time, row.time) << row.name;
    EXPECT_EQ(summary.everyHours, row.everyHours) << row.name;
  }
}

TEST(ScheduleOptions, RefuseWithWhatIsAccepted) {
  struct Case {
    const char* name;
    ScheduleRequest request;
    const char* says;
  };
  for (const Case& row :
       {Case{"nothing said", {}, "--time 09:30"},
        Case{"hour 24", {"24:00", "", "", false, ""}, "00:00 to 23:59"},
        Case{"minute 60", {"10:60", "", "", false, ""}, "00:00 to 23:59"},
        Case{"short time", {"9:30", "", "", false, ""}, "00:00 to 23:59"},
        Case{"unknown day", {"09:30", "mon,someday", "", false, ""}, "\"someday\" is no day"},
        Case{"empty day", {"09:30", "mon,", "", false, ""}, "\"\" is no day"},
        Case{"no hours", {"", "", "0", false, ""}, "1 to 23"},
        Case{"a whole day", {"", "", "24", false, ""}, "1 to 23"},
        Case{"hours with more", {"", "", "2x", false, ""}, "1 to 23"},
        Case{"neither", {"09:30", "", "", false, "perhaps"}, "neither yes nor no"}}) {
    SCOPED_TRACE(row.name);
    UserSettings user;
    const Result<void> filled = fillSchedule(user, row.request, kToday);
    ASSERT_FALSE(filled);
    EXPECT_THAT(filled.error(), testing::HasSubstr(row.says));
    EXPECT_EQ(user, UserSettings());
  }
}

}  // namespace
}  // namespace keldane
