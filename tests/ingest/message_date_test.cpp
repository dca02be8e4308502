#include "ingest/reading/message_date.h"

#include <cstdlib>
#include <ctime>
#include <map>
#include <string>

#include <gtest/gtest.h>

#include "ingest/reading/natural_date.h"
#include "platform/environment.h"

namespace keldane {
namespace {

constexpr std::int64_t kNow = 1700000000;  // 2023-11-14 22:13:20 UTC

/// A zone without summer time, two hours east.
class Dates : public testing::Test {
 protected:
  void SetUp() override {
    if (const char* zone = std::getenv("TZ")) zoneBefore_ = zone;
    ::setenv("TZ", "XXX-2", 1);
    ::tzset();
  }
  void TearDown() override {
    if (zoneBefore_.empty()) {
      ::unsetenv("TZ");
    } else {
      ::setenv("TZ", zoneBefore_.c_str(), 1);
    }
    ::tzset();
  }

 private:
  std::string zoneBefore_;
};

class NaturalDate : public Dates,
                    public testing::WithParamInterface<std::pair<const char*, const char*>> {};

TEST_P(NaturalDate, IsUnderstood) {
  const auto [text, local] = GetParam();
  const auto moment = parseNaturalDate(text, kNow);
  EXPECT_EQ(moment ? localDateTime(*moment) : "none", local) << text;
}

INSTANTIATE_TEST_SUITE_P(
    HeaderForms, NaturalDate,
    testing::Values(std::pair{"Mon, 15 Jan 2024 10:20:30 +0100 (CET)", "2024-01-15 11:20:30"},
                    std::pair{"15 Jan 24 10:20 GMT", "2024-01-15 12:20:00"},
                    std::pair{"Monday, 15-Jan-96 10:20:30 EST", "1996-01-15 17:20:30"},
                    std::pair{"Mon Jan 15 10:20:30 2024", "2024-01-15 10:20:30"},
                    std::pair{"Mon Jan 15 10:20:30 PST 2024", "2024-01-15 20:20:30"},
                    std::pair{"15 Jan 2024 10:20:30 GMT+02:00", "2024-01-15 10:20:30"},
                    std::pair{"(odd (nested) comment) 1 Feb 2024 00:00:00 -0000",
                              "2024-02-01 02:00:00"}));
INSTANTIATE_TEST_SUITE_P(
    WrittenForms, NaturalDate,
    testing::Values(std::pair{"2024-01-15T10:20:30Z", "2024-01-15 12:20:30"},
                    std::pair{"2024-01-15T10:20:30.125+01:00", "2024-01-15 11:20:30"},
                    std::pair{"2024-01-15 10:20", "2024-01-15 10:20:00"},
                    std::pair{"20240115", "2024-01-15 12:00:00"},
                    std::pair{"2024/1/15", "2024-01-15 12:00:00"},
                    std::pair{"1/15/24, 10:20 PM", "2024-01-15 22:20:00"},
                    std::pair{"15/1/2024 12:05 am", "2024-01-15 00:05:00"},
                    std::pair{"15.01.2024", "2024-01-15 12:00:00"},
                    std::pair{"January 1st, 2024 at 7:00", "2024-01-01 07:00:00"},
                    std::pair{"3 September", "2023-09-03 12:00:00"},
                    std::pair{"29 Feb 2024", "2024-02-29 12:00:00"}));
INSTANTIATE_TEST_SUITE_P(
    NoDates, NaturalDate,
    testing::Values(std::pair{"", "none"}, std::pair{"soon", "none"}, std::pair{"10:20", "none"},
                    std::pair{"January 2024", "none"}, std::pair{"29 Feb 2023", "none"},
                    std::pair{"15 Jan 2024 25:00", "none"}, std::pair{"2024-13-01", "none"},
                    std::pair{"99999999999999999999 Jan", "none"},
                    std::pair{"15 Jan 2024 10:20 +9999999999", "none"},
                    std::pair{"1 Jan 2024 (((((", "2024-01-01 12:00:00"}));

struct Settled {
  std::string msgDate;
  std::string dropped;
};

class MessageDate : public Dates {
 protected:
  Settled settle(std::optional<std::int64_t> sent, bool hasSender,
                 std::map<std::string, std::string, std::less<>> fields = {},
                 const RunRange& range = {"2000-01-01 00:00:00", "2030-01-01 00:00:00"}) {
    DateSources sources{sent, hasSender, [&fields](std::string_view name) {
                          const auto it = fields.find(name);
                          return it == fields.end() ? std::nullopt
                                                    : std::optional<std::string>(it->second);
                        }};
    Settled settled;
    settled.msgDate = "left over";
    settled.dropped = chooseMessageDate(sources, range, kNow, settled.msgDate).value_or("");
    return settled;
  }
};

TEST_F(MessageDate, ADateInThePastStandsAsItIs) {
  const Settled settled = settle(kNow - 5, true);
  EXPECT_EQ(settled.msgDate, "2023-11-15 00:13:15");
  EXPECT_EQ(settled.dropped, "");
}

TEST_F(MessageDate, ALaterOneIsReadFromTheHeader) {
  EXPECT_EQ(settle(kNow - 4, true, {{"Date", "15 Jan 2022 10:00 GMT"}}).msgDate,
            "2022-01-15 12:00:00");
  EXPECT_EQ(settle(kNow + 99, false, {{"Date", "15 Jan 2022 10:00 GMT"}}).dropped,
            "dated in the future without a sender");
}

TEST_F(MessageDate, AnUnreadableHeaderStaysAsText) {
  const Settled kept = settle(kNow, true, {{"Date", "2024, some day"}});
  EXPECT_EQ(kept.msgDate, "2024, some day");
  EXPECT_EQ(kept.dropped, "");
  EXPECT_EQ(settle(kNow, true, {{"Date", "yesterday"}}).dropped, "outside the date range");
}

TEST_F(MessageDate, LimitsAreThemselvesInside) {
  const std::string moment = localDateTime(kNow - 100);
  EXPECT_EQ(settle(kNow - 100, true, {}, {moment, moment}).dropped, "");
  EXPECT_EQ(settle(kNow - 101, true, {}, {moment, moment}).dropped, "outside the date range");
  EXPECT_EQ(settle(kNow - 99, true, {}, {moment, moment}).dropped, "outside the date range");
}

TEST_F(MessageDate, WithoutADateTheStampOfTheServerServes) {
  const auto received = [this](const char* stamp, const RunRange& range) {
    return settle(std::nullopt, true, {{"received", stamp}}, range);
  };
  const RunRange any{"", "~"};
  const RunRange years{"2000-01-01 00:00:00", "2030-01-01 00:00:00"};
  EXPECT_EQ(received("by x; Mon, 15 Jan 2024 10:20:30 +0100", {"A", "~"}).msgDate,
            "Mon, 15 Jan 2024 10:20:30");
  EXPECT_EQ(received("by x; Mon, 15 Jan 2024 10:20:30 +0100", years).dropped,
            "outside the date range");
  for (const char* useless : {"by x", "by x; +0100", "by x; "}) {
    EXPECT_EQ(received(useless, years).dropped, "no date") << useless;
  }
  EXPECT_EQ(settle(std::nullopt, true, {}, any).dropped, "") << "an empty date passes empty limits";
  EXPECT_EQ(settle(std::nullopt, true).dropped, "no date");
}

}  // namespace
}  // namespace keldane
