#include "output/reply.h"

#include "tests/output/output_rig.h"
#include "tests/support/recording_tool_runner.h"

namespace keldane {
namespace {

class Reply : public OutputRig {};

TEST_F(Reply, AnswersByTheMessagesFields) {
  struct Row {
    const char* name;
    std::string subject;
    std::string mailto;
    MailDraft draft;
  };
  const std::string quoted = "\n\n\nMessage received 2024-01-05 10:20:30:\n\n> one\n> \"two\"\n> ";
  const Row rows[] = {
      {"plain", "Hello", "ann@x", {"ann@x", "Re: Hello", "b@example.org", quoted}},
      {"an answer already", "RE: Hello", "ann@x", {"ann@x", "RE: Hello", "b@example.org", quoted}},
      {"three characters", "Re:", "ann@x", {"ann@x", "Re: Re:", "b@example.org", quoted}},
      {"no address", "s", "", {"Ann <ann@example.com>", "Re: s", "b@example.org", quoted}},
      {"a header text",
       "by x for me@y.org; Mon",
       "ann@x",
       {"ann@x", "Re: by x for me@y.org; Mon", "me@y.org", quoted}},
  };
  int id = 0;
  for (const Row& row : rows) {
    addMessage(++id, "2024-01-05 10:20:30", "Ann <ann@example.com>", row.subject,
               "o\\ne\n\"two\"\n", row.mailto);
    const auto draft = draftReply(*session, static_cast<std::uint32_t>(id));
    ASSERT_TRUE(draft) << draft.error();
    EXPECT_EQ(draft->receiver, row.draft.receiver) << row.name;
    EXPECT_EQ(draft->subject, row.draft.subject) << row.name;
    EXPECT_EQ(draft->sender, row.draft.sender) << row.name;
    EXPECT_EQ(draft->body, row.draft.body) << row.name;
  }
  const MailDraft forward = draftForward(2, *subjectOf(*session, 2),
                                         "ID: 2\nDATE: d\n\nb\\ody ID: 2\nATTACHMENTS:\na.pdf");
  EXPECT_EQ(forward.subject, "Fwd: RE: Hello");
  EXPECT_EQ(forward.body, "\n\n\nBegin forwarded message:\n\nDATE: d\n\nbody ID: 2\n");
  run("DROP TABLE email");
  EXPECT_NE(draftReply(*session, 7).error().find(", SELECT date_fld FROM email WHERE id=7"),
            std::string::npos);
}

TEST(ReplyScript, KeepsEveryValueWithinItsQuotes) {
  const MailDraft draft{"a\"b@x", "s\\\" & do shell script \"x", "me@y", "body\n> \"q\""};
  const std::string indent(29, ' ');
  EXPECT_EQ(
      replyScript(draft),
      indent + "tell application \"Mail\"\n" + indent +
          "set newMessage to make new outgoing message with properties {subject:\"s\\\\\\\" & do "
          "shell script \\\"x\", content:\"body\n> \\\"q\\\"\" & return} \n" +
          indent + "tell newMessage\n" + indent + "set visible to true\n" + indent +
          "set sender to \"me@y\"\n" + indent +
          "make new to recipient at end of to recipients with properties {name:\"\", "
          "address:\"a\\\"b@x\"}\n" +
          indent + "                   end tell\n                   end tell");
  EXPECT_EQ(forwardScript({"", "Fwd: s", "", "b"}),
            "tell application \"Mail\"\nset newMsg to make new outgoing message\n\nset visible of "
            "newMsg to true\n\nset content of newMsg to \"b\"\nset subject of newMsg to \"Fwd: "
            "s\"\nend tell\n");
}

TEST(ReplyTool, GivesTheDraftAsArguments) {
  const MailDraft draft{"Ann <--attach@x>", "--subject", "", "b & c\n"};
  EXPECT_EQ(mailtoLink(draft), "mailto:--attach@x?subject=--subject&body=b%20%26%20c%0A");
  RecordingToolRunner tools;
  ASSERT_TRUE(composeByTool(tools, draft, "/tmp/1.eml"));
  EXPECT_EQ(tools.lines().front(),
            "xdg-email --utf8 --subject --subject --body b & c\n --attach /tmp/1.eml "
            "mailto:--attach@x");
  tools.missing.insert("xdg-email");
  EXPECT_FALSE(composeByTool(tools, draft));
}

}  // namespace
}  // namespace keldane
