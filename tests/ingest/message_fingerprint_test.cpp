#include "ingest/storing/message_fingerprint.h"

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace keldane {
namespace {

struct Message {
  std::string from = "Ann Ü <ann@example.org>";
  std::string to = "bob@example.org,\ncarol@example.org";
  std::string subject = "What \"now\"? Größe ↯";
  std::string mailto;
  std::string mailbox = R"(V10/1/IN\\BOX ""a"")";
  std::string body = "First line\nSecond line ↯ ?\n\nLast";
  int numAttach = 1;

  [[nodiscard]] EmailValues values() const {
    return {from, to, subject, mailto, mailbox, body, numAttach};
  }
};

using Change = std::function<void(Message&)>;

std::string repeated(const std::string& piece, std::size_t times) {
  std::string text;
  for (std::size_t i = 0; i < times; ++i) text += piece;
  return text;
}

void replaceIn(std::string& text, const std::string& from, const std::string& to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at)) {
    text.replace(at, from.size(), to);
    at += to.size();
  }
}

TEST(MessageFingerprint, FindsARowWhateverTheServerLost) {
  struct Case {
    const char* name;
    Change sent;
    Change stored;
    MatchLevel matchLevel;
  };
  const Change nothing = [](Message&) {};
  const std::vector<Case> cases = {
      {"nothing lost", nothing, nothing, MatchLevel::equal},
      {"line ends lost", nothing,
       [](Message& m) {
         replaceIn(m.to, "\n", "");
         replaceIn(m.body, "\n", "");
       },
       MatchLevel::equal},
      {"mailbox stored as it reads", nothing, [](Message& m) { m.mailbox = R"(V10/1/IN\BOX "a")"; },
       MatchLevel::equal},
      {"body ends at a NUL", [](Message& m) { m.body += std::string("\0more", 5); },
       [](Message& m) { m.body.resize(m.body.find('\0')); }, MatchLevel::equal},
      {"columns cut after so many bytes",
       [](Message& m) {
         m.from = repeated("Ä<", 300);
         m.mailto = repeated("x", 300);
         m.mailbox = repeated("box ", 100);
       },
       [](Message& m) {
         m.from = repeated("Ä<", 300).substr(0, 255);
         m.mailto = repeated("x", 127);
         m.mailbox = repeated("box ", 100).substr(0, 255);
       },
       MatchLevel::equal},
      {"columns cut after so many characters", [](Message& m) { m.from = repeated("Ä<", 300); },
       [](Message& m) { m.from = repeated("Ä<", 127); }, MatchLevel::equal},
      {"only the beginning of a long body read",
       [](Message& m) { m.body = repeated("Ä line ", 10000); },
       [](Message& m) { m.body = repeated("Ä line ", 1024 / 7); }, MatchLevel::equal},
      {"characters of four bytes lost", [](Message& m) { m.body += "😀!"; },
       [](Message& m) { replaceIn(m.body, "😀", "?"); }, MatchLevel::equal},
      {"everything outside ASCII lost", nothing,
       [](Message& m) {
         for (std::string* text : {&m.from, &m.subject, &m.body}) {
           replaceIn(*text, "Ü", "?");
           replaceIn(*text, "ö", "?");
           replaceIn(*text, "ß", "?");
           replaceIn(*text, "↯", "?");
         }
       },
       MatchLevel::ascii},
      {"another subject", nothing, [](Message& m) { m.subject = "What now"; },
       MatchLevel::different},
      {"a body that goes on", nothing, [](Message& m) { m.body += "x"; }, MatchLevel::different},
      {"a body that ends early", nothing, [](Message& m) { m.body.resize(12); },
       MatchLevel::different},
      {"text moved to the next field", nothing,
       [](Message& m) {
         m.to += m.subject;
         m.subject.clear();
       },
       MatchLevel::different},
      {"another count of attachments", nothing, [](Message& m) { m.numAttach = 0; },
       MatchLevel::different},
  };
  for (const Case& row : cases) {
    Message sent;
    row.sent(sent);
    Message stored;
    row.sent(stored);
    row.stored(stored);
    const std::string print = fingerprintOf(sent.values());
    EXPECT_EQ(compareFingerprint(print, stored.values()), row.matchLevel) << row.name;
    EXPECT_EQ(print.find('\t'), std::string::npos) << row.name;
  }
}

TEST(MessageFingerprint, ThatCannotBeReadIsLikeNothing) {
  const Message message;
  const std::string print = fingerprintOf(message.values());
  for (std::size_t cut = 0; cut <= print.find('/'); ++cut) {
    EXPECT_EQ(compareFingerprint(print.substr(0, cut), message.values()), MatchLevel::different)
        << print.substr(0, cut);
  }
  EXPECT_EQ(compareFingerprint("x.1.2.3.4.5.6/x.1.2.3.4.5.6", message.values()),
            MatchLevel::different);
}

}  // namespace
}  // namespace keldane
