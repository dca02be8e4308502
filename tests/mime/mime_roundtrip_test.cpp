#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "mime/buffers/log_base.h"
#include "mime/tree/mime_emit.h"
#include "mime/tree/mime_message.h"
#include "tests/mime/mail_builder.h"

namespace keldane::mime {
namespace {

using namespace std::string_literals;

/// Everything of a tree that must survive being written and read again.
void describe(const MimeMessage2& entity, std::string& out) {
  LogNull log;
  const auto add = [&out](std::string_view text) { out.append(text).append("|"); };
  for (int i = 0; i < entity.getHeader().getNumFields(); ++i) {
    const MimeField* field = entity.getHeader().fieldAt(i);
    add(field->name().view());
    add(field->value().view());
  }
  add(entity.getCharset().nameView());
  add(entity.getDisposition().view());
  add(entity.getMimeFilename().view());
  add(entity.getContentId().view());
  add(entity.getMimeBodyDb().view());
  out += "[";
  for (int i = 0; i < entity.getNumParts(); ++i) describe(*entity.getPart(i), out);
  out += "]\n";
}

std::string describe(const MimeMessage2& entity) {
  std::string out;
  describe(entity, out);
  return out;
}

std::string written(const MimeMessage2& mime) {
  LogNull log;
  DataBuffer out;
  EXPECT_TRUE(getMimeTextDb(mime, out, false, log));
  return std::string(out.view());
}

void load(MimeMessage2& mime, std::string_view text, bool isUtf8 = false) {
  LogNull log;
  ASSERT_TRUE(mime.loadMimeComplete(text, log, isUtf8));
}

const std::string kMixed = "Content-Type: multipart/mixed; boundary=\"a b=c\"\r\n\r\n";
const std::string kNested =
    kMixed +
    "--a b=c\r\nContent-Type: multipart/alternative; boundary=in\r\n\r\n--in\r\n\r\n"
    "text\r\n--in\r\nContent-Type: text/html\r\n\r\n<p>\r\n--in--\r\n--a b=c\r\n"
    "Content-Type: message/rfc822\r\n\r\nSubject: inner\r\n\r\nbody\r\n--a b=c--";

std::vector<std::pair<const char*, std::string>> samples() {
  return {
      {"plain", "Subject: hello\r\nFrom: a@b\r\n\r\nline\r\n\r\nline\r\n"},
      {"header alone", "Subject: x\r\n"},
      {"LF", "Subject: hello\n\nline\nline\n"},
      {"folded header",
       "Subject: " + std::string(60, 'x') + "\r\n " + std::string(60, 'y') + "\r\n\tz\r\n\r\nbody"},
      {"8-bit subject", "Subject: café €\r\n\r\nbody"},
      {"Latin-1 text",
       "Content-Type: text/plain; charset=iso-8859-1\r\nContent-Transfer-Encoding: "
       "8bit\r\n\r\ncaf\xE9\r\n"},
      {"Latin-1 text, QP",
       "Content-Type: text/plain; charset=iso-8859-1\r\n"
       "Content-Transfer-Encoding: quoted-printable\r\n\r\ncaf=E9 =\r\n x=20\r\n.\r\n"},
      {"Windows text with the wrong label",
       "Content-Type: text/plain; charset=iso-8859-1\r\n"
       "Content-Transfer-Encoding: quoted-printable\r\n\r\n=93x=94 y"},
      {"Japanese, base64",
       "Content-Type: text/plain; charset=iso-2022-jp\r\n"
       "Content-Transfer-Encoding: base64\r\n\r\nGyRCRnxLXBsoQg==\r\n"},
      {"UTF-16, base64",
       "Content-Type: text/plain; charset=utf-16le\r\n"
       "Content-Transfer-Encoding: base64\r\n\r\naADpAA==\r\n"},
      {"UTF-16, QP, kept as it came",
       "Content-Type: text/plain; charset=utf-16le\r\n"
       "Content-Transfer-Encoding: quoted-printable\r\n\r\n"
       "h=00=E9=00\r\n"},
      {"JSON in Latin-1, kept as it came",
       "Content-Type: application/json; charset=iso-8859-1\r\n\r\n{\"\xE9\"}"},
      {"binary",
       "Content-Type: application/octet-stream\r\n"
       "Content-Transfer-Encoding: binary\r\n\r\n" +
           allBytes()},
      {"mixed", kMixed +
                    "pre\r\n--a b=c\r\n\r\nhello\r\n--a b=c\r\nContent-Type: image/png\r\n"
                    "Content-Disposition: attachment; filename=\"a \\\"b\\\".png\"\r\n"
                    "Content-ID: <x@y>\r\nContent-Transfer-Encoding: base64\r\n\r\n" +
                    std::string(200, 'Q') + "\r\n--a b=c--\r\nepilogue"},
      {"nested", kNested},
      {"blank lost from an unquoted boundary",
       "Content-Type: multipart/mixed; boundary=x=_alternative 0\r\n\r\n"
       "--x=_alternative 0\r\n\r\none\r\n--x=_alternative 0--\r\n"},
      {"boundary never found, with an encoding",
       "Content-Type: multipart/mixed; boundary=b\r\n"
       "Content-Transfer-Encoding: base64\r\n\r\nQUJDRA==\r\n"},
      {"multipart without boundary", "Content-Type: multipart/mixed\r\n\r\n--b\r\n\r\nx\r\n--b--"},
      {"signed",
       "Content-Type: multipart/signed; protocol=x/y; boundary=s\r\n\r\n--s\r\n"
       "Subject:odd   spacing\r\n\r\nsigned\r\n--s\r\n\r\nsignature\r\n--s--\r\n"},
  };
}

TEST(MimeRoundTrip, TextWrittenFromATreeGivesTheSameTree) {
  for (const auto& [name, sample] : samples()) {
    SCOPED_TRACE(name);
    MimeMessage2 first;
    load(first, sample);
    const std::string text = written(first);
    MimeMessage2 second;
    load(second, text);
    EXPECT_EQ(describe(second), describe(first)) << text;
    // From the second time on nothing changes any more.
    EXPECT_EQ(written(second), text);
  }
}

TEST(MimeRoundTrip, LoadsAnyBeginningOfAMail) {
  for (std::size_t n = 0; n <= kNested.size(); ++n) {
    for (const bool fix : {true, false}) {
      LogNull log;
      StringBuffer clue;
      MimeMessage2 mime;
      ASSERT_TRUE(mime.loadMimeComplete2(kNested.data(), n, fix, clue, log, false));
      MimeMessage2 again;
      const std::string text = written(mime);
      ASSERT_TRUE(again.loadMimeComplete(text, log, false));
    }
  }
}

TEST(MimeRoundTrip, WritesTheSignedPartByteForByte) {
  const std::string first = "subject:odd   spacing\r\nGarbage\r\n\r\nsigned \t\r\n";
  MimeMessage2 mime;
  load(mime, "Content-Type: multipart/signed; protocol=x/y; boundary=s\r\n\r\n--s\r\n" + first +
                 "\r\n--s\r\n\r\nsignature\r\n--s--\r\n");
  EXPECT_NE(written(mime).find("--s\r\n" + first + "\r\n--s\r\n"), std::string::npos);
}

TEST(MimeRoundTrip, WritesWhatAPartIsMadeOf) {
  MimeMessage2 mime;
  load(mime,
       "Content-Type: multipart/mixed; boundary=b\r\n\r\npre\r\n--b\r\nX: "
       "y\r\n\r\none\r\n--b--post");
  EXPECT_EQ(written(mime),
            "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\nX: y\r\n\r\none\r\n--b--\r\n");
  LogNull log;
  StringBuffer content;
  mime.setPreambleWanted(true);
  ASSERT_TRUE(getMimeTextSb(mime, content, true, log));
  EXPECT_EQ(
      content.view(),
      "This is a multi-part message in MIME format.\r\n\r\n--b\r\nX: y\r\n\r\none\r\n--b--\r\n");
}

TEST(MimeRoundTrip, DropsWhatTheCharsetCannotHold) {
  MimeMessage2 mime;
  load(mime,
       "Content-Type: text/plain; charset=iso-8859-1\r\nContent-Transfer-Encoding: 8bit\r\n\r\né€.",
       true);
  EXPECT_TRUE(written(mime).ends_with("\r\n\r\n\xE9."));
}

TEST(MimeRoundTrip, KeepsHeaderFieldsInStepWithChanges) {
  LogNull log;
  MimeMessage2 mime;
  load(mime, "Content-Type: text/plain; charset=utf-8; format=flowed\r\n\r\nbody");
  mime.setContentType("multipart/mixed", log);
  mime.setBoundary("new one", log);
  mime.setContentEncoding("8bit", log);
  mime.setDispositionAndFilename("attachment", "a \"b\".txt\\", log);
  auto part = std::make_unique<MimeMessage2>();
  load(*part, "X: y\r\n\r\npart");
  ASSERT_TRUE(mime.appendPart(std::move(part)));
  MimeMessage2 again;
  load(again, written(mime));
  EXPECT_EQ(again.getContentType().contentType().view(), "multipart/mixed");
  EXPECT_EQ(again.getContentType().boundary().view(), "new one");
  EXPECT_EQ(again.getContentEncoding().view(), "8bit");
  EXPECT_EQ(again.getMimeFilename().view(), "a \"b\".txt");
  ASSERT_EQ(again.getNumParts(), 1);
  again.setDisposition({}, log);
  again.setContentEncoding({}, log);
  EXPECT_FALSE(again.getHeader().hasField("content-disposition"));
  EXPECT_FALSE(again.getHeader().hasField("content-transfer-encoding"));
  const auto taken = again.removePart(0);
  ASSERT_TRUE(taken);
  EXPECT_EQ(taken->getMimeBodyDb().view(), "part");
  EXPECT_EQ(again.getNumParts(), 0);
}

}  // namespace
}  // namespace keldane::mime
