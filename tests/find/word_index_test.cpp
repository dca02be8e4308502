#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <latch>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "archive/archive_schema.h"
#include "archive/sql_values.h"
#include "find/index_catch_up.h"
#include "find/index_feed.h"
#include "find/word_search.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/test_server.h"

namespace keldane {
namespace {

class CancelAfter : public Progress {
 public:
  explicit CancelAfter(int most) : most_(most) {}
  void step(int count, std::string_view) override { done_ = count; }
  [[nodiscard]] bool cancelled() const override { return done_ >= most_; }

 private:
  int most_;
  int done_ = 0;
};

/// An archive of its own on the test server, and its index.
class WordIndexTest : public ::testing::Test {
 protected:
  WordIndexTest()
      : session_(TestServer::shared().connect()),
        reader_(std::make_unique<MessageTextReader>(MessageTextReader::Options{})) {
    database_ = TestServer::shared().freshDatabase("find");
    sql("CREATE DATABASE " + database_);
    EXPECT_TRUE(session_->selectDatabase(database_));
    for (const std::string_view create :
         {schema::kCreateEmail, schema::kCreateOrigemail, schema::kCreateTags}) {
      sql(std::string(create));
    }
    openIndex();
  }

  void openIndex() {
    catchUp_.reset();
    index_ = std::make_unique<WordIndex>(folder_ / "index", database_);
    catchUp_ = std::make_unique<IndexCatchUp>(*session_, *index_, *reader_);
  }
  void sql(const std::string& statement) {
    EXPECT_TRUE(session_->query(statement)) << session_->error();
  }
  void add(std::uint32_t id, const std::string& subject, const std::string& source) {
    sql(
        fmt::format("INSERT INTO email (id,from_fld,to_fld,subj_fld,date_fld,body_fld,attachNames,"
                    "attachText) VALUES({},'ann@example.org','bob',{},'2003-01-{:02} 10:00:00',{},"
                    "'','')",
                    id, quotedInline(subject), id % 28 + 1, quotedInline("body of " + subject)));
    if (!source.empty()) {
      sql(fmt::format("INSERT INTO origemail VALUES({},{})", id, quotedInline(source)));
    }
  }
  CatchUpOutcome update() {
    Progress progress;
    Result<CatchUpOutcome> outcome = catchUp_->run(progress);
    EXPECT_TRUE(outcome) << outcome.error();
    return outcome ? *outcome : CatchUpOutcome{};
  }
  std::string find(const std::string& text) {
    const auto query = readWordQuery(text, "2003-02-01");
    if (std::holds_alternative<QueryProblem>(query)) return std::get<QueryProblem>(query).message;
    WordSearch search(*session_, *index_);
    const auto hits = search.find(std::get<QueryNode>(query), HitOrder::newestFirst, 1000);
    if (!hits) return hits.error();
    std::string ids;
    for (const WordHit& hit : *hits) ids += (ids.empty() ? "" : " ") + std::to_string(hit.id);
    return ids;
  }

  const TemporaryFolder folder_;
  std::string database_;
  std::unique_ptr<ServerSession> session_;
  std::unique_ptr<MessageTextReader> reader_;
  std::unique_ptr<WordIndex> index_;
  std::unique_ptr<IndexCatchUp> catchUp_;
};

constexpr const char* kNested =
    "From: =?utf-8?q?J=C3=BCrgen?= <j@example.org>\nTo: Bob <bob@example.org>\nCc: "
    "carl@example.org\n"
    "Subject: =?iso-8859-1?q?Kost=FCme?= for you\nMIME-Version: 1.0\n"
    "Content-Type: multipart/mixed; boundary=b\n\n--b\nContent-Type: text/html; charset=utf-8\n\n"
    "<style>hidden</style><p>caf&eacute; au lait</p>\n--b\nContent-Type: message/rfc822\n\n"
    "Subject: inner\nContent-Type: text/plain\n\ninnermost text\n--b\n"
    "Content-Type: text/csv; name=\"sums of May.csv\"\n"
    "Content-Disposition: attachment; filename=\"sums of May.csv\"\n\nturnover;42\n--b--\n";
constexpr const char* kEncoded =
    "Subject: code\n\nbefore the file\nbegin 644 notes.txt\n#0V%T\n`\nend\nbehind the file\n";

TEST_F(WordIndexTest, FindsEveryWordInItsField) {
  add(1, "Kost\u00FCme for you", kNested);
  add(2, "code", kEncoded);
  add(3, "without source", "");
  add(4, "\u6771\u4EAC\u90FD", "Subject: x\n\n\u6771\u4EAC\u90FD\u3067\n");
  sql("INSERT INTO tags VALUES(3,'Work','alpha beta',4,'remember')");
  EXPECT_EQ(update().added, 4u);
  const std::vector<std::pair<const char*, const char*>> cases = {
      {"kostume", "1"},
      {"subject:KOST\u00DCME", "1"},
      {"body:kostume", ""},
      {"cafe", "1"},
      {"\"au lait\"", "1"},
      {"\"lait au\"", ""},
      {"hidden", ""},
      {"innermost", "1"},
      {"attachment:inner", "1"},
      {"from:inner", ""},
      {"from:jurgen", "1"},
      {"to:carl", "1"},
      {"attachment:turnover", "1"},
      {"file:\"sums of may\"", "1"},
      {"type:csv", "1"},
      {"has:attachment", "2 1"},
      {"\"behind the file\"", "2"},
      {"file:notes.txt", "2"},
      {"source", "3"},
      {"tag:alpha", "3"},
      {"tag:high", "3"},
      {"remember", "3"},
      {"\u4EAC\u90FD", "4"},
      {"\u90FD\u4EAC", ""},
      {"id:2..3", "3 2"},
      {"date:2003-01-03", "2"},
      {"date:last-month", "4 3 2 1"},
      {"size:<50", "4 3"},
      {"innerm* OR code", "2 1"},
      {"NOT id:2..4", "1"},
  };
  for (const auto& [query, ids] : cases) {
    EXPECT_EQ(find(query), ids) << query;
  }
  const auto nested = catchUp_->load(1);
  ASSERT_TRUE(nested && *nested);
  WordCutter cutter;
  const HitPlace place =
      placeOf(std::get<QueryNode>(readWordQuery("turnover", "")), reader_->read(**nested), cutter);
  EXPECT_EQ(place.field, Field::attachment);
  EXPECT_EQ(place.partName, "sums of May.csv");
  EXPECT_EQ(place.snippet.marks.size(), 1u);
}

TEST_F(WordIndexTest, FollowsWhatOthersDoAndNeverShowsWhatIsGone) {
  std::mt19937 random(7);
  std::set<std::uint32_t> stored;
  std::uint32_t next = 1;
  for (int round = 0; round < 4; ++round) {
    for (int i = 0; i < 25; ++i, ++next) {
      add(next, fmt::format("word{} common", next % 5),
          fmt::format("Subject: word{} common\n\nx", next % 5));
      stored.insert(next);
    }
    for (int i = 0; i < 8; ++i) {
      const auto gone = *std::next(stored.begin(), static_cast<long>(random() % stored.size()));
      sql(fmt::format("DELETE FROM email WHERE id={}", gone));
      sql(fmt::format("DELETE FROM tags WHERE id={}", gone));
      stored.erase(gone);
      const auto tagged = *std::next(stored.begin(), static_cast<long>(random() % stored.size()));
      sql(fmt::format("REPLACE INTO tags VALUES({},'','round{} mark',0,'')", tagged, round));
    }
    update();
    const auto expected = [&](const std::string& statement) {
      std::string ids;
      sql(statement + " ORDER BY email.date_fld DESC,email.id DESC");
      const auto rows = session_->storeResult();
      while (rows->next()) ids += (ids.empty() ? "" : " ") + std::string(*rows->cell(0));
      return ids;
    };
    EXPECT_EQ(find("common"), expected("SELECT id FROM email"));
    EXPECT_EQ(find("word3"), expected("SELECT id FROM email WHERE subj_fld LIKE 'word3%'"));
    EXPECT_EQ(find("wor*"), expected("SELECT id FROM email"));
    EXPECT_EQ(find("com* word3"), expected("SELECT id FROM email WHERE subj_fld LIKE 'word3%'"));
    EXPECT_EQ(find("common -rou*"),
              expected("SELECT email.id FROM email LEFT JOIN tags ON tags.id=email.id "
                       "WHERE tags.id IS NULL"));
    for (int tag = 0; tag <= round; ++tag) {
      EXPECT_EQ(find(fmt::format("tag:round{}", tag)),
                expected(fmt::format("SELECT email.id FROM email JOIN tags ON tags.id=email.id "
                                     "WHERE key_fld LIKE 'round{}%'",
                                     tag)));
    }
  }
  const std::uint32_t last = *stored.rbegin();
  sql(fmt::format("DELETE FROM email WHERE id={}", last));
  EXPECT_EQ(find(fmt::format("id:{}", last)), "") << "gone since the index was brought in step";
  add(next, "late", "");
  sql("DELETE FROM tags");
  const CatchUpOutcome outcome = update();
  EXPECT_EQ(outcome.added, 1u);
  EXPECT_EQ(outcome.removed, 1u);
  EXPECT_EQ(find("tag:mark"), "");
  EXPECT_EQ(update().retagged, 0u);
}

TEST_F(WordIndexTest, IsMadeAnewWhenItCannotBeUsedAndGoesOnWhereItWasCut) {
  for (std::uint32_t id = 1; id <= 30; ++id) add(id, fmt::format("number{}", id), "");
  CancelAfter some(12);
  const auto cut = catchUp_->run(some);
  ASSERT_TRUE(cut && cut->cancelled);
  openIndex();
  EXPECT_EQ(update().added, 18u);
  EXPECT_EQ(find("number30"), "30");

  openIndex();
  for (const auto& file : std::filesystem::directory_iterator(folder_ / "index")) {
    if (file.path().filename() != "flintlock") std::filesystem::resize_file(file.path(), 10);
  }
  CatchUpOutcome outcome = update();
  EXPECT_EQ(outcome.added, 30u);
  EXPECT_FALSE(outcome.rebuiltBecause.empty());

  // Another archive behind the same name: its rows are others.
  sql("UPDATE email SET date_fld='2001-01-01 00:00:00',subj_fld='changed'");
  openIndex();
  outcome = update();
  EXPECT_EQ(outcome.rebuiltBecause, "it belongs to another archive");
  EXPECT_EQ(find("subject:changed id:7"), "7");

  WordIndex second(folder_ / "index", database_);
  EXPECT_EQ(second.open(), WordIndex::State::reading) << "the first one has it";
  add(31, "later", "");
  MessageTextReader reader{{}};
  IndexCatchUp other(*session_, second, reader);
  Progress progress;
  const auto read = other.run(progress);
  ASSERT_TRUE(read);
  EXPECT_TRUE(read->isReader);
  EXPECT_EQ(read->behind, 1u);
  EXPECT_EQ(std::filesystem::status(folder_ / "index").permissions(),
            std::filesystem::perms::owner_all);
}

TEST_F(WordIndexTest, KeepsTheLanguageThatWordsAreStemmedIn) {
  add(1, "x", "Subject: running\n\ntwo invoices\n");
  Progress progress;
  EXPECT_THAT(catchUp_->rebuild(progress, "klingon").error(), ::testing::HasSubstr("english"));
  ASSERT_TRUE(catchUp_->rebuild(progress, "english"));
  add(2, "y", "From: invoices@example.org\nSubject: runs\n\nx\n");
  openIndex();
  EXPECT_EQ(update().added, 1u);
  EXPECT_EQ(find("run"), "2 1");
  EXPECT_EQ(find("invoice"), "1") << "names stay as they are";
  EXPECT_EQ(find("running*"), "2 1");
  const auto message = catchUp_->load(1);
  ASSERT_TRUE(message && *message);
  WordCutter cutter;
  const auto query = std::get<QueryNode>(readWordQuery("invoice", ""));
  EXPECT_EQ(placeOf(query, reader_->read(**message), cutter, index_.get()).snippet.marks.size(),
            1u);
}

TEST_F(WordIndexTest, AsksAgainWhenTheIndexChangesBeneathAReader) {
  for (std::uint32_t id = 1; id <= 200; ++id) add(id, fmt::format("word{}", id), "");
  update();
  WordIndex reading(folder_ / "index", database_);
  ASSERT_EQ(reading.open(), WordIndex::State::reading);
  for (int round = 0; round < 4; ++round) {
    for (std::uint32_t id = 1; id <= 200; ++id) {
      ASSERT_TRUE(index_->putMailbox(id, fmt::format("box{}", round)));
    }
    ASSERT_TRUE(index_->commit());
  }
  const auto query = std::get<QueryNode>(readWordQuery("mailbox:box word", ""));
  const auto ids = WordSearch(*session_, reading).ids(query, HitOrder::newestFirst);
  ASSERT_TRUE(ids) << ids.error();
  EXPECT_EQ(ids->size(), 200u);
  const auto sums = reading.idSums();
  ASSERT_TRUE(sums) << sums.error();
  EXPECT_EQ(sums->count, 200u);
}

TEST_F(WordIndexTest, ReadsAMessageAgainThatWasBeingStored) {
  add(1, "half", "");
  update();
  EXPECT_EQ(find("attached"), "");
  sql("INSERT INTO origemail VALUES(1,'Subject: half\n\nattached')");
  EXPECT_EQ(update().added, 1u);
  EXPECT_EQ(find("attached"), "1");
  EXPECT_EQ(update().added, 0u);
}

TEST_F(WordIndexTest, NoticesOneMessageGoneAndAnotherCome) {
  for (const std::uint32_t id : {1U, 3U, 9U}) add(id, "a", "");
  update();
  sql("UPDATE email SET id=5 WHERE id=3");
  const CatchUpOutcome outcome = update();
  EXPECT_EQ(outcome.added + outcome.removed, 2u);
  EXPECT_EQ(find("body"), "9 5 1");
}

TEST_F(WordIndexTest, TrustsTheServersPositionWhereItTellsOfEveryChange) {
  add(1, "one", "");
  update();
  // Not every make of server tells; one that does may still be clearing up behind what was before.
  const auto proved =
      readServerPosition(*session_) ? WordIndex::State::reading : WordIndex::State::writing;
  for (int tries = 0; tries < 200; ++tries) {
    openIndex();
    EXPECT_TRUE(update().inStep);
    if (index_->state() == WordIndex::State::reading) break;
  }
  EXPECT_EQ(index_->state(), proved) << "where it is proved, nothing is compared";
  sql("UPDATE email SET mailbox='Sent' WHERE id=1");
  EXPECT_EQ(update().moved, 1u);
  EXPECT_EQ(find("mailbox:sent"), "1");
  EXPECT_EQ(update().moved, 0u);
  // Changes of such a table move no position.
  sql("ALTER TABLE tags ENGINE=MyISAM");
  for (const char* word : {"early", "late"}) {
    for (int turn = 0; turn < 3; ++turn) update();
    sql(fmt::format("REPLACE INTO tags VALUES(1,'','{}',0,'')", word));
    EXPECT_EQ(update().retagged, 1u);
    EXPECT_EQ(find(fmt::format("tag:{}", word)), "1");
  }
}

ArchivedMessage stored(std::uint32_t id, const std::string& subject) {
  ArchivedMessage message;
  message.id = id;
  message.date = fmt::format("2003-01-{:02} 10:00:00", id % 28 + 1);
  message.mailbox = "Inbox";
  message.source = "Subject: " + subject + "\n\nx";
  return message;
}

/// Feeds the index of the fixture while a run would store.
TEST_F(WordIndexTest, IsFedByARunAndLeavesTheRestToTheNextSearch) {
  for (std::uint32_t id = 1; id <= 6; ++id) add(id, fmt::format("number{}", id), "");
  std::latch isReading(1);
  std::latch mayGoOn(1);
  std::atomic<int> reads = 0;
  MessageTextReader reader({.stripPlist = [&](std::string&) {
    if (reads++ == 0) isReading.count_down();
    mayGoOn.wait();
  }});
  auto index = std::make_unique<WordIndex>(folder_ / "index", database_);
  ASSERT_TRUE(index->create());
  IndexFeed feed(std::move(index), reader, {.queueMessages = 2});
  feed.put(stored(1, "number1"));
  isReading.wait();
  for (std::uint32_t id = 2; id <= 4; ++id) feed.put(stored(id, fmt::format("number{}", id)));
  mayGoOn.count_down();
  feed.drain(std::chrono::seconds(60), [] { return false; });
  EXPECT_EQ(index_->open(), WordIndex::State::reading) << "the feed has it";
  EXPECT_EQ(find("number3"), "3") << "committed";
  EXPECT_EQ(find("number4"), "") << "there was no room";
  index_->close();
  feed.put(stored(6, "number6"));
  feed.drain(std::chrono::seconds(60), [] { return false; });
  feed.move(1, "Drafts");
  feed.forget(2);
  feed.drain(std::chrono::seconds(60), [] { return false; });
  const IndexFeed::Outcome fed = feed.finish();
  EXPECT_EQ(fed.taken, 6u);
  EXPECT_EQ(fed.leftOut, 1u);
  EXPECT_EQ(fed.trouble, "");
  sql("UPDATE email SET mailbox=IF(id=1,'Drafts','Inbox')");
  EXPECT_EQ(update().added, 3u);
  EXPECT_EQ(find("number2 OR number4 OR number5"), "5 4 2");
  EXPECT_EQ(find("mailbox:drafts"), "1");
}

TEST_F(WordIndexTest, ListsAttachmentsThatFailed) {
  AttachmentText documents(folder_.path() + "/");
  reader_ = std::make_unique<MessageTextReader>(MessageTextReader::Options{{}, true, &documents});
  openIndex();
  add(1, "broken",
      "Subject: broken\nContent-Type: application/octet-stream; name=a.docx\n"
      "Content-Transfer-Encoding: base64\n\nUEsDBA==\n");
  update();
  auto failures = index_->failures();
  ASSERT_TRUE(failures && failures->size() == 1);
  EXPECT_EQ(failures->front().id, 1u);
  EXPECT_EQ(failures->front().failure.name, "a.docx");
  sql("DELETE FROM email");
  update();
  failures = index_->failures();
  ASSERT_TRUE(failures);
  EXPECT_TRUE(failures->empty());
}

}  // namespace
}  // namespace keldane
