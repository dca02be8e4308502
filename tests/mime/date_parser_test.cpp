#include "mime/headers/date_parser.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <string_view>

#include "mime/buffers/log_base.h"
#include "mime/buffers/string_buffer.h"
#include "mime/buffers/tarnell_sys_time.h"
#include "mime/tno_date_time.h"
#include "tests/mime/mail_builder.h"

namespace keldane::mime {
namespace {

/// Sets the time zone of the process for one test; the tests stand in UTC otherwise.
struct ZoneScope {
  explicit ZoneScope(const char* zone) { set(zone); }
  ~ZoneScope() { set("UTC"); }
  static void set(const char* zone) {
    ::setenv("TZ", zone, 1);
    ::tzset();
  }
};

std::string asText(const TarnellSysTime& time) {
  char text[64];
  std::snprintf(text, sizeof text, "%u-%02u-%02u %02u:%02u:%02u %s", time.year, time.month,
                time.day, time.hour, time.minute, time.second, time.isLocal ? "local" : "utc");
  return text;
}

TEST(DateParser, ReadsDatesAsTheyAreWritten) {
  const TextRow rows[] = {
      {"the usual form", "Mon, 2 Jan 2006 15:04:05 -0700", "2006-01-02 22:04:05"},
      {"no blank behind the weekday", "Wed,29 May 2002 17:51:47 +0800", "2002-05-29 09:51:47"},
      {"two digits, no seconds", "2 Jan 06 15:04 GMT", "2006-01-02 15:04:00"},
      {"month first, pm", "Jan 2 2006 3:04:05 pm EST", "2006-01-02 20:04:05"},
      {"am", "Jan 2 2006 3:04:05 AM EST", "2006-01-02 08:04:05"},
      {"noon and midnight", "Jan 2 2006 12:04:05 pm", "2006-01-02 12:04:05"},
      {"no zone", "Mon, 02 Jan 2006 15:04:05", "2006-01-02 15:04:05"},
      {"comment behind the zone", "Mon, 02 Jan 2006 15:04:05 +0100 (CET)", "2006-01-02 14:04:05"},
      {"december abroad", "2 dez 2006 10:00:00 GMT", "2006-12-02 10:00:00"},
      {"september abroad", "2 SET 2006 10:00:00 GMT", "2006-09-02 10:00:00"},
      {"five letters of a month", "2 Sept 2006 10:00:00 GMT", "2006-09-02 10:00:00"},
      {"hyphens", "Monday, 02-Jan-06 15:04:05 GMT", "2006-01-02 15:04:05"},
      {"comma apart", "Mon , 2 Jan 2006 15:04:05 Z", "2006-01-02 15:04:05"},
      {"tabs and many blanks", "\t Mon,\t2   Jan\t2006  15:04:05\t-0100", "2006-01-02 16:04:05"},
      {"quotes", "\"Mon, 2 Jan 2006 15:04:05 -0700\"", "2006-01-02 22:04:05"},
      {"year of three digits", "2 Jan 106 15:04:05 GMT", "2006-01-02 15:04:05"},
      {"99 is before 2000", "31 Dec 99 23:59:59 -0100", "2000-01-01 00:59:59"},
      {"49 is after it", "2 Jan 49 15:04:05 GMT", "2049-01-02 15:04:05"},
      {"50 is before it", "2 Jan 50 15:04:05 GMT", "1950-01-02 15:04:05"},
      {"before the epoch", "1 Jan 1960 00:00:00 +0001", "1959-12-31 23:59:00"},
      {"zone of one hour digit", "2 Jan 2006 15:04:05 -7", "2006-01-02 22:04:05"},
      {"zone with a colon", "2 Jan 2006 15:04:05 +05:30", "2006-01-02 09:34:05"},
      {"zone with one digit and a colon", "2 Jan 2006 15:04:05 -7:30", "2006-01-02 22:34:05"},
      {"zone of three digits", "2 Jan 2006 15:04:05 +100", "2006-01-02 05:04:05"},
      {"named zones", "2 Jan 2006 15:04:05 PDT", "2006-01-02 22:04:05"},
      {"military zone", "2 Jan 2006 15:04:05 A", "2006-01-02 16:04:05"},
      {"unknown zone", "2 Jan 2006 15:04:05 CEST", "2006-01-02 15:04:05"},
      {"long zone", "2 Jan 2006 15:04:05 Eastern Daylight Time", "2006-01-02 19:04:05"},
      {"long standard zone", "2 Jan 2006 15:04:05 Pacific Standard Time", "2006-01-02 23:04:05"},
      {"hour 24", "31 Dec 2006 24:00:00 GMT", "2007-01-01 00:00:00"},
      {"month first, day beyond the month", "Feb 30 2006 10:00:00 GMT", "2006-03-02 10:00:00"},
      {"leap day", "29 Feb 2000 12:00:00 GMT", "2000-02-29 12:00:00"},
      {"net time form", "2006-01-02T15:04:05.25-07:00", "2006-01-02 22:04:05"},
      {"net time form, UTC", "2006-01-02T15:04:05Z", "2006-01-02 15:04:05"},
      {"net time form, ahead", "2006-01-01T00:30:00+01:00", "2005-12-31 23:30:00"},
  };
  // Another zone than UTC, so that a detour through local time would show.
  const ZoneScope zone("America/New_York");
  for (const auto& row : rows) {
    LogNull log;
    TarnellSysTime time;
    EXPECT_TRUE(_tnDateParser::parseRFC822Date(row.in, time, log)) << row.name;
    EXPECT_EQ(asText(time), std::string(row.out) + " utc") << row.name;
  }
}

TEST(DateParser, FallsBackToNow) {
  const TextRow rows[] = {
      {"day beyond 31", "Tue, 32 Jan 2006 10:00:00 GMT", "day out of range (1-31)"},
      {"day 0", "0 Jan 2006 10:00:00 GMT", "day out of range (1-31)"},
      {"long month", "2 January 2006 10:00:00", "month string is too long"},
      {"unknown month", "2 Jam 2006 10:00:00", "invalid month abbreviation"},
      {"short month", "2 J 2006 10:00:00", "invalid month abbreviation"},
      {"no day before the year", "May 2002 17:51:47", "day out of range (1-31)"},
      {"no time", "2 Jan 2006", "HH:MM:SS not found"},
      {"half a time", "2 Jan 2006 10 GMT", "HH:MM:SS not found"},
      {"zone without digits", "2 Jan 2006 10:00:00 -", "invalid timezone"},
  };
  for (const auto& row : rows) {
    _tnLogger log;
    TarnellSysTime before;
    before.getCurrentGmt();
    TarnellSysTime time;
    EXPECT_FALSE(_tnDateParser::parseRFC822Date(row.in, time, log)) << row.name;
    EXPECT_TRUE(time.isLocal) << row.name;
    EXPECT_LE(time.toUnixTime() - before.toUnixTime(), 5) << row.name;
    EXPECT_GE(time.toUnixTime(), before.toUnixTime()) << row.name;
    StringBuffer story;
    log.getText(story);
    EXPECT_TRUE(story.containsSubstring(std::string("parseRfc822Date: ") + row.out))
        << row.name << ": " << story.getString();
  }
}

TEST(DateParser, LeavesTheTimeAloneWhenThereIsNothing) {
  for (const char* text : {"", " \t ", "\"\"", "2006-13-02T15:04:05Z", "2006-01-02Tabcdef"}) {
    LogNull log;
    TarnellSysTime time;
    time.year = 1999;
    EXPECT_FALSE(_tnDateParser::parseRFC822Date(text, time, log)) << text;
    EXPECT_EQ(time.year, 1999) << text;
  }
  _tnLogger log;
  TarnellSysTime time;
  EXPECT_FALSE(_tnDateParser::parseRFC822Date(nullptr, 0, time, log));
  EXPECT_TRUE(time.isLocal);
  // The weekday in the text is wrong and counts for nothing.
  _tnDateParser::parseRFC822Date("Fri, 2 Jan 2006 23:04:05 -0700", time, log);
  EXPECT_EQ(time.dayOfWeek, 2);
}

// Every cut and every change of one byte: a date or the present, and no number that overflows.
TEST(DateParser, SurvivesAnyBytes) {
  const std::string good = "Mon, 2 Jan 2006 3:04:05 pm eastern standard time +0100 (CET)";
  LogNull log;
  for (std::size_t i = 0; i <= good.size(); ++i) {
    TarnellSysTime time;
    const bool hasMinutes = i >= std::string_view("Mon, 2 Jan 2006 3:0").size();
    EXPECT_EQ(_tnDateParser::parseRFC822Date(std::string_view(good).substr(0, i), time, log),
              hasMinutes)
        << i;
    for (const char* put : {"99999999999999999999", "-", "\xFF", "+", "-99999999999:", "\t"}) {
      std::string odd = good;
      odd.replace(i, i < odd.size() ? 1 : 0, put);
      const bool isRead = _tnDateParser::parseRFC822Date(odd, time, log);
      EXPECT_EQ(time.isLocal, !isRead) << odd;
    }
  }
}

TEST(SysTime, FixesEachFieldForItself) {
  TarnellSysTime now;
  now.getCurrentGmt();
  using Time = TarnellSysTime;
  const int year = now.year;
  const struct {
    const char* name;
    Time given;
    std::uint16_t Time::*field;
    int least, most;
  } rows[] = {
      {"year 1950", {1950, 3, 0, 15}, &Time::year, year, year + 1},
      {"month beside it", {1950, 3, 0, 15}, &Time::month, 3, 3},
      {"day beside it", {1950, 3, 0, 15}, &Time::day, 15, 15},
      {"year 5001", {5001, 3, 0, 15}, &Time::year, year, year + 1},
      {"year 1960 stays", {1960, 3, 0, 15}, &Time::year, 1960, 1960},
      {"month 0", {2000, 0, 0, 15}, &Time::month, 1, 12},
      {"month 13", {2000, 13, 0, 15}, &Time::month, 1, 12},
      {"day of no leap year", {2001, 2, 0, 29}, &Time::day, 1, 1},
      {"day of a leap year", {2000, 2, 0, 29}, &Time::day, 29, 29},
      {"day 0", {2000, 3, 0, 0}, &Time::day, 1, 1},
      {"hour 24", {2000, 3, 0, 15, 24}, &Time::hour, 0, 23},
      {"second 60", {2000, 3, 0, 15, 12, 0, 60}, &Time::second, 0, 59},
      {"millisecond 9999 stays", {2000, 3, 0, 15, 12, 0, 0, 9999}, &Time::millisecond, 9999, 9999},
  };
  for (const auto& row : rows) {
    Time time = row.given;
    checkFixSystemTime(time);
    EXPECT_GE(time.*row.field, row.least) << row.name;
    EXPECT_LE(time.*row.field, row.most) << row.name;
  }
}

TEST(SysTime, ConvertsThroughEveryDay) {
  for (std::int64_t day = -25000; day < 60000; day += 7) {
    TarnellSysTime time;
    time.fromUnixTime(day * 86400 + 3723);
    const auto seconds = static_cast<std::time_t>(day * 86400 + 3723);
    std::tm wanted = {};
    ::gmtime_r(&seconds, &wanted);
    ASSERT_EQ(time.year, wanted.tm_year + 1900);
    ASSERT_EQ(time.month, wanted.tm_mon + 1);
    ASSERT_EQ(time.day, wanted.tm_mday);
    ASSERT_EQ(time.dayOfWeek, wanted.tm_wday);
    ASSERT_EQ(time.toUnixTime(), seconds);
  }
}

TEST(SysTime, LocalTimeKeepsTheMoment) {
  const ZoneScope zone("Europe/Berlin");
  // The last Sunday of October 2023: 00:30 and 01:30 UTC both show as 02:30 on the clock.
  for (const std::int64_t moment :
       {1698539400LL, 1698543000LL, 1688212800LL, 0LL, -86400LL * 365}) {
    TarnellSysTime time;
    time.fromUnixTime(moment);
    const TnoDateTime object(time);
    EXPECT_EQ(object.GetAsDateTime(1), moment);
    EXPECT_EQ(object.GetAsDateTime(0), moment);
    TarnellSysTime local = time;
    local.toLocalSysTime();
    EXPECT_TRUE(local.isLocal);
    EXPECT_NE(local.hour, time.hour);
    local.toGmtSysTime();
    EXPECT_EQ(asText(local), asText(time));
  }
  EXPECT_EQ(TnoDateTime(TarnellSysTime{}).GetAsDateTime(1), std::nullopt);
}

}  // namespace
}  // namespace keldane::mime
