#include <gtest/gtest.h>

#include <ctime>
#include <memory>
#include <string>

#include "mime/buffers/log_base.h"
#include "mime/buffers/tarnell_sys_time.h"
#include "mime/email/email_attachments.h"
#include "mime/email/email_bodies.h"
#include "mime/email/email_emit.h"
#include "mime/email/email_header.h"
#include "mime/email/email_load.h"
#include "mime/email/email_repair.h"
#include "mime/tree/mime_message.h"
#include "tests/mime/mail_builder.h"

namespace keldane::mime {
namespace {

using namespace std::string_literals;

const std::string kImage = part("image/png", "png bytes");

/// The tree in one line: `type(body)` for a leaf, `type[part part]` for a multipart.
std::string shape(const Email2& email) {
  std::string out(email.contentType());
  if (email.getNumParts() == 0) return out + "(" + std::string(email.body().view()) + ")";
  out += "[";
  for (int i = 0; i < email.getNumParts(); ++i) {
    out += (i == 0 ? "" : " ") + shape(*email.getPart(i));
  }
  return out + "]";
}

Email2::Part load(const std::string& text, bool isUtf8 = false) {
  LogNull log;
  Email2::Part email = createFromMimeText2(std::make_shared<_tnEmailCommon>(), text, isUtf8, log);
  EXPECT_TRUE(email);
  checkFixAltRelatedNesting(*email, log);
  checkFixRelMixNesting(*email, log);
  return email;
}

std::string shapeOf(const std::string& text) { return shape(*load(text)); }

const std::string kAppleDouble = mail(multi(
    "mixed", {kPlain, multi("appledouble", {part("application/applefile", "resource"), kImage})}));
const std::string kUuFile = "begin 644 cat.txt\n#0V%T\n`\nend\n";

TEST(LoadedMail, IsRepaired) {
  const TextRow rows[] = {
      {"AttachmentAloneGetsAText",
       mail(part("image/png", "bytes", "Content-Disposition: attachment; filename=a\n")),
       "multipart/mixed[text/plain() image/png(bytes)]"},
      {"Pkcs7AttachmentAloneStays",
       mail(part("application/pkcs7-mime", "bytes", "Content-Disposition: attachment\n")),
       "application/pkcs7-mime(bytes)"},
      {"MislabelledAlternative", mail(multi("mixed", {kHtml, kPlain})),
       "multipart/alternative[text/html(<p>html) text/plain(plain)]"},
      {"MislabelledAlternativeAmongOthers", mail(multi("mixed", {kImage, kHtml, kPlain, kPlain})),
       "multipart/mixed[multipart/alternative[text/plain(plain) text/html(<p>html)] "
       "image/png(png bytes) text/plain(plain)]"},
      {"RelatedAroundAlternative",
       mail(multi("related", {multi("alternative", {kPlain, kHtml}), kImage})),
       "multipart/alternative[text/plain(plain) multipart/related[text/html(<p>html) "
       "image/png(png bytes)]]"},
      {"RelatedAroundAlternativeBelowMixed",
       mail(multi("mixed", {multi("related", {multi("alternative", {kPlain, kHtml}), kImage}),
                            part("application/x", "file")})),
       "multipart/mixed[multipart/alternative[text/plain(plain) "
       "multipart/related[text/html(<p>html) image/png(png bytes)]] application/x(file)]"},
      {"RelatedAroundMixed", mail(multi("related", {multi("mixed", {kHtml, kImage})})),
       "multipart/mixed[multipart/related[text/html(<p>html)] image/png(png bytes)]"},
      {"UuFile", mail(part("text/plain", "see\n" + kUuFile + "bye\n")),
       "multipart/mixed[text/plain(see\r\n) text/plain(Cat)]"},
      {"TalkAboutUu", mail(part("text/plain", "write begin 644 x\nat the top\n")),
       "text/plain(write begin 644 x\r\nat the top\r\n)"},
      {"AppleDouble", kAppleDouble, "multipart/mixed[text/plain(plain) image/png(png bytes)]"},
      {"XUuencodePart",
       mail(multi("mixed", {kPlain, part("application/x", kUuFile,
                                         "Content-Transfer-Encoding: X-UUencode\n")})),
       "multipart/mixed[text/plain(plain) application/x(Cat)]"},
      {"BareEdifact",
       mail(part("application/edifact", "UNA:+",
                 "X-MS-Has-Attach: yes\nContent-Disposition: attachment; filename=o.pdf\n")),
       "multipart/mixed[text/plain() application/pdf(UNA:+)]"},
      {"HtmlNamedPdf",
       mail(multi("mixed", {kPlain, part("text/html", "%PDF-1",
                                         "Content-Disposition: attachment; filename=a.PDF\n")})),
       "multipart/mixed[text/plain(plain) application/pdf(%PDF-1)]"},
  };
  for (const TextRow& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(shapeOf(row.in), row.out);
  }
}

TEST(LoadedMail, MakesAttachmentsOfWhatItTakesOut) {
  const Email2::Part email = load(mail(part("text/plain", kUuFile)));
  ASSERT_EQ(email->getNumParts(), 2);
  EXPECT_EQ(email->getPart(1)->filename(), "cat.txt");
  EXPECT_TRUE(email->getPart(1)->isEmailAttachment(true));
  EXPECT_TRUE(load(kAppleDouble)->getPart(1)->isAttachmentDisposition());
}

// ---- Bodies of unknown charset

TEST(LoadedBody, IsUtf8) {
  const std::string qp = "Content-Transfer-Encoding: quoted-printable\n";
  const std::string b64 = "Content-Transfer-Encoding: base64\n";
  const struct {
    const char* name;
    std::string headerLines;
    std::string body;
    std::string expected;
    int codePage;
  } rows[] = {
      {"QpLatin1", qp, "caf=E9", "café", 28591},
      {"QpUtf8Shape", qp, "caf=C3=A9", "café", 65001},
      {"QpByHeader", "Subject: =?koi8-r?Q?=C1?=\n" + qp, "=C1=C2", "аб", 20866},
      {"QpUtf8WithoutLatinShape", qp, "=D0=BC", "м", 65001},
      {"QpUtf8CutAtTheEnd", qp, "=D0=BC=D0=BC=D0", "ммÐ", 65001},
      {"WideWithBom", "Content-Type: text/plain\n" + b64, "//5hAOkA", "a\xC3\xA9", 65001},
      {"WideHtmlUnmarked", "Content-Type: text/html\n" + b64, "PABwAD4A6QA=", "<p>é", 65001},
      {"NulInUtf8", "Content-Type: text/plain; charset=utf-8\n" + qp, "a=00b", "a b", 65001},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const Email2::Part email = load(entity(row.headerLines, row.body));
    EXPECT_EQ(email->body().view(), row.expected);
    EXPECT_EQ(email->charset().getCodePage(), row.codePage);
  }
}

TEST(LoadedBody, FirstDeclaredCharsetBecomesThatOfTheMail) {
  LogNull log;
  const auto common = std::make_shared<_tnEmailCommon>();
  const std::string text = mail(multi(
      "mixed", {part("application/x; charset=koi8-r", "bytes"),
                part("text/plain; charset=big5", "x"), part("text/html; charset=utf-8", "x")}));
  ASSERT_TRUE(createFromMimeText2(common, text, false, log));
  EXPECT_EQ(common->charset.getCodePage(), 950);
}

// ---- People and date

TEST(LoadedPeople, JoinsSeveralFieldsOfOneName) {
  const Email2::Part email = load(
      entity("To: a@b.c, d@e.f\nSubject: s\nTO: g@h.i\nCc: =?utf-8?Q?J=C3=B6?= <j@k.l>\n", ""));
  EXPECT_EQ(email->to().getSize(), 3);
  ASSERT_EQ(email->cc().getSize(), 1);
  EXPECT_EQ(email->cc().elementAt(0)->name().utf8View(), "Jö");
  EXPECT_EQ(email->from(), nullptr);
}

TEST(LoadedDate, ComesFromTheFirstFieldThatIsThere) {
  const struct {
    const char* name;
    std::string lines;
    std::time_t expected;  // 0: now
  } rows[] = {
      {"date", "Received: x; 3 Jan 2006 00:00:00 +0000\nDate: 2 Jan 2006 00:00:00 +0000\n",
       1136160000},
      {"delivery date", "Delivery-Date: 2 Jan 2006 00:00:00 +0000\n", 1136160000},
      {"received", "Received: by a; b; 2 Jan 2006 00:00:00 +0000\nReceived: x; 1 Jan 2006\n",
       1136160000},
      {"received without one", "Received: by a\n", 0},
      {"none", "Subject: s\n", 0},
      {"unreadable", "Date: yesterday\nDelivery-Date: 2 Jan 2006 00:00:00 +0000\n", 0},
      {"empty", "Date:\n", 0},
  };
  for (const auto& row : rows) {
    const Email2::Part email = load(entity(row.lines, "x"));
    TarnellSysTime time = email->date();
    time.toGmtSysTime();
    const std::time_t expected = row.expected != 0 ? row.expected : std::time(nullptr);
    EXPECT_NEAR(static_cast<double>(time.toUnixTime()), static_cast<double>(expected),
                row.expected != 0 ? 0 : 60)
        << row.name;
  }
}

// ---- The header

std::string describe(const MimeHeader& header) {
  std::string out;
  for (int i = 0; i < header.getNumFields(); ++i) {
    const MimeField& field = *header.fieldAt(i);
    out += "[" + std::string(field.name().view()) + "|" + std::string(field.value().view()) + "|" +
           std::to_string(field.kind()) + (field.allowsEncoding() ? "e" : "-") +
           (field.hadEncodedWords() ? "w" : "-") + "]\n";
  }
  return out;
}

TEST(LoadedHeader, IsTheSameFieldByFieldAsByItsText) {
  const std::string longText =
      "a value of many words that is long enough to be folded, more than once; with; marks, \"and "
      "a "
      "quoted string in it that goes on and on\" <and@an.address.as.well>   and blanks > behind";
  const std::string values[] = {
      "plain",
      "",
      "two  blanks",
      "a tab\tinside",
      "\t outer blanks ",
      longText,
      longText + " " + longText,
      std::string(200, 'x'),
      "word " + std::string(100, 'y') + " word",
      "=?utf-8?Q?J=C3=B6rg?= <j@x.y>, =?iso-8859-1?Q?J=F6rg?= <k@x.y>",
      "=?utf-8?Q?plain_word?=",
      "=?utf-8?Q?=3D=3Futf-8=3FQ=3Fa=3F=3D?= inner word",
      "=?utf-8?B?w6nDqcOpw6nDqcOpw6nDqcOpw6nDqcOpw6nDqcOpw6nDqcOpw6nDqcOpw6k=?= " + longText,
      "=?utf-8?Q?no end",
      "text =?utf-8?Q?=0Aline=0D=0AX-Injected:_y?= end",
      "=?utf-8?Q?From_here?=",
      "raw é utf-8",
      "raw \xE9 latin",
      "raw € and =?utf-8?Q?w?=",
      "\"Jörg, D\" <j@x.y>",
      "text/plain; charset=utf-8; name=\"=?utf-8?Q?=C3=BC.txt?=\"",
      "attachment; filename*0=\"=?utf-8?Q?a\"; filename*1=\"b?=\"",
      "attachment; filename=\"ü b.txt\"; x=y",
      "\x1B$B$\"\x1B(B",
      "=?iso-2022-jp?B?GyRCJCIbKEI=?= \x1B$B",
      "nul \0 inside"s,
      "=?utf-8?Q?nul=00inside?=",
      "a?b?c ?B? d ?Q? e",
      "=?bogus?B?QUJD?=",
      "=?utf-8?B?/w==?=",
  };
  const std::string names[] = {"Subject",     "From",
                               "To",          "Content-Type",
                               "Received",    "User-Agent",
                               "Odd 'name\"", "Content-Disposition",
                               "Message-ID",  ""};
  const std::string charsets[] = {"", "utf-8", "iso-8859-1", "us-ascii", "iso-2022-jp", "utf-16"};
  LogNull log;
  for (const std::string& value : values) {
    for (const std::string& name : names) {
      for (const std::string& charset : charsets) {
        // With and without a neighbour that has a say in how the whole header is read.
        for (const std::string neighbour : {"", "Z: é\r\n", "User-Agent: =?utf-8?Q?=E2=82?=\r\n"}) {
          MimeMessage2 mime;
          mime.loadMimeComplete("X: y\r\n" + name + ": " + value + "\r\n" + neighbour +
                                    "Content-Type: text/plain; charset=" + charset + "\r\n" + name +
                                    ":" + value + "\r\n\r\nbody",
                                log, false);
          MimeHeader byText;
          MimeHeader byField;
          loadHeaderByText(mime, byText, log);
          takeHeaderByField(mime, byField, log);
          ASSERT_EQ(describe(byField), describe(byText))
              << name << ": " << value << " in " << charset << " beside " << neighbour;
        }
      }
    }
  }
}

// ---- Hostile trees

TEST(LoadedMail, StaysShallowWhateverTheTree) {
  const std::string alternative = multi("alternative", {kPlain, kHtml});
  struct {
    const char* name;
    std::string text;
    std::size_t attachments;
    std::size_t textSize;
  } const rows[] = {
      {"alternatives in a related",
       mail(multi("related", std::vector<std::string>(3000, alternative))), 0, 5},
      {"relateds in a mixed",
       mail(
           multi("mixed", std::vector<std::string>(1500, multi("related", {alternative, kImage})))),
       0, 5},
      {"texts", mail(multi("mixed", std::vector<std::string>(9000, kPlain))), 0, 9000 * 7 - 2},
      {"uuencoded files", mail(part("text/plain", repeated("begin 644 x\n#0V%T\n`\nend\n", 20000))),
       kMaxUuFiles, 0},
      {"beginnings of such", mail(part("text/plain", repeated("begin 6", 100000))), 0, 700000},
      {"nesting",
       repeated("Content-Type: multipart/related; boundary=b\r\n\r\n--b\r\n", 5000) + kHtml, 0, 0},
  };
  for (const auto& row : rows) {
    const Email2::Part email = load(row.text);
    EXPECT_EQ(attachments(*email).size(), row.attachments) << row.name;
    std::string out;
    LogNull log;
    getPlainTextBodyUtf8(*email, out, log);
    EXPECT_EQ(out.size(), row.textSize) << row.name;
    getHtmlBodyUtf8(*email, out, log);
    DataBuffer written;
    EXPECT_TRUE(getMimeText(*email, written, log)) << row.name;
  }
}

}  // namespace
}  // namespace keldane::mime
