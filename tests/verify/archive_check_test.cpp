#include "verify/archive_check.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "find/message_terms.h"
#include "ingest/ledger/run_ledger.h"
#include "ingest/reading/strip_plist.h"
#include "tests/support/test_server.h"

namespace keldane {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr std::string_view kHead =
    "From: Ann <ann@example.org>\r\nTo: bob@example.org\r\nMIME-Version: 1.0\r\n"
    "Date: Mon, 2 Jan 2023 03:04:05 +0000\r\n";
/// The messages by their ids, beginning with 1.
const std::vector<std::string> kMessages = {
    // With all kinds of rows.
    std::string(kHead) +
        "Subject: one\r\nContent-Type: multipart/mixed; boundary=b\r\n\r\n"
        "--b\r\nContent-Type: text/html\r\n\r\n<p>Dear Bob</p>\r\n"
        "--b\r\nContent-Type: text/plain; name=notes.txt\r\n"
        "Content-Disposition: attachment; filename=notes.txt\r\n\r\nsome notes\r\n"
        "--b\r\nContent-Type: application/pdf\r\n"
        "Content-Disposition: attachment; filename=bill.pdf\r\n"
        "Content-Transfer-Encoding: base64\r\n\r\nQklM\r\n--b--\r\n",
    // Not in UTF-8.
    std::string(kHead) + "Subject: two\r\n\r\nGr\xFC\xDF" + "e\r\n\r\naus K\xF6ln\r\n",
    // Its text does not give back its bytes.
    std::string(kHead) + "Subject: three\r\n\r\none\n\ntwo\r\n",
    std::string(kHead) + "Subject: four\r\n\r\nDear Bob,\r\n\r\nthe fourth\r\n"};

constexpr const char* kTables[] = {"email", "origemail", "attachments", "tags",
                                   "keldane_fingerprints"};

/// Ends a check when so many messages have been looked at.
class EndingProgress : public Progress {
 public:
  explicit EndingProgress(int most) : most_(most) {}
  void step(int, std::string_view) override { ++steps; }
  [[nodiscard]] bool cancelled() const override { return steps >= most_; }
  int steps = 0;

 private:
  const int most_;
};

class ArchiveCheckTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    home_ = std::make_unique<TemporaryFolder>();
    TestServer& server = TestServer::shared();
    database_ = server.freshDatabase("verify");
    keldane({"connections", "add", "Tests", "--socket", *server.address().socket, "--user",
             *server.address().user, "--database", database_});
    for (std::size_t i = 0; i < kMessages.size(); ++i) {
      const std::string file = "mail/" + std::to_string(i + 1) + ".eml";
      home_->write(file, kMessages[i]);
      keldane({"archive", home_->path() + "/" + file});
    }
    const auto session = server.connect();
    ASSERT_TRUE(session->selectDatabase(database_));
    for (const std::string table : kTables) {
      ASSERT_TRUE(session->query("CREATE TABLE copy_" + table + " AS SELECT * FROM " + table));
    }
  }
  static void TearDownTestSuite() { home_.reset(); }

  void SetUp() override {
    session_ = TestServer::shared().connect();
    ASSERT_TRUE(session_->selectDatabase(database_));
    for (const std::string table : kTables) {
      sql("DELETE FROM " + table);
      sql("INSERT INTO " + table + " SELECT * FROM copy_" + table);
    }
  }

  static void keldane(const std::vector<std::string>& arguments) {
    ToolCall call{
        "/usr/bin/env", {"HOME=" + home_->path(), "TZ=UTC", KELDANE_PROGRAM}, home_->path(), ""};
    call.arguments.insert(call.arguments.end(), arguments.begin(), arguments.end());
    const Result<ToolOutcome> outcome = ProcessToolRunner().run(call);
    ASSERT_TRUE(outcome);
    ASSERT_EQ(outcome->exitStatus, 0) << outcome->errorText;
  }
  void sql(const std::string& statement) {
    ASSERT_TRUE(session_->query(statement)) << statement << ": " << session_->error();
  }
  [[nodiscard]] static std::string ledgerPath() { return home_->path() + "/Ledger"; }

  /// "ID KIND", with a "+" behind it when it was mended.
  std::vector<std::string> check(bool repairs, Progress* progress = nullptr) {
    Progress none;
    MessageTextReader::Options options;
    options.stripPlist = [](std::string& source) {
      MessageTags tags;
      stripPlist(source, tags);
    };
    MessageTextReader reader(options);
    WordIndex index(home_->path() + "/index", "test");
    IndexCatchUp catchUp(*session_, index, reader);
    SystemEnvironment environment(0, nullptr);
    ArchiveCheck check({.session = *session_,
                        .environment = environment,
                        .progress = progress != nullptr ? *progress : none,
                        .index = index,
                        .catchUp = catchUp,
                        .markPath = home_->path() + "/marks/check.json",
                        .ledgerPath = ledgerPath(),
                        .ledgerDatabase = "here"},
                       {.repairs = repairs, .fromStart = progress == nullptr});
    std::vector<std::string> faults;
    const Result<CheckReport> report = check.run([&faults](const ArchiveFault& fault) {
      faults.push_back(std::to_string(fault.id) + " " + std::string(faultName(fault.kind)) +
                       (fault.isMended ? "+" : ""));
    });
    EXPECT_TRUE(report) << report.error();
    if (report) report_ = *report;
    return faults;
  }

  static std::unique_ptr<TemporaryFolder> home_;
  static std::string database_;
  std::unique_ptr<ServerSession> session_;
  CheckReport report_;
};

std::unique_ptr<TemporaryFolder> ArchiveCheckTest::home_;
std::string ArchiveCheckTest::database_;

struct Damage {
  const char* name;
  std::vector<const char*> sql;
  const char* fault;  ///< as a repair tells it
};

const Damage kDamages[] = {
    {"row of email deleted", {"DELETE FROM email WHERE id=1"}, "1 row+"},
    {"source deleted", {"DELETE FROM origemail WHERE id=2"}, "2 source"},
    {"source deleted whose bytes are kept", {"DELETE FROM origemail WHERE id=3"}, "3 source+"},
    {"attachment deleted",
     {"DELETE FROM attachments WHERE filename_fld='bill.pdf'"},
     "1 attachment+"},
    {"HTML version deleted",
     {"DELETE FROM attachments WHERE filename_fld LIKE '%html'"},
     "1 attachment+"},
    {"fingerprint deleted", {"DELETE FROM keldane_fingerprints WHERE id=4"}, "4 fingerprint+"},
    {"source shortened",
     {"UPDATE origemail SET orig_fld=LEFT(orig_fld,200) WHERE id=1"},
     "1 source"},
    {"source emptied", {"UPDATE origemail SET orig_fld='' WHERE id=4"}, "4 source"},
    {"character of a source changed",
     {"UPDATE origemail SET orig_fld=REPLACE(orig_fld,'fourth','fifth!') WHERE id=4"},
     "4 source"},
    {"character changed of a source whose bytes are kept",
     {"UPDATE origemail SET orig_fld=REPLACE(orig_fld,'two','twi') WHERE id=3"},
     "3 source+"},
    {"subject changed", {"UPDATE email SET subj_fld='five' WHERE id=4"}, "4 column+"},
    {"sender changed", {"UPDATE email SET from_fld='' WHERE id=4"}, "4 column+"},
    {"receiver changed", {"UPDATE email SET to_fld='x' WHERE id=4"}, "4 column+"},
    {"body emptied", {"UPDATE email SET body_fld='' WHERE id=2"}, "2 column+"},
    {"headings emptied", {"UPDATE email SET headings='' WHERE id=4"}, "4 column+"},
    {"date changed", {"UPDATE email SET date_fld='1999-01-01 00:00:00' WHERE id=4"}, "4 column+"},
    {"wrong count", {"UPDATE email SET numAttach=7 WHERE id=1"}, "1 column+"},
    {"names of attachments gone", {"UPDATE email SET attachNames='' WHERE id=1"}, "1 column+"},
    {"text of attachments gone", {"UPDATE email SET attachText='' WHERE id=1"}, "1 column+"},
    {"bytes of an attachment changed",
     {"UPDATE attachments SET attach_fld='AAAA' WHERE filename_fld='bill.pdf'"},
     "1 attachment+"},
    {"name of an attachment changed",
     {"UPDATE attachments SET filename_fld='x.pdf' WHERE filename_fld='bill.pdf'"},
     "1 attachment+"},
    {"type of an attachment changed",
     {"UPDATE attachments SET type_fld='x/y' WHERE filename_fld='bill.pdf'"},
     "1 attachment+"},
    {"size of an attachment changed",
     {"UPDATE attachments SET encode_fld=5 WHERE filename_fld='bill.pdf'"},
     "1 attachment+"},
    {"attachment of nowhere",
     {"INSERT INTO attachments VALUES(4,'x/y','x.bin',1,'x')"},
     "4 attachment"},
    {"tags of no message", {"INSERT INTO tags VALUES(99,'a','b',1,'')"}, "99 orphan"},
    {"attachment of no message",
     {"INSERT INTO attachments VALUES(99,'x/y','x.bin',1,'x')"},
     "99 orphan"},
    {"source without a message",
     {"INSERT INTO origemail SELECT 99,orig_fld FROM copy_origemail WHERE id=4",
      "INSERT INTO keldane_fingerprints SELECT 99,source_sha256,content_sha256,reading,size_bytes,"
      "encoding,line_ends,path,offset_bytes,exact_zstd FROM copy_keldane_fingerprints WHERE id=4",
      "INSERT INTO tags VALUES(99,'a','b',1,'')"},
     "99 row+"},
    {"fingerprint of no message",
     {"INSERT INTO keldane_fingerprints (id) VALUES(99)"},
     "99 orphan+"},
    {"digest changed",
     {"UPDATE keldane_fingerprints SET source_sha256=content_sha256 WHERE id=4"},
     "4 source"},
    {"digest gone",
     {"UPDATE keldane_fingerprints SET source_sha256=NULL WHERE id=4"},
     "4 fingerprint+"},
    {"line ends noted wrongly",
     {"UPDATE keldane_fingerprints SET line_ends=0 WHERE id=4"},
     "4 fingerprint+"},
    {"encoding noted wrongly",
     {"UPDATE keldane_fingerprints SET encoding=4 WHERE id=2"},
     "2 fingerprint+"},
    {"size noted wrongly",
     {"UPDATE keldane_fingerprints SET size_bytes=7 WHERE id=4"},
     "4 fingerprint+"},
    {"digest of the content changed",
     {"UPDATE keldane_fingerprints SET content_sha256=source_sha256 WHERE id=4"},
     "4 fingerprint+"},
    {"kept bytes shortened",
     {"UPDATE keldane_fingerprints SET exact_zstd=LEFT(exact_zstd,20) WHERE id=3"},
     "3 fingerprint"}};

TEST_F(ArchiveCheckTest, EachDamageIsNamedAndMendedWhereASourceCan) {
  ASSERT_THAT(check(false), IsEmpty());
  EXPECT_EQ(report_.counts.exact, kMessages.size());
  for (const Damage& damage : kDamages) {
    SCOPED_TRACE(damage.name);
    SetUp();
    for (const char* const statement : damage.sql) sql(statement);
    const std::string fault = damage.fault;
    const bool canMend = fault.ends_with('+');
    const std::string bare = canMend ? fault.substr(0, fault.size() - 1) : fault;
    EXPECT_THAT(check(false), ElementsAre(bare));
    EXPECT_THAT(check(true), ElementsAre(fault));
    if (canMend) {
      EXPECT_THAT(check(false), IsEmpty());
    } else {
      EXPECT_THAT(check(false), ElementsAre(bare)) << "what no source can mend stays named";
    }
  }
}

TEST_F(ArchiveCheckTest, NothingOfADamagedSourceIsMadeTheMessage) {
  sql("UPDATE origemail SET orig_fld=REPLACE(orig_fld,'Subject: four','Subject: evil')");
  sql("UPDATE email SET headings='' WHERE id=4");
  EXPECT_THAT(check(true), ElementsAre("4 source"));
  EXPECT_EQ(TestServer::shared().value("SELECT subj_fld FROM " + database_ + ".email WHERE id=4"),
            "four");
}

TEST_F(ArchiveCheckTest, WhatIsSoByRightIsNoFault) {
  const Damage rights[] = {
      {"attachments deleted by the user",
       {"DELETE FROM attachments WHERE filename_fld NOT LIKE '%html'",
        "UPDATE email SET numAttach=0,attachNames='',attachText=''"},
       ""},
      {"attachments not wanted",
       {"DELETE FROM attachments WHERE filename_fld NOT LIKE '%html'",
        "UPDATE email SET numAttach=0,attachNames='htmlversion.html',attachText='' WHERE id=1"},
       ""},
      {"only small attachments wanted",
       {"DELETE FROM attachments WHERE filename_fld='notes.txt'",
        "UPDATE email SET "
        "numAttach=1,attachNames='htmlversion.html,bill.pdf',attachText='BIL' WHERE "
        "id=1"},
       ""},
      {"archived in another time zone",
       {"UPDATE email SET date_fld=date_fld + INTERVAL 330 MINUTE"},
       ""},
      {"moved to another mailbox", {"UPDATE email SET mailbox='elsewhere'"}, ""},
      {"excluded by a rule when its row stood",
       {"DELETE FROM origemail WHERE id=4", "UPDATE email SET headings='' WHERE id=4"},
       ""}};
  for (const Damage& right : rights) {
    SCOPED_TRACE(right.name);
    SetUp();
    for (const char* const statement : right.sql) sql(statement);
    EXPECT_THAT(check(false), IsEmpty());
  }
  EXPECT_EQ(report_.counts.bare, 1U);
}

TEST_F(ArchiveCheckTest, AnArchiveOfAnOlderProgramIsBroughtUpToDate) {
  sql("ALTER TABLE keldane_fingerprints RENAME TO put_by");
  sql("UPDATE email SET body_fld=''");
  EXPECT_EQ(check(false).front(), "0 fingerprint");
  EXPECT_THAT(check(true),
              ElementsAre("0 fingerprint+", "1 column+", "2 column+", "3 column+", "4 column+"));
  EXPECT_EQ(report_.printsMade, kMessages.size());
  EXPECT_THAT(check(false), IsEmpty());
  sql("DROP TABLE keldane_fingerprints");
  sql("ALTER TABLE put_by RENAME TO keldane_fingerprints");
}

TEST_F(ArchiveCheckTest, OneThatIsInterruptedGoesOnWhereItWas) {
  sql("UPDATE email SET subj_fld='x' WHERE id=1");
  EndingProgress two(2);
  EXPECT_THAT(check(false, &two), ElementsAre("1 column"));
  EXPECT_TRUE(report_.cancelled);
  EndingProgress all(100);
  EXPECT_THAT(check(false, &all), IsEmpty());
  EXPECT_EQ(all.steps, 2);
  EXPECT_EQ(report_.counts.messages, kMessages.size());
  EXPECT_EQ(report_.counts.allFaults(), 1U);
}

TEST_F(ArchiveCheckTest, TheLedgerAndTheWordIndexAreLookedAtToo) {
  {
    RunLedger ledger;
    LedgerStart start;
    start.database = "here";
    ASSERT_TRUE(ledger.begin(ledgerPath(), start));
    ledger.beginMessage("/mail/4.eml", std::nullopt);
    ledger.open({});
    ledger.recordRow(4);
  }
  EXPECT_THAT(check(true), ElementsAre("4 ledger", "0 ledger")) << "the next run completes it";
  std::filesystem::remove(ledgerPath());

  MessageTextReader reader({});
  WordIndex index(home_->path() + "/index", "test");
  Progress none;
  ASSERT_TRUE(IndexCatchUp(*session_, index, reader).rebuild(none));
  index.close();
  EXPECT_THAT(check(false), IsEmpty());
  std::filesystem::resize_file(home_->path() + "/index/postlist.glass", 5000);
  EXPECT_THAT(check(false), ElementsAre("0 index"));
  EXPECT_THAT(check(true), ElementsAre("0 index+"));
  EXPECT_THAT(check(false), IsEmpty());
  sql("DELETE FROM email WHERE id=4");
  sql("DELETE FROM origemail WHERE id=4");
  sql("DELETE FROM keldane_fingerprints WHERE id=4");
  EXPECT_THAT(check(false), IsEmpty()) << "the next question brings it in step";
  EXPECT_EQ(report_.index.behind, 1U);
}

}  // namespace
}  // namespace keldane
