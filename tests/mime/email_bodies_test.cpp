#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>

#include "mime/email/body_text.h"
#include "mime/tno_email.h"
#include "tests/mime/mail_builder.h"

namespace keldane::mime {
namespace {

using namespace std::string_literals;

const std::string kImage = part("image/png", "png bytes", "Content-ID: <i@x>\n");

struct Row {
  const char* name;
  std::string text;
  std::string plain;
  std::string html;
  bool hasPlain;
  bool hasHtml;
};

TEST(MailBodies, AreFound) {
  const Row rows[] = {
      {"Plain", mail(kPlain), "plain", kNone, true, false},
      {"Html", mail(kHtml), kNone, "<p>html", false, true},
      {"Typeless", mail(entity("", "text\nof it")), "text\r\nof it", kNone, true, false},
      {"Alternative", mail(multi("alternative", {kPlain, kHtml})), "plain", "<p>html", true, true},
      {"MixedTypeless",
       mail(multi("mixed", {entity("", "typeless"), kImage, kPlain, entity("", "tail")})),
       "typeless\r\nplain\r\ntail", kNone, true, false},
      {"AlternativeTypeless", mail(multi("alternative", {entity("", "typeless"), kHtml})),
       "typeless", "<p>html", true, true},
      {"MixedPlainTwice",
       mail(multi("mixed", {kPlain, kImage, part("text/plain", "tail"),
                            part("text/plain", "file", "Content-Disposition: attachment\n"),
                            part("text/plain", "end")})),
       "plain\r\ntail\r\nend", kNone, true, false},
      {"MixedMislabelled", mail(multi("mixed", {kPlain, kHtml})), "plain", "<p>html", true, true},
      {"MixedMislabelledWithImage", mail(multi("mixed", {kImage, kPlain, kHtml})), "plain",
       "<p>html", true, true},
      // A name in the content type alone is no file name.
      {"MixedMislabelledWithName",
       mail(multi("mixed", {kPlain, part("text/html; name=\"r.html\"", "<p>report")})), "plain",
       "<p>report", true, true},
      {"MixedHtmlFile",
       mail(multi("mixed", {kPlain, part("text/html", "<p>report",
                                         "Content-Disposition: inline; filename=r.html\n")})),
       "plain", "<p>report", true, false},
      {"MixedAroundAlternative",
       mail(multi("mixed", {multi("alternative", {kPlain, kHtml}), kImage})), "plain", "<p>html",
       true, true},
      {"AlternativeAroundRelated",
       mail(multi("alternative", {kPlain, multi("related", {kHtml, kImage})})), "plain", "<p>html",
       true, true},
      {"AlternativeAroundMixed",
       mail(multi("alternative", {kPlain, multi("mixed", {kHtml, kImage})})), "plain", "<p>html",
       true, true},
      {"RelatedAlone", mail(multi("related", {kHtml, kImage})), kNone, "<p>html", false, true},
      {"RelatedAroundAlternative",
       mail(multi("related", {multi("alternative", {kPlain, kHtml}), kImage})), "plain", "<p>html",
       true, true},
      {"RelatedAroundMixed", mail(multi("related", {multi("mixed", {kHtml, kPlain, kImage})})),
       "plain", "<p>html", false, true},
      {"Signed", mail(multi("signed", {kPlain, part("application/pkcs7-signature", "sig")})),
       "plain", kNone, true, false},
      {"Report", mail(multi("report", {kPlain, part("message/delivery-status", "Status: 5")})),
       "plain", kNone, true, false},
      {"SignedAroundAlternative",
       mail(multi("signed", {multi("alternative", {kPlain, kHtml}),
                             part("application/pgp-signature", "sig")})),
       "plain", "<p>html", true, true},
      {"MixedAroundReport", mail(multi("mixed", {multi("report", {kPlain, kImage}), kImage})),
       "plain", kNone, true, false},
      {"OnlyAnImage", mail(kImage), kNone, kNone, false, false},
      {"EmptyMultipart", mail(multi("alternative", {})), kNone, kNone, false, false},
      {"AttachedTextIsNoBody",
       mail(multi("alternative",
                  {part("text/plain", "file", "Content-Disposition: attachment\n"), kHtml})),
       kNone, "<p>html", false, true},
      {"NamedHtmlFirst",
       mail(multi("mixed", {part("text/html; name=x.html",
                                 "PHA+eA==", "Content-Transfer-Encoding: base64\n"),
                            kImage})),
       kNone, "<p>x", false, true},
      {"FirstOfEachTypeWins",
       mail(multi("alternative", {kPlain, part("text/plain", "second"), kHtml})), "plain",
       "<p>html", true, true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    TnoEmail email;
    ASSERT_TRUE(email.SetFromMimeText(row.text));
    EXPECT_EQ(email.GetPlainTextBody().value_or(kNone), row.plain);
    EXPECT_EQ(email.GetHtmlBody().value_or(kNone), row.html);
    EXPECT_EQ(email.HasPlainTextBody(), row.hasPlain);
    EXPECT_EQ(email.HasHtmlBody(), row.hasHtml);
  }
}

TEST(MailBodies, SayWhyThereIsNone) {
  TnoEmail email;
  email.SetFromMimeText(mail(kImage));
  EXPECT_FALSE(email.GetPlainTextBody());
  EXPECT_NE(email.LastErrorText().find("Did not find alternative based on content-type"),
            std::string::npos);
  EXPECT_FALSE(email.LastMethodSuccess());
  EXPECT_FALSE(email.GetHtmlBody());
  EXPECT_NE(email.LastErrorText().find("No HTML alternative."), std::string::npos);
}

// Where a text is cut while it is read must not show: neither in it nor in what else the mail
// holds.
TEST(TakenBodies, ReadAsWhenTheyAreKept) {
  const std::string head = "From: a@b.c\r\n";
  const std::string half(1U << 20U, 'a');
  const std::string base64 = "Content-Transfer-Encoding: base64\r\n";
  std::string euros;
  while (euros.size() < 4U << 20U) euros += "gICAgCUlJSWA/4CA\r\n";
  const auto plain = [](const std::string& fields, const std::string& text) {
    return "Content-Type: text/plain" + fields + "\r\n\r\n" + text;
  };
  const auto two = [](const std::string& kind, const std::string& a, const std::string& b) {
    return "Content-Type: multipart/" + kind + "; boundary=b\r\n\r\n--b\r\n" + a + "\r\n--b\r\n" +
           b + "\r\n--b--\r\n";
  };
  const std::string html = "Content-Type: text/html\r\n\r\n<p>" + half + "</p>";
  const std::string file =
      plain("\r\nContent-Disposition: attachment; filename=a.txt", half + half);
  const std::pair<const char*, std::string> mails[] = {
      {"a line end at the middle", plain("", half + "\r\n" + half)},
      {"a mark in front", plain("", "\xEF\xBB\xBF" + half + half)},
      {"nothing but line ends", plain("", std::string(1U << 21U, '\n'))},
      {"a text that grows", base64 + plain("; charset=windows-1252", euros)},
      {"HTML that grows", base64 + "Content-Type: text/html; charset=windows-1252\r\n\r\n" + euros},
      {"two texts", two("mixed", plain("", half + "x"), plain("", half + "y"))},
      {"both forms", two("alternative", plain("", half + half), html)},
      {"a file is the text", file},
      {"a file is the HTML", "Content-Disposition: attachment; filename=a.htm\r\n" + html},
      {"HTML is both forms", two("report", html, plain("", "x"))},
      {"a text beside its file", two("mixed", plain("", half + half), file)},
  };
  for (const auto& [name, text] : mails) {
    TnoEmail kept;
    TnoEmail taken;
    ASSERT_TRUE(kept.SetFromMimeText(head + text)) << name;
    ASSERT_TRUE(taken.SetFromMimeText(head + text)) << name;
    EXPECT_TRUE(taken.TakePlainTextBody() == kept.GetPlainTextBody()) << name;
    EXPECT_TRUE(taken.TakeHtmlBody() == kept.GetHtmlBody()) << name;
    ASSERT_EQ(taken.NumAttachments(), kept.NumAttachments()) << name;
    for (int i = 0; i < kept.NumAttachments(); ++i) {
      EXPECT_TRUE(taken.GetAttachmentData(i) == kept.GetAttachmentData(i)) << name;
    }
  }
}

TEST(BodyToText, MendsLineEndsWhereverTheyStand) {
  // Every place in and around the blocks that the fast check looks at at once.
  const std::tuple<const char*, std::string, std::string> endings[] = {
      {"lf", "\n", "\r\n"},         {"crlf", "\r\n", "\r\n"},     {"cr", "\r", "\r\n"},
      {"crcr", "\r\r", "\r\n\r\n"}, {"lfcr", "\n\r", "\r\n\r\n"}, {"nul", "\0"s, " "}};
  for (const auto& [name, ending, mended] : endings) {
    for (std::size_t before = 0; before < 40; ++before) {
      for (const std::size_t after : {0, 1, 20}) {
        const std::string head(before, 'a');
        const std::string tail(after, 'b');
        std::string out;
        bodyToText(head + ending + tail, true, out);
        ASSERT_EQ(out, head + mended + tail) << name << " behind " << before;
      }
    }
  }
}

TEST(BodyToText, LosesBomAndTrailingNuls) {
  std::string out;
  bodyToText("\xEF\xBB\xBFtext\0\0"s, false, out);
  EXPECT_EQ(out, "text");
  bodyToText("a\0b\0"s, false, out);
  EXPECT_EQ(out, "a\0b"s);
  bodyToText("", true, out);
  EXPECT_EQ(out, "");
}

}  // namespace
}  // namespace keldane::mime
