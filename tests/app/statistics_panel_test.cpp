#include "query/statistics.h"

#include "app/panels/statistics_panel.h"
#include "tests/app/panels_rig.h"

namespace keldane {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

struct ReportRig {
  explicit ReportRig(ServerSession& session)
      : report(session, progress, ui, [this] { ui.changed("database opened"); }) {}
  std::string text() {
    report.doStatsReport();
    return report.statsTextView;
  }

  RecordingUserInterface ui;
  LocalMainQueue queue;
  ProgressPanel progress{ui, queue};
  StatisticsPanel report;
};

constexpr const char* kEmptyReport =
    "\nFrom  thru \n\n"
    "Total Number of emails in date range: 0\n\n"
    "Number of emails with attachments:    0\n\n"
    "Number of emails with tags:           0\n\n"
    "Number of mailboxes:                  0\n\n"
    "By Year:\n"
    "\nTop 10 Senders:\n"
    "\nTop 10 Recipients:\n"
    "\n";

struct StatisticsReportScript : ::testing::Test {
  void answer(const std::string& sql, std::vector<ScriptedSession::Row> rows) {
    session.answerOn("query " + sql, std::move(rows));
  }

  ScriptedSession session;
  ReportRig rig{session};
};

TEST_F(StatisticsReportScript, GoesOnBehindEveryFailure) {
  session.failOn("query *", "gone away");
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(rig.text(), kEmptyReport);
  const std::string told = ::testing::internal::GetCapturedStderr();
  EXPECT_THAT(told, HasSubstr("SQL error: gone away, SELECT count(id) FROM email WHERE"));
  EXPECT_FALSE(findFigures(session, {}).complete);
  EXPECT_THAT(rig.ui.alertLines(), IsEmpty());
}

TEST_F(StatisticsReportScript, KeepsOnlyNamesThatAreText) {
  answer("SELECT from_fld*",
         {{"a@x", "12"}, {"b\xE9@x", "11"}, {std::nullopt, "10"}, {"c@x", "\xFF"}, {"d@x", "9"}});
  answer("SELECT to_fld*", {{"e@x", "1234567890"}, {"f@x", "1234567"}});
  EXPECT_THAT(rig.text(), HasSubstr("\nTop 10 Senders:\n"
                                    "\t12       \ta@x\n"
                                    "\t9        \td@x\n"
                                    "\nTop 10 Recipients:\n"
                                    "\t1,234,567,890\te@x\n"
                                    "\t1,234,567\tf@x\n"
                                    "\n"));
}

TEST(GroupedNumber, PartsThousands) {
  for (const auto& [number, text] : {std::pair(0, "0"),
                                     {999, "999"},
                                     {1000, "1,000"},
                                     {123456, "123,456"},
                                     {2147483647, "2,147,483,647"},
                                     {-1000, "-1,000"},
                                     {-100, "-100"}}) {
    EXPECT_EQ(groupedNumber(number), text);
  }
}

/// The report against a server, over eight messages.
struct StatisticsReportServer : ::testing::Test {
  StatisticsReportServer() {
    const char* rows[] = {"'2019-12-31 23:59:59','a@x','me@x','In',0",
                          "'2021-03-04 00:00:00','a@x','me@x','In',2",
                          "'2021-03-04 05:06:07','b@x','you@x','In',1",
                          "'2021-03-31 00:00:00','a@x','me@x','Sent',0",
                          "'2021-03-31 00:00:01','c\\n@x','me@x','Sent',3",
                          "'2024-02-29 01:01:01','b@x','you@x','Old',0",
                          "'0000-00-00 00:00:00','none@x','me@x','Lost',1",
                          "'1901-01-01 00:00:00','none@x','me@x','Lost',0"};
    int id = 0;
    for (const char* row : rows) {
      run("INSERT INTO email (id,date_fld,from_fld,to_fld,mailbox,numAttach) VALUES(" +
          std::to_string(++id) + "," + row + ")");
    }
    run("INSERT INTO tags (id,cat_fld) VALUES(1,'x'),(3,'y'),(7,'z')");
  }
  void run(const std::string& sql) { EXPECT_TRUE(db.session->query(sql)) << db.session->error(); }

  ServerDatabase db;
  ReportRig rig{*db.session};
};

TEST_F(StatisticsReportServer, ReportsTheWholeArchive) {
  rig.report.form.limitSenderTextField = "2";
  rig.report.form.statsByMailboxCheck = true;
  const std::string text = rig.text();
  // Messages without a date count among attachments, tags and mailboxes only.
  EXPECT_THAT(text, ::testing::StartsWith("\nFrom 2019-12-31 thru 2024-02-29\n\n"
                                          "Total Number of emails in date range: 6\n\n"
                                          "Number of emails with attachments:    4\n\n"
                                          "Number of emails with tags:           3\n\n"
                                          "Number of mailboxes:                  3\n\n"
                                          "By Year:\n"
                                          "\t2019:  1\n"
                                          "\t2021:  4\n"
                                          "\t2024:  1\n"
                                          "\nTop 2 Senders:\n"
                                          "\t3        \ta@x\n"
                                          "\t2        \tb@x\n"
                                          "\nTop 2 Recipients:\n"
                                          "\t4        \tme@x\n"
                                          "\t2        \tyou@x\n"
                                          "\n"
                                          "By Mailbox:\n"
                                          "\t3        \tIn\n"));
  EXPECT_THAT(text, HasSubstr("\t2        \tLost\n"));
  EXPECT_THAT(text, ::testing::EndsWith("\tOld\n\n"));
}

TEST_F(StatisticsReportServer, LeavesTheLastDayOfARangeOutUnlessItIsAskedFor) {
  rig.report.form.dates = {"03", "04", "2021", "03", "31", "2021"};
  EXPECT_EQ(findFigures(*db.session, {dateRange(rig.report.form.dates), true}).total, 4);
  EXPECT_THAT(rig.text(), ::testing::StartsWith("\nFrom 2021-03-04 thru 2021-03-31\n\n"
                                                "Total Number of emails in date range: 3\n\n"
                                                "Number of emails with attachments:    2\n\n"
                                                "Number of emails with tags:           1\n\n"
                                                "Number of mailboxes:                  2\n\n"
                                                "By Year:\n"
                                                "\t2021:  4\n"));
}

TEST_F(StatisticsReportServer, ARefusedLengthLeavesTheListsEmpty) {
  ::testing::internal::CaptureStderr();
  for (const char* length : {"", "0", "1; DROP TABLE email"}) {
    SCOPED_TRACE(length);
    rig.report.form.limitSenderTextField = length;
    EXPECT_THAT(rig.text(), HasSubstr("Senders:\n\nTop"));
  }
  EXPECT_THAT(::testing::internal::GetCapturedStderr(), HasSubstr("SQL error: "));
  EXPECT_EQ(db.cells("SELECT COUNT(*) FROM email"), "8");
}

TEST_F(StatisticsReportServer, ARangeWithoutMailHasNoYears) {
  rig.report.form.dates = {"01", "01", "2030", "12", "31", "2030"};
  const StatsRequest request{dateRange(rig.report.form.dates)};
  const StatsFigures figures = findFigures(*db.session, request);
  EXPECT_TRUE(figures.complete);
  EXPECT_EQ(statsReportText(figures, request), kEmptyReport);
}

}  // namespace
}  // namespace keldane
