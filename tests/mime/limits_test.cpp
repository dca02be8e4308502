#include "mime/limits.h"

#include <gtest/gtest.h>

#include <string>

#include "mime/buffers/log_base.h"
#include "mime/headers/email_address.h"
#include "mime/tno_email.h"
#include "mime/tno_mime.h"
#include "mime/tree/mime_message.h"
#include "tests/mime/mail_builder.h"

namespace keldane::mime {
namespace {

std::string logText(const _tnLogger& log) {
  StringBuffer text;
  log.getText(text);
  return std::string(text.view());
}

const std::string kMixed = "Content-Type: multipart/mixed; boundary=b\r\n\r\n";

TEST(Limits, KeepAsTextWhatLiesBeyondThem) {
  using namespace limits;
  const struct {
    const char* name;
    std::string within;
    std::string beyond;
    const char* logged;
  } rows[] = {
      {"fields", repeated("a:\r\n", kMaxFields - 1) + "X-Last: 1\r\n\r\nbody",
       repeated("a:\r\n", kMaxFields) + "X-Last: 1\r\n\r\nbody", "Too many header fields"},
      {"fields of all parts",
       kMixed + "--b\r\n" + repeated("a:\r\n", kMaxFields - 2) +
           "\r\nx\r\n--b\r\nX-Last: 1\r\n\r\n--b--",
       kMixed + "--b\r\n" + repeated("a:\r\n", kMaxFields - 1) +
           "\r\nx\r\n--b\r\nX-Last: 1\r\n\r\n--b--",
       "Too many header fields"},
      {"parameters of a type",
       "Content-Type: a/b;" + repeated("a=;", kMaxParameters - 1) + "X-Last=1",
       "Content-Type: a/b;" + repeated("a=;", kMaxParameters) + "X-Last=1", "Too many parameters"},
      {"parameters of a disposition",
       "Content-Disposition: inline;" + repeated("a=;", kMaxParameters - 1) + "X-Last=1",
       "Content-Disposition: inline;" + repeated("a=;", kMaxParameters) + "X-Last=1",
       "Too many parameters"},
      {"quoted strings",
       "Content-Type: a/b;" + repeated("\"\"", kMaxQuotedStrings - 1) + "\"X-Last\"",
       "Content-Type: a/b;" + repeated("\"\"", kMaxQuotedStrings) + "\"X-Last\"",
       "Too many parameters"},
      {"parts",
       kMixed + repeated("--b\r\n\r\nabc\r\n", kMaxParts - 1) + "--b\r\n\r\nX-Last\r\n--b--",
       kMixed + repeated("--b\r\n\r\nabc\r\n", kMaxParts) + "--b\r\n\r\nX-Last\r\n--b--",
       "Too many parts"},
  };
  for (const auto& row : rows) {
    TnoMime mime;
    ASSERT_TRUE(mime.LoadMime(row.within)) << row.name;
    EXPECT_FALSE(mime.beyondLimits()) << row.name;
    ASSERT_TRUE(mime.LoadMime(row.beyond)) << row.name;
    EXPECT_TRUE(mime.beyondLimits()) << row.name;
    EXPECT_NE(mime.LastErrorText().find(row.logged), std::string::npos) << row.name;
    // Nothing is lost on the way to the next reading, nor on the one after that.
    const std::string once = mime.GetMime().value_or("");
    EXPECT_NE(once.find("X-Last"), std::string::npos) << row.name;
    ASSERT_TRUE(mime.LoadMime(once)) << row.name;
    EXPECT_TRUE(mime.beyondLimits()) << row.name;
    EXPECT_TRUE(mime.GetMime() == once) << row.name;
    TnoEmail email;
    ASSERT_TRUE(email.SetFromMimeText(once)) << row.name;
    EXPECT_NE(email.GetMime().value_or("").find("X-Last"), std::string::npos) << row.name;
  }
}

TEST(Limits, PartsBeyondAreTheLastPartsText) {
  _tnLogger log;
  MimeMessage2 mime;
  const std::string beyond = "X: y\r\n\r\nlast\r\n--b\r\n\r\nmore";
  ASSERT_TRUE(mime.loadMimeComplete(
      kMixed + repeated("--b\r\n\r\nabc\r\n", limits::kMaxParts) + "--b\r\n" + beyond + "\r\n--b--",
      log, false));
  ASSERT_EQ(mime.getNumParts(), limits::kMaxParts + 1);
  const MimeMessage2& last = *mime.getPart(limits::kMaxParts);
  EXPECT_EQ(last.getContentType().contentType().view(), "text/plain");
  EXPECT_EQ(last.getMimeBodyDb().view(), beyond);
}

TEST(Limits, AddressesBeyondAreTheLastEntry) {
  _tnLogger log;
  ExtPtrArray<_tnEmailAddress> list;
  const std::string text = repeated("a@b,", limits::kMaxAddresses);
  EXPECT_TRUE(_tnEmailAddress::parseAndLoadList(text, list, 0, log));
  EXPECT_EQ(list.getSize(), limits::kMaxAddresses);
  list.removeAllObjects();
  EXPECT_TRUE(_tnEmailAddress::parseAndLoadList(text + " c@d, e@f", list, 0, log));
  ASSERT_EQ(list.getSize(), limits::kMaxAddresses + 1);
  EXPECT_EQ(list.lastElement()->address().utf8View(), "c@d, e@f");
  EXPECT_NE(logText(log).find("Too many addresses"), std::string::npos);
}

TEST(Limits, LogCountsWhatItLeavesOut) {
  _tnLogger log;
  const LogContextExitor outer(log, "outer");
  {
    const LogContextExitor inner(log, "inner");
    for (std::size_t i = 0; i < limits::kMaxLogEntries; ++i) {
      const LogContextExitor each(log, "each");
      log.LogError("x");
    }
    log.LogError(std::string(limits::kMaxLogText + 1, 'y'));
  }
  const std::string text = logText(log);
  EXPECT_LT(text.size(), limits::kMaxLogEntries * 20);
  EXPECT_NE(text.find("\n    --inner\n"), std::string::npos);
  EXPECT_NE(text.find("more entries are left out.\n    yyy"), std::string::npos);

  _tnLogger fresh;
  fresh.LogError(std::string(limits::kMaxLogText + 1, 'y'));
  EXPECT_NE(logText(fresh).find("yy... (4001 bytes)"), std::string::npos);
}

// The bytes of each would otherwise be kept once more at every level.
TEST(Limits, SignedBytesAreKeptOnceForAllLevels) {
  std::string text;
  for (const char* b : {"x", "y", "z"}) {
    text +=
        "Content-Type: multipart/signed; boundary=" + std::string(b) + "\r\n\r\n--" + b + "\r\n";
  }
  LogNull log;
  MimeMessage2 mime;
  ASSERT_TRUE(mime.loadMimeComplete(text + "\r\ndeep inside", log, false));
  EXPECT_FALSE(mime.getSignedData().isEmpty());
  EXPECT_TRUE(mime.getPart(0)->getSignedData().isEmpty());
}

}  // namespace
}  // namespace keldane::mime
