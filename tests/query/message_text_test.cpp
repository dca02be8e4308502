#include "query/message_text.h"

#include <string>

#include <gtest/gtest.h>

#include "query/quoted_reply.h"
#include "tests/support/scripted_session.h"

namespace keldane {
namespace {

std::string textOf(ScriptedSession::Row row, bool stripQuoted = false) {
  ScriptedSession session;
  session.answerOn("query *", {std::move(row)});
  EXPECT_TRUE(session.query(messageRowSql(4294967295U)));
  EXPECT_EQ(session.statements().back(),
            "SELECT id,date_fld,from_fld,to_fld,subj_fld,mailbox,body_fld,numAttach FROM email "
            "WHERE id=4294967295");
  const auto rows = session.storeResult();
  EXPECT_TRUE(rows->next());
  return formatMessageText(*rows, "01/02/2024 10:00:00", stripQuoted);
}

TEST(MessageText, ShowsTheDateOfTheListAndLeavesOutWhatIsNotUtf8AndReadsSendersAsLatin1) {
  EXPECT_EQ(textOf({"7", "2024-01-02 10:00:00", "a@b", "c@d", "Hi", "INBOX", "Body\n", "0"}),
            "ID: 7\nDATE: 01/02/2024 10:00:00\nFROM: a@b\nTO: c@d\nSUBJECT: Hi\n"
            "MAILBOX: INBOX\n\nBody\n");
  EXPECT_EQ(textOf({"7", "", "J\xF6rg", "\xF6", "\xF6", std::nullopt, "\xFF", "0"}),
            "ID: 7\nDATE: 01/02/2024 10:00:00\nFROM: Jörg\nTO: \nSUBJECT: \nMAILBOX: \n\n");
}

TEST(MessageText, EndsBeforeTheMessageRepliedToWhenAsked) {
  const ScriptedSession::Row row = {
      "7", "", "a", "b", "Hi", "INBOX", "Yes.\nOn 3/4/2020, you wrote:\n> Eh?", "0"};
  EXPECT_TRUE(textOf(row, true).ends_with("\n\nYes."));
  EXPECT_TRUE(textOf(row, false).ends_with("> Eh?"));
}

TEST(QuotedReply, BeginsAtEachKnownIntroduction) {
  struct Case {
    const char* name;
    const char* line;
    bool known;
  };
  constexpr Case kCases[] = {
      {"month name and comma", "On Mar 3, 2020, at 10:11 AM, X wrote:", true},
      {"day first with comma", "On 3 Mar 2020, at 10:11, X wrote:", true},
      {"day first without comma", "On 3 Mar 2020 10:11, X wrote:", true},
      {"dots in date and time", "On 3.3.2020, at 10.11, X wrote:", true},
      {"dots in the date", "On 3.3.2020, at 10:11, X wrote:", true},
      {"year first", "On 2020-03-03, at 10:11 AM, X wrote:", true},
      {"slashes with a time", "On 3/3/2020 10:11 AM, X wrote:", true},
      {"slashes alone", "On 3/3/2020, X wrote:", true},
      {"month first without comma", "On Mar 3 2020, at 10:11, X wrote:", true},
      {"weekday, at", "On Tue, Mar 3, 2020 at 10:11 AM, X wrote:", true},
      {"weekday, comma at", "On Tue, Mar 3, 2020, at 10:11AM, X wrote:", true},
      {"month name between dashes", "On 3-Mar-2020, at 10:11 AM, X wrote:", true},
      {"weekday and seconds", "On Tue, 3 Mar 2020 10:11:12 +0100 X wrote:", true},
      {"line break within", "On Tue,\n 3 Mar 2020\n10:11:12 X wrote:", true},
      {"received", "Message received 3-3-2020 10:11:12:", true},
      {"received without seconds", "Message received 3-3-2020 10:11", true},
      {"dated", "In a message dated 3/3/2020 10:11:12 PM, X writes:", true},
      {"dated in words", "In a message dated yesterday, X writes:", false},
      {"a sentence", "On the other hand, we may go.", false},
      {"date cut short", "On 3/3/", false},
      {"lower case", "on 3/3/2020, X wrote:", false},
  };
  for (const Case& each : kCases) {
    SCOPED_TRACE(each.name);
    const std::string text = std::string("A\nOn and on.\n") + each.line + "\n> B";
    EXPECT_EQ(findQuotedReply(text), each.known ? 12 : std::string::npos);
  }
}

TEST(QuotedReply, IsDecidedByTheFirstKindOfIntroductionAlone) {
  EXPECT_EQ(findQuotedReply("\nMessage received late\nOn 3/3/2020, X wrote:"), std::string::npos);
  EXPECT_EQ(findQuotedReply("\nOn Monday.\nOn 3/3/2020, X"), 11U);
  EXPECT_EQ(findQuotedReply("On 3/3/2020, X wrote:"), std::string::npos);
}

TEST(SizeText, TurnsToMegabytesAbove1023Kilobytes) {
  for (const auto& [bytes, shown] : {std::pair("", ""),
                                     {"0", ""},
                                     {"1", "size: 0.0 KB"},
                                     {"1536", "size: 1.5 KB"},
                                     {"1047552", "size: 1023.0 KB"},
                                     {"1048576", "size: 1.0 MB"}}) {
    EXPECT_EQ(formatSizeText(bytes), shown) << bytes;
  }
}

}  // namespace
}  // namespace keldane
