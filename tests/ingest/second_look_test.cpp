// Messages that the duplicate test takes for one another, on a server.

#include <functional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zstd.h>

#include "archive/content_digest.h"
#include "base/text.h"
#include "ingest/ledger/ledger_reader.h"
#include "ingest/storing/message_store.h"
#include "tests/ingest/server_database.h"
#include "tests/ingest/store_fixture.h"

namespace keldane {
namespace {

using ::testing::IsEmpty;

mime::PartView leaf(std::string_view contentType, std::string_view name, std::string_view body) {
  mime::PartView part;
  part.contentType = contentType;
  part.name = name;
  part.body = body;
  return part;
}

/// A message of a feed, as a source; those of one second differ in `subject` and `text` only.
CurrentMessage feed(const std::string& subject, const std::string& text) {
  CurrentMessage message = plainMessage("\"A body that begins with a quote\"");
  message.msgSubject = subject;
  message.msgOriginal = "From: ann@example.org\nSubject: " + subject +
                        "\nContent-Type: text/plain; charset=utf-8\n\n" + text + "\n";
  ContentDigest digest;
  digest.addPart(leaf("text/plain", "", text));
  message.contentSha256 = digest.finish(subject);
  message.origin.sha256 = sha256(message.msgOriginal);
  message.origin.path = message.currentPath;
  return message;
}

class SecondLookTest : public ::testing::Test {
 protected:
  SecondLookTest() : step(*database.session) {}
  void SetUp() override {
    begin();
    EXPECT_TRUE(Fingerprints({.session = *database.session}).open());
  }
  void begin() { ASSERT_TRUE(step.beginRun(database.greatestId())); }
  void run(const std::string& sql) {
    ASSERT_TRUE(database.session->query(sql)) << database.session->error();
  }
  /// What became of the message, as the ledger has it.
  std::string store(CurrentMessage message) {
    step.storeMessage(std::move(message));
    std::string last;
    EXPECT_TRUE(forEachLedgerLine(step.ledgerPath(), [&](const LedgerLine& line) {
      last = std::string(outcomeName(line.outcome)) + " " + line.detail;
    }));
    return last;
  }

  ServerDatabase database;
  StoreFixture step;
};

TEST_F(SecondLookTest, KeepsEveryMessageOnceWhateverTheTestTakesItFor) {
  EXPECT_EQ(store(feed("One", "first")), "archived 1");
  EXPECT_EQ(store(feed("Two", "second")), "archived 2, differs from 1");
  EXPECT_EQ(store(feed("One", "third")), "archived 3, differs from 1");
  for (int again = 0; again < 2; ++again) {
    EXPECT_EQ(store(feed("One", "third")), "duplicate 3");
    EXPECT_EQ(store(feed("Two", "second")), "duplicate 2");
    EXPECT_EQ(store(feed("One", "first")), "duplicate 1");
    begin();
  }
  EXPECT_EQ(database.cells("SELECT COUNT(*) FROM keldane_fingerprints"), "3");
  step.plan.keepDiffering = false;
  EXPECT_EQ(store(feed("Four", "fourth")), "duplicate 1");
}

TEST_F(SecondLookTest, FindsAMessageWhoseBodyWasStoredOtherwise) {
  EXPECT_EQ(store(feed("One", "first")), "archived 1");
  run("UPDATE email SET body_fld=''");
  CurrentMessage again = feed("One", "first");
  again.msgBody = "Without a quote";
  EXPECT_EQ(store(again), "duplicate 1");
  CurrentMessage other = feed("Two", "second");
  other.msgBody = "Without a quote";
  EXPECT_EQ(store(other), "archived 2") << "the test took it for none";
}

TEST_F(SecondLookTest, MakesFingerprintsThatAreMissingFromTheStoredSource) {
  struct Case {
    const char* name;
    const char* change;
    CurrentMessage next;
    const char* outcome;
    const char* fingerprints;  // with a source's digest, and with a content's
  };
  // Another way, another header of transport.
  CurrentMessage otherWay = feed("One", "größer\n> quoted");
  otherWay.msgOriginal.insert(0, "Received: by there\r\n");
  otherWay.origin.sha256 = sha256(otherWay.msgOriginal);
  CurrentMessage withNul = feed("One", "größer\n> quoted");
  withNul.msgOriginal.insert(9, 2, '\0');
  const std::vector<Case> cases = {
      {"to the byte", "DELETE FROM keldane_fingerprints", feed("One", "größer\n> quoted"),
       "duplicate 1", "1|1"},
      {"but for NULs", "DELETE FROM keldane_fingerprints", withNul, "duplicate 1", "1|1"},
      {"by another way", "DELETE FROM keldane_fingerprints", otherWay, "duplicate 1", "0|1"},
      {"another message", "DELETE FROM keldane_fingerprints", feed("One", "größer"),
       "archived 2, differs from 1", "1|1"},
      {"made by an older way of reading",
       "UPDATE keldane_fingerprints SET reading=1,content_sha256=UNHEX('00'),source_sha256=NULL",
       otherWay, "duplicate 1", "0|1"},
      {"no source either", "DELETE FROM keldane_fingerprints", feed("Two", "second"), "duplicate 1",
       "0|0"},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.name);
    for (const char* table : {"email", "origemail", "keldane_fingerprints"}) {
      run(std::string("TRUNCATE TABLE ") + table);
    }
    EXPECT_EQ(store(feed("One", "größer\n> quoted")), "archived 1");
    run(row.change);
    if (std::string(row.name) == "no source either") run("DELETE FROM origemail");
    EXPECT_EQ(store(row.next), row.outcome);
    EXPECT_EQ(database.cells("SELECT COUNT(source_sha256),COUNT(content_sha256) FROM "
                             "keldane_fingerprints WHERE id=(SELECT MAX(id) FROM email)"),
              row.fingerprints);
  }
}

TEST_F(SecondLookTest, ASourceOfWhichTheEncodingIsNotKnownIsReadInBothWays) {
  CurrentMessage message = feed("One", "größer");  // as Latin 1, the bytes of two Cyrillic letters
  replaceAll(message.msgOriginal, "charset=utf-8", "charset=koi8-r");
  ContentDigest digest;
  digest.addPart(leaf("text/plain", "", "grЖъer"));
  message.contentSha256 = digest.finish("One");
  message.origin.encoding = mime::SourceEncoding::latin1;
  EXPECT_EQ(store(message), "archived 1");
  run("DELETE FROM keldane_fingerprints");
  message.msgOriginal.insert(0, "Received: by there\n");
  EXPECT_EQ(store(message), "duplicate 1");
  EXPECT_EQ(database.cells("SELECT encoding FROM keldane_fingerprints"), "5");
}

TEST_F(SecondLookTest, AnAnswerThatTheColumnsCannotHoldIsStillFound) {
  CurrentMessage message = feed("One", "first");
  message.msgFrom = "😀 ann@example.org";
  message.msgTo = "😀" + std::string(300, 'x') + "@example.org";
  message.msgBody = "A body with a 😀 in it";
  struct Case {
    const char* name;
    const char* change;
  };
  const std::vector<Case> cases = {
      {"no UTF-8 at all",
       "ALTER TABLE email CONVERT TO CHARACTER SET latin1 COLLATE latin1_german1_ci"},
      {"characters of three bytes", "ALTER TABLE email CONVERT TO CHARACTER SET utf8"},
      {"receivers of an archive of old", "ALTER TABLE email MODIFY to_fld VARCHAR(255) NOT NULL"},
      {"as new", "ALTER TABLE email MODIFY to_fld MEDIUMTEXT CHARACTER SET utf8mb4 NOT NULL"},
  };
  for (const bool keepDiffering : {true, false}) {
    for (const Case& row : cases) {
      SCOPED_TRACE(row.name);
      step.plan.keepDiffering = keepDiffering;
      run("TRUNCATE TABLE email");
      run("TRUNCATE TABLE origemail");
      run(row.change);
      begin();
      EXPECT_EQ(store(message), "archived 1");
      EXPECT_EQ(store(message), "duplicate 1");
      EXPECT_THAT(step.log.lines, IsEmpty());
    }
  }
}

TEST_F(SecondLookTest, AFingerprintGivesTheBytesOfTheFileBack) {
  CurrentMessage message = feed("One", "first");
  const std::string bytes = std::string("mixed\r\nlines\n\0\xff", 15) + std::string(5000, 'x');
  message.origin.sha256 = sha256(bytes);
  message.origin.sizeBytes = bytes.size();
  message.origin.encoding = mime::SourceEncoding::latin1;
  message.origin.lineEnds = LineEnds::crlf;
  message.origin.path = "/mail/\xff\"'\\odd\n.mbox";
  message.origin.offsetBytes = 5'000'000'000;
  message.origin.exactBytes = bytes;
  // A row that is left over from an older message of this id.
  store(feed("Zero", "none"));
  run("UPDATE keldane_fingerprints SET id=2");
  store(message);
  EXPECT_EQ(database.cells("SELECT source_sha256,content_sha256,size_bytes,encoding,line_ends,"
                           "path,offset_bytes FROM keldane_fingerprints WHERE id=2"),
            message.origin.sha256 + "|" + message.contentSha256 + "|5015|5|1|" +
                message.origin.path + "|5000000000");
  const std::string packed =
      database.cells("SELECT exact_zstd FROM keldane_fingerprints WHERE id=2");
  EXPECT_LT(packed.size(), 200U);
  std::string found(bytes.size() + 1, '\0');
  found.resize(ZSTD_decompress(found.data(), found.size(), packed.data(), packed.size()));
  EXPECT_EQ(found, bytes);
}

}  // namespace
}  // namespace keldane
