#include "query/message_parts.h"

#include <string>

#include <gmock/gmock.h>

#include "tests/support/scripted_session.h"

namespace keldane {
namespace {

constexpr const char* kSource =
    "From: a@example.org\nMIME-Version: 1.0\nContent-Type: multipart/mixed; boundary=m\n\n"
    "--m\nContent-Type: multipart/alternative; boundary=a\n\n"
    "--a\nContent-Type: text/plain; charset=iso-8859-1\nContent-Transfer-Encoding: "
    "quoted-printable\n\nGr=FC=DFe\n\nan alle\n"
    "--a\nContent-Type: text/enriched\n\n<bold>Hi</bold>\n"
    "--a\nContent-Type: text/html\n\n<p>Hi</p>\n--a--\n"
    "--m\nContent-Type: application/pdf\nContent-Disposition: attachment; filename=a.pdf\n"
    "Content-Transfer-Encoding: base64\n\nAAECAw==\n"
    "--m\nContent-Type: message/rfc822\n\n"
    "Subject: inner\nContent-Type: multipart/mixed; boundary=i\n\n"
    "--i\nContent-Type: text/plain\n\ninner text\n"
    "--i\nContent-Type: application/pdf\nContent-Disposition: attachment; filename=b.pdf\n"
    "Content-Transfer-Encoding: base64\n\nAAECAw==\n--i--\n"
    "--m--\n";
// Of the bytes 0 to 3.
constexpr const char* kSha256 = "054edec1d0211f624fed0cbca9d4f9400b0e491c43742af2c5b0abebf0c990d8";

MessageParts partsOf(std::optional<std::size_t> wanted) {
  ScriptedSession session;
  session.answerOn("query SELECT orig_fld *", {{kSource}});
  session.answerOn("query SELECT filename_fld,*",
                   {{"htmlversion.html", "of the page"}, {"a.pdf", kSha256}});
  Result<MessageParts> parts = readParts(session, {}, 7, wanted);
  EXPECT_TRUE(parts);
  return parts ? std::move(*parts) : MessageParts{};
}

TEST(MessageParts, TellWhatTheArchiveMadeOfEach) {
  std::string lines;
  for (const MessagePartInfo& part : partsOf({}).parts) {
    lines += std::to_string(part.depth) + " " + part.type + " " + part.charset + " " + part.name +
             " " + std::to_string(static_cast<int>(part.use)) + "/" +
             std::to_string(part.attachmentNumber) + "\n";
  }
  // The row that holds b.pdf's bytes too is not its own.
  EXPECT_EQ(lines,
            "0 multipart/mixed   0/0\n1 multipart/alternative   0/0\n"
            "2 text/plain iso-8859-1  1/0\n2 text/enriched   6/0\n"
            "2 text/html   2/1\n1 application/pdf  a.pdf 3/2\n"
            "1 message/rfc822   0/0\n2 multipart/mixed   0/0\n3 text/plain   4/0\n"
            "3 application/pdf  b.pdf 4/0\n");
}

TEST(MessageParts, AnyOneIsTakenOutDecoded) {
  EXPECT_EQ(partsOf(9).bytes, std::string("\0\1\2\3", 4)) << "inside an attached message";
  EXPECT_THAT(partsOf(6).bytes.value_or(""), ::testing::StartsWith("Subject: inner\r\n"));
  EXPECT_EQ(partsOf(1).bytes, std::nullopt) << "of several parts";
}

}  // namespace
}  // namespace keldane
