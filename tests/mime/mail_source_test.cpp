#include "mime/mail_source.h"

#include <gmock/gmock.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "base/text.h"
#include "mime/tree/mime_message.h"
#include "tests/mime/mail_builder.h"

namespace keldane::mime {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;

/// What the program makes of a file: read as text, then given to the engine.
Result<void> loadFile(MailSource& source, const std::string& fileBytes, PartVisitor visit = {},
                      bool declaredCharsets = true) {
  const bool isUtf8 = isValidUtf8(fileBytes);
  const std::string text = isUtf8 ? fileBytes : latin1ToUtf8(fileBytes);
  return source.load(text, {isUtf8 ? SourceEncoding::utf8 : SourceEncoding::latin1,
                            declaredCharsets, std::move(visit)});
}

/// A plain mail with raw letters.
std::string plainMail(const std::string& charset, const std::string& body,
                      const std::string& subject = "s", const std::string& encoding = "") {
  std::string out = "From: a@b\nSubject: " + subject + "\n";
  if (!charset.empty()) out += "Content-Type: text/plain; charset=" + charset + "\n";
  if (!encoding.empty()) out += "Content-Transfer-Encoding: " + encoding + "\n";
  return out + "\n" + body;
}

std::string htmlMail(const std::string& meta, const std::string& body) {
  return "From: a@b\nSubject: s\nContent-Type: text/html\n\n<html><head><meta charset=" + meta +
         "></head>" + body + "</html>";
}

struct Row {
  const char* name;
  std::string fileBytes;
  std::string subject;
  /// Of the plain text, or of the HTML one when there is no plain one.
  std::string text;
};

const std::string kMoscow = "Москва";
const std::string kMoscowKoi = "\xED\xCF\xD3\xCB\xD7\xC1";
const std::string kMoscow1251 = "\xCC\xEE\xF1\xEA\xE2\xE0";
// Behind any stretch that a check of the beginning would look at.
const std::string kLongAscii(150000, 'x');

TEST(RawText, ComesOutInItsCharset) {
  const Row rows[] = {
      {"Utf8", plainMail("utf-8", kMoscow, kMoscow, "8bit"), kMoscow, kMoscow},
      {"Utf8FarBehind", plainMail("iso-8859-1", kLongAscii + kMoscow, "s", "8bit"), "s",
       kLongAscii + kMoscow},
      {"Utf8UndeclaredGreek", plainMail("", "Αθήνα", "Αθήνα"), "Αθήνα", "Αθήνα"},
      {"Utf8UndeclaredCjk", plainMail("", "東京"), "s", "東京"},
      {"Utf8UndeclaredQuotedPrintable", plainMail("", "=D0=9C=D0=BE", "s", "quoted-printable"), "s",
       "Мо"},
      {"Utf8UndeclaredBesideUtf8Header", plainMail("", "caf=E9", kMoscow, "quoted-printable"),
       kMoscow, "café"},
      {"Utf8UnderAnotherLabel", plainMail("koi8-r", kMoscow), "s", kMoscow},
      {"Utf8UnderUsAscii", plainMail("us-ascii", kMoscow), "s", kMoscow},
      {"Utf8WithWrongBytes", plainMail("utf-8", "=D0=9C=E9=D0=BE", "s", "quoted-printable"), "s",
       "Мéо"},
      {"Koi8r", plainMail("koi8-r", kMoscowKoi, kMoscowKoi), kMoscow, kMoscow},
      {"Koi8rWithEncodedWords",
       "To: =?utf-8?B?w6k=?= <x@y>\n" + plainMail("koi8-r", kMoscowKoi, kMoscowKoi), kMoscow,
       kMoscow},
      {"Big5", plainMail("big5", "\xA5\x78\xA5\x5F", "\xA5\x78\xA5\x5F"), "台北", "台北"},
      {"Iso2022Jp", plainMail("iso-2022-jp", "\x1B$BEl5~\x1B(B", "s", "7bit"), "s", "東京"},
      {"Iso2022JpBesideUtf8", plainMail("iso-2022-jp", "\x1B$BEl5~\x1B(B", kMoscow, "7bit"),
       kMoscow, "東京"},
      {"Iso2022JpBesideLatin1",
       "X-Name: Jos\xE9\n" + plainMail("iso-2022-jp", "\x1B$BEl5~\x1B(B", "s", "7bit"), "s",
       "東京"},
      {"Iso885915", plainMail("iso-8859-15", "10 \xA4", "10 \xA4"), "10 €", "10 €"},
      {"UsAsciiWithLatin1", plainMail("us-ascii", "caf\xE9", "caf\xE9"), "café", "café"},
      {"Undeclared", plainMail("", "caf\xE9 \x93", "caf\xE9"), "café", "café \xC2\x93"},
      {"DeclaredUtf8WithOneWrongByte", plainMail("utf-8", kMoscow + "\xE9", kMoscow), kMoscow,
       kMoscow + "é"},
      {"UndeclaredUtf8WithOneWrongByte", plainMail("", kMoscow + "\xE9"), "s", kMoscow + "é"},
      {"BytesThatTheCharsetLacks", plainMail("windows-1252", "a\x81z\x80"), "s", "a\xC2\x81z€"},
      {"BytesThatTheDoubleCharsetLacks", plainMail("big5", "\xA5\x78\xFF\nend", "\xA5\x78"), "台",
       "台ÿ\r\nend"},
      {"CharsetThatNobodyKnows", plainMail("bogus", "caf\xE9", "caf\xE9"), "café", "café"},
      {"HtmlMetaUtf8", htmlMail("koi8-r", kMoscow), "s",
       "<html><head><meta charset=koi8-r></head>" + kMoscow + "</html>"},
      {"HtmlMetaKoi8r", htmlMail("koi8-r", kMoscowKoi), "s",
       "<html><head><meta charset=koi8-r></head>" + kMoscow + "</html>"},
      // The first part that names a charset speaks for the header as well.
      {"HeaderByFirstPart",
       "Subject: " + kMoscowKoi +
           "\nContent-Type: multipart/mixed; boundary=b\n\nbig5 gb2312\n--b\nContent-Type: "
           "text/plain; charset=koi8-r\n\n" +
           kMoscowKoi + "\n--b\nContent-Type: text/plain; charset=windows-1251\n\n" + kMoscow1251 +
           "\n--b\nContent-Type: text/plain; charset=utf-8\n\n" + kMoscow + "\n--b--\n",
       kMoscow, kMoscow + "\r\n" + kMoscow + "\r\n" + kMoscow},
      {"PartsOfDifferentCharsets",
       "Subject: s\nContent-Type: multipart/mixed; boundary=b\n\n--b\nContent-Type: "
       "text/plain; charset=koi8-r\nContent-Transfer-Encoding: 8bit\n\n" +
           kMoscow + "\n--b\nContent-Type: text/plain; charset=big5\n\n東京\n--b--\n",
       "s", kMoscow + "\r\n東京"},
      {"SignedPart",
       "Subject: s\nContent-Type: multipart/signed; boundary=b\n\n--b\nContent-Type: "
       "text/plain; charset=koi8-r\n\n" +
           kMoscowKoi + "\n--b\nContent-Type: application/pkcs7-signature\n\nxxxxx\n--b--\n",
       "s", kMoscow},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    MailSource source;
    const Result<void> loaded = loadFile(source, row.fileBytes);
    ASSERT_TRUE(loaded) << loaded.error();
    EXPECT_EQ(source.email().Subject(), row.subject);
    EXPECT_EQ(source.email().HasPlainTextBody() ? source.email().GetPlainTextBody()
                                                : source.email().GetHtmlBody(),
              row.text);
  }
}

TEST(MailSource, ReadsLatin1AlikeWhenDeclaredCharsetsAreOff) {
  MailSource source;
  ASSERT_TRUE(loadFile(source, plainMail("koi8-r", kMoscowKoi, kMoscowKoi), {}, false));
  EXPECT_EQ(source.email().GetPlainTextBody(), latin1ToUtf8(kMoscowKoi));
  EXPECT_EQ(source.email().Subject(), latin1ToUtf8(kMoscowKoi));
}

TEST(MailSource, AHugeTextComesThroughItsCharset) {
  // Each piece that it is converted in would begin like a document, which is left as it is.
  std::string coded = "=E9=E9=E9=E9=\n";
  std::string text = "éééé";
  for (int i = 0; i < 300000; ++i) {
    coded += "%PDF-1=E9=\n";
    text += "%PDF-1é";
  }
  MailSource source;
  ASSERT_TRUE(loadFile(source, plainMail("iso-8859-1", coded, "s", "quoted-printable")));
  EXPECT_TRUE(source.email().GetPlainTextBody() == text);
}

TEST(MailSource, KeepsTheBytesOfAttachments) {
  MailSource source;
  const std::string bytes = "\x89PNG\xFF\xC3\xA9" + kMoscowKoi;
  for (const char* type : {"image/png", "text/plain; charset=koi8-r", "application/json"}) {
    ASSERT_TRUE(loadFile(
        source, mail(multi("mixed", {kPlain, part(type, bytes,
                                                  "Content-Disposition: attachment; filename=f\n"
                                                  "Content-Transfer-Encoding: 8bit\n")}))));
    EXPECT_EQ(source.email().GetAttachmentData(0), bytes) << type;
  }
}

TEST(MailSource, KeepsDateAndReceivedOfTheSource) {
  MailSource source;
  ASSERT_TRUE(loadFile(source, "received: from a; x\nDate: =?utf-8?Q?d=C3=A9?=\n\nbody"));
  EXPECT_EQ(source.dateField(), "dé");
  EXPECT_EQ(source.receivedField(), "from a; x");
  ASSERT_TRUE(loadFile(source, "Subject: x\n\nbody"));
  EXPECT_EQ(source.dateField(), std::nullopt);
  EXPECT_EQ(source.receivedField(), std::nullopt);
}

TEST(MailSource, FailsWithTheReason) {
  MailSource source;
  ASSERT_TRUE(loadFile(source, plainMail("", "body")));
  const Result<void> loaded = loadFile(source, std::string(MimeMessage2::kHeaderTooLarge, 'x'));
  ASSERT_FALSE(loaded);
  EXPECT_EQ(loaded.error(), "Header larger than 20MB?  This cannot be MIME...");
  EXPECT_EQ(source.email().Subject(), std::nullopt);
  EXPECT_FALSE(
      loadFile(source, plainMail("", "body"), [](const PartView&) { throw std::bad_alloc(); }));
  EXPECT_EQ(source.email().Subject(), std::nullopt);
  EXPECT_THROW(static_cast<void>(loadFile(source, plainMail("", "body"),
                                          [](const PartView&) { throw std::runtime_error("x"); })),
               std::runtime_error);
  ASSERT_TRUE(loadFile(source, plainMail("", "body")));
  EXPECT_EQ(source.email().Subject(), "s");
}

std::vector<std::string> leavesOf(const std::string& fileBytes) {
  MailSource source;
  std::vector<std::string> leaves;
  const Result<void> loaded = loadFile(source, fileBytes, [&leaves](const PartView& part) {
    leaves.push_back(std::string(part.contentType) + "|" + std::string(part.name) + "|" +
                     std::string(part.charset) + "|" + std::string(part.body) + "|" +
                     std::string(part.text));
  });
  EXPECT_TRUE(loaded);
  return leaves;
}

TEST(MailSource, ShowsEachLeafDecoded) {
  const std::string inner =
      part("message/rfc822", plainMail("koi8-r", kMoscowKoi, kMoscowKoi) + "\n");
  const std::string signedPart = multi("signed", {part("text/plain; charset=koi8-r", kMoscowKoi),
                                                  part("application/x-sig", "sig..")});
  const std::string attachment = part("text/plain; charset=koi8-r", kMoscowKoi,
                                      "Content-Disposition: attachment; filename=t.txt\n");
  EXPECT_THAT(
      leavesOf(mail(multi("mixed", {entity("", "typeless"), inner, signedPart, attachment,
                                    part("image/png; name=i.png", "\xFF\xFE\x01..")}))),
      ElementsAre("|||typeless|typeless",
                  "text/plain||koi8-r|" + kMoscow + "\r\n|" + kMoscow + "\r\n",
                  "text/plain||koi8-r|" + kMoscow + "|" + kMoscow, "application/x-sig|||sig..|",
                  "text/plain|t.txt|koi8-r|" + kMoscowKoi + "|" + kMoscow,
                  "image/png|i.png||\xFF\xFE\x01..|"));
}

TEST(MailSource, ShowsUuencodedFilesAndTheTextAroundThem) {
  EXPECT_THAT(
      leavesOf(
          plainMail("",
                    "before\nbegin 644 a.txt\n#0V%T\n`\nend\nbetween\nbegin 755 b\n#0V%T\nend\n"
                    "begin 644 is how such a file begins\nand this is prose\nend\n")),
      ElementsAre(
          "|||before\r\nbetween\r\nbegin 644 is how such a file begins\r\nand this is prose"
          "\r\nend\r\n|before\r\nbetween\r\nbegin 644 is how such a file begins\r\nand this "
          "is prose\r\nend\r\n",
          "text/plain|a.txt||Cat|", "|b||Cat|"));
}

TEST(MailSource, ShowsMessagesInsideMessagesToADepth) {
  std::string text = "Subject: s\n\ninnermost";
  for (int i = 0; i < kMaxMessageNesting; ++i) text = "Content-Type: message/rfc822\n\n" + text;
  EXPECT_THAT(leavesOf(text), ElementsAre("|||innermost|innermost"));
  EXPECT_THAT(leavesOf("Content-Type: message/rfc822\n\n" + text),
              ElementsAre(testing::StartsWith("message/rfc822|||Subject: s")));
}

TEST(MailSource, ReadsTheSameAgain) {
  MailSource source;
  const std::string large = plainMail("koi8-r", kMoscowKoi + std::string(2U << 20U, 'x'));
  for (int i = 0; i < 2; ++i) {
    int leaves = 0;
    ASSERT_TRUE(loadFile(source, large, [&leaves](const PartView&) { ++leaves; }));
    EXPECT_EQ(leaves, 1);
    EXPECT_EQ(source.email().GetPlainTextBody(), kMoscow + std::string(2U << 20U, 'x'));
  }
  source.clear();
  EXPECT_EQ(source.email().GetPlainTextBody(), std::nullopt);
}

}  // namespace
}  // namespace keldane::mime
