#include "mime/tno_email.h"

#include <gtest/gtest.h>

#include <ctime>
#include <string>
#include <tuple>
#include <utility>

#include "tests/mime/mail_builder.h"

namespace keldane::mime {
namespace {

using namespace std::string_literals;

bool logHas(const TnoEmail& email, const std::string& text) {
  return email.LastErrorText().find(text) != std::string::npos;
}

TEST(TnoEmail, AnswersWithNothingBeforeAMailIsSet) {
  TnoEmail email;
  EXPECT_FALSE(email.Subject());
  EXPECT_TRUE(logHas(email, "No internal email object"));
  EXPECT_EQ(email.NumTo(), 0);
  EXPECT_FALSE(email.LastMethodSuccess());
  EXPECT_FALSE(email.GetPlainTextBody() || email.HasHtmlBody() || email.GetMime() ||
               email.GetHeaderField("Subject"));
  EXPECT_TRUE(logHas(email, "This is an empty email object."));
  const auto date = email.GetDt();
  ASSERT_TRUE(date);
  EXPECT_NEAR(static_cast<double>(date->GetAsDateTime(0).value_or(0)),
              static_cast<double>(std::time(nullptr)), 60);
}

TEST(TnoEmail, TellsWhoWhenAndWhat) {
  TnoEmail email;
  ASSERT_TRUE(email.SetFromMimeText(withCrLf(
      "From: Doe, John <j@x.y>\nTo: \"A B\" <a@b.c>, d@e.f\nTo: =?utf-8?Q?G=C3=A9?= <g@h.i>\n"
      "Cc: C <c@c.c>\nDate: Mon, 2 Jan 2006 15:04:05 -0700\nSubject: =?iso-8859-1?Q?caf=E9?=\n"
      "X-Long: a\n b\n\nbody")));
  EXPECT_EQ(email.From(), "\"Doe, John\" <j@x.y>");
  EXPECT_EQ(email.FromAddress(), "j@x.y");
  ASSERT_EQ(email.NumTo(), 3);
  EXPECT_EQ(email.GetTo(0), "\"A B\" <a@b.c>");
  EXPECT_EQ(email.GetTo(1), "d@e.f");
  EXPECT_EQ(email.GetTo(2), "Gé <g@h.i>");
  EXPECT_EQ(email.GetToAddr(2), "g@h.i");
  EXPECT_FALSE(email.GetTo(3));
  EXPECT_FALSE(email.GetTo(-1));
  ASSERT_EQ(email.NumCC(), 1);
  EXPECT_EQ(email.GetCC(0), "C <c@c.c>");
  EXPECT_EQ(email.GetCcAddr(0), "c@c.c");
  EXPECT_EQ(email.GetRecipients(), "\"A B\" <a@b.c>,d@e.f,Gé <g@h.i>,C <c@c.c>");
  EXPECT_EQ(email.Subject(), "café");
  EXPECT_EQ(email.GetDt()->GetAsDateTime(0), 1136239445);
  EXPECT_EQ(email.GetHeaderField(" x-LONG "), "a b");
  EXPECT_EQ(email.GetHeaderField("to"), "\"A B\" <a@b.c>, d@e.f,Gé <g@h.i>");
}

TEST(TnoEmail, RecipientsAreShownAloneAsTogether) {
  const std::pair<const char*, std::string> fields[] = {
      {"none", ""},
      {"copies only", "Cc: a@b.c\n"},
      {"bad bytes in a name", "To: =?utf-8?Q?a=FF=E2=82?= <a@b.c>, d@e.f\n"},
      {"marks in front",
       "To: =?utf-8?Q?=EF=BB=BF=EF=BB=BFa?= <a@b.c>, =?utf-8?Q?=EF=BB=BFb?= <b@c>"
       "\nCc: =?utf-8?Q?=EF=BB=BFc?= <c@d>\n"},
  };
  for (const auto& [name, lines] : fields) {
    TnoEmail email;
    ASSERT_TRUE(email.SetFromMimeText(withCrLf("From: x@y.z\n" + lines + "\nbody"))) << name;
    std::string list;
    for (int i = 0; i < email.NumTo(); ++i) list += email.GetTo(i).value_or("(none)") + ",";
    for (int i = 0; i < email.NumCC(); ++i) list += email.GetCC(i).value_or("(none)") + ",";
    if (!list.empty()) list.pop_back();
    EXPECT_EQ(email.GetRecipients(), list) << name;
  }
}

TEST(TnoEmail, GivesTheRawSenderWhenThereIsNoAddressInIt) {
  const std::tuple<std::string, const char*, const char*> rows[] = {
      {"", "", ""},
      {"From: <>\n", "<>", ""},
      {"From: root\n", "root", "root"},
      {"From: <=?utf-8?Q?J?=>\n", "J", "J"}};
  for (const auto& [line, from, address] : rows) {
    TnoEmail email;
    ASSERT_TRUE(email.SetFromMimeText(withCrLf(line + "Subject: s\n\nbody")));
    EXPECT_EQ(email.From(), from) << line;
    EXPECT_EQ(email.FromAddress(), address) << line;
  }
}

TEST(TnoEmail, SaysWhichFieldIsMissing) {
  TnoEmail email;
  email.SetFromMimeText("Subject: s\r\n\r\nbody");
  EXPECT_FALSE(email.GetHeaderField("X-None"));
  EXPECT_TRUE(logHas(email, "Header field does not exist"));
  EXPECT_TRUE(logHas(email, "fieldName: X-None"));
  EXPECT_FALSE(email.GetHeaderField(" \t"));
  EXPECT_TRUE(logHas(email, "Field name is missing"));
  EXPECT_EQ(email.GetHeaderField("subject"), "s");
  EXPECT_TRUE(email.LastMethodSuccess());
  EXPECT_TRUE(logHas(email, "Success."));
}

TEST(TnoEmail, GivesTextsAsUtf8WithoutABom) {
  TnoEmail email;
  ASSERT_TRUE(email.SetFromMimeText(
      withCrLf("Subject: =?utf-8?B?77u/cw==?=\nFrom: =?utf-8?B?77u/w6k=?= <a@b>\n"
               "To: =?utf-8?B?77u/w6k=?= <c@d>\nX-Wrong: =?utf-8?Q?caf=E9?=\n"
               "Content-Type: multipart/mixed; boundary=b\n\n--b\n"
               "Content-Type: text/plain; charset=utf-8\n"
               "Content-Transfer-Encoding: base64\n\n77u/Y2Fm6Q==\n--b\n"
               "Content-Type: x/y\nContent-Transfer-Encoding: base64\n\n77u/Y2Fm6Q==\n--b--\n")));
  EXPECT_EQ(email.Subject(), "s");
  EXPECT_EQ(email.From(), "é <a@b>");
  EXPECT_EQ(email.GetTo(0), "é <c@d>");
  EXPECT_EQ(email.GetHeaderField("X-Wrong"), "café");
  EXPECT_EQ(email.GetPlainTextBody(), "café");
}

TEST(TnoEmail, DropsTheOldMailWhenTheNewOneFails) {
  TnoEmail email;
  ASSERT_TRUE(email.SetFromMimeText("Subject: s\r\n\r\nbody"));
  EXPECT_FALSE(email.SetFromMimeText(std::string(20000001, 'x')));
  EXPECT_TRUE(logHas(email, "Failed to create email object from MIME text"));
  EXPECT_FALSE(email.Subject());
}

TEST(WrittenMail, IsWellFormed) {
  const TextRow rows[] = {
      {"AsciiStays", "Subject: s\r\n\r\nbody\r\n", "Subject: s\r\n\r\nbody\r\n"},
      {"EightBitText",
       withCrLf("Content-Type: text/plain; charset=iso-8859-1\n"
                "Content-Transfer-Encoding: 8bit\n\n") +
           "café",
       withCrLf("Content-Type: text/plain; charset=iso-8859-1\n"
                "Content-Transfer-Encoding: quoted-printable\n\ncaf=E9")},
      {"EightBitWithoutCharset", "Subject: s\r\n\r\ncafé",
       withCrLf("Subject: s\nContent-Transfer-Encoding: quoted-printable\n"
                "Content-Type: text/plain; charset=utf-8\n\ncaf=C3=A9")},
      {"BinaryFile",
       withCrLf("Content-Type: application/x\nContent-Transfer-Encoding: binary\n\n") + "\x01\xFF",
       withCrLf("Content-Type: application/x\nContent-Transfer-Encoding: base64\n\n"
                "Af8=\n")},
      {"JapaneseInBase64", withCrLf("Content-Type: text/plain; charset=shift_jis\n\n") + "あ",
       withCrLf("Content-Type: text/plain; charset=shift_jis\n"
                "Content-Transfer-Encoding: base64\n\ngqA=\n")},
      {"AlternativeLosesItsEncoding",
       mail(multi("alternative", {part("text/plain", "plain")},
                  "Content-Transfer-Encoding: 8bit\n")),
       mail(multi("alternative", {part("text/plain", "plain")}))},
      {"HtmlIsAlwaysEncoded", withCrLf("Content-Type: text/html; charset=utf-8\n\n<p>=\n"),
       withCrLf("Content-Type: text/html; charset=utf-8\n"
                "Content-Transfer-Encoding: quoted-printable\n\n<p>=3D\n")},
      {"MetaFollowsTheCharset",
       withCrLf("Content-Type: text/html; charset=iso-8859-1\n\n"
                "<meta charset=koi8-r><p>x\n"),
       withCrLf("Content-Type: text/html; charset=iso-8859-1\n"
                "Content-Transfer-Encoding: quoted-printable\n\n"
                "<meta charset=3Diso-8859-1><p>x\n")},
  };
  for (const TextRow& row : rows) {
    SCOPED_TRACE(row.name);
    TnoEmail email;
    ASSERT_TRUE(email.SetFromMimeText(row.in));
    EXPECT_EQ(email.GetMime().value_or(kNone), row.out);
  }
}

TEST(WrittenMail, ReadsBackAsTheSameMail) {
  const std::string file =
      part("application/pdf; name=a.pdf", "AAEC/w==", "Content-Transfer-Encoding: base64\n");
  const std::string texts[] = {
      mail(part("text/plain; charset=utf-8", "caf=C3=A9",
                "Content-Transfer-Encoding: quoted-printable\n")),
      mail(multi("mixed", {part("text/plain", "x"), part("text/html", "<p>y"), file})),
      mail(multi("related",
                 {multi("alternative", {part("text/plain", "x"), part("text/html", "y")}), file})),
      mail(part("text/plain", "see\nbegin 644 cat.txt\n#0V%T\n`\nend\n")),
      mail(part("application/pdf", "bytes", "Content-Disposition: attachment; filename=a.pdf\n")),
  };
  for (const std::string& text : texts) {
    TnoEmail first;
    ASSERT_TRUE(first.SetFromMimeText(text));
    const std::string written = first.GetMime().value_or(kNone);
    TnoEmail second;
    ASSERT_TRUE(second.SetFromMimeText(written));
    EXPECT_EQ(second.GetPlainTextBody().value_or(kNone), first.GetPlainTextBody().value_or(kNone));
    EXPECT_EQ(second.GetHtmlBody().value_or(kNone), first.GetHtmlBody().value_or(kNone));
    ASSERT_EQ(second.NumAttachments(), first.NumAttachments()) << written;
    for (int i = 0; i < first.NumAttachments(); ++i) {
      EXPECT_EQ(second.GetAttachmentFilename(i), first.GetAttachmentFilename(i));
      EXPECT_EQ(second.GetAttachmentData(i), first.GetAttachmentData(i));
    }
    EXPECT_EQ(second.GetMime().value_or(kNone), written);
  }
}

}  // namespace
}  // namespace keldane::mime
