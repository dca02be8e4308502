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
  const std::pair<const char*, bool> rows[] = {
      {"On Mar 3, 2020, at 10:11 AM, X wrote:", true},
      {"On 3 Mar 2020, at 10:11, X wrote:", true},
      {"On 3 Mar 2020 10:11, X wrote:", true},
      {"On 3.3.2020, at 10.11, X wrote:", true},
      {"On 3.3.2020, at 10:11, X wrote:", true},
      {"On 2020-03-03, at 10:11 AM, X wrote:", true},
      {"On 3/3/2020 10:11 AM, X wrote:", true},
      {"On 3/3/2020, X wrote:", true},
      {"On Mar 3 2020, at 10:11, X wrote:", true},
      {"On Tue, Mar 3, 2020 at 10:11 AM, X wrote:", true},
      {"On Tue, Mar 3, 2020, at 10:11AM, X wrote:", true},
      {"On 3-Mar-2020, at 10:11 AM, X wrote:", true},
      {"On Tue, 3 Mar 2020 10:11:12 +0100 X wrote:", true},
      {"On Tue,\n 3 Mar 2020\n10:11:12 X wrote:", true},
      {"Message received 3-3-2020 10:11:12:", true},
      {"Message received 3-3-2020 10:11", true},
      {"In a message dated 3/3/2020 10:11:12 PM, X writes:", true},
      {"In a message dated yesterday, X writes:", false},
      {"On the other hand, we may go.", false},
      {"On 3/3/", false},
      {"on 3/3/2020, X wrote:", false},
  };
  for (const auto& [line, known] : rows) {
    const std::string text = std::string("A\nOn and on.\n") + line + "\n> B";
    EXPECT_EQ(findQuotedReply(text), known ? 12 : std::string::npos) << line;
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
