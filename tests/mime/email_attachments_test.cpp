#include <gtest/gtest.h>

#include <string>

#include "mime/tno_email.h"
#include "tests/mime/mail_builder.h"

namespace keldane::mime {
namespace {

using namespace std::string_literals;

const std::string kImage = part("image/png", "bytes", "Content-ID: <i@x>\n");
const std::string kInlineImage = part("image/png", "bytes", "Content-Disposition: inline\n");
const std::string kPdf = part("application/pdf; name=\"a.pdf\"", "pdf bytes");
const std::string kZip =
    part("application/zip", "zip bytes", "Content-Disposition: attachment; filename=\"b.zip\"\n");
const std::string kRfc822 = part("message/rfc822", "Subject: inner\n\nbody");

std::string attachmentNames(TnoEmail& email) {
  std::string names;
  for (int i = 0, n = email.NumAttachments(); i < n; ++i) {
    names += (i == 0 ? "" : ",") + email.GetAttachmentFilename(i).value_or("(failed)");
  }
  return names;
}

std::string relatedNames(TnoEmail& email) {
  std::string names;
  for (int i = 0, n = email.NumRelatedItems(); i < n; ++i) {
    names += (i == 0 ? "" : ",") + email.GetRelatedFilename(i).value_or("(failed)");
  }
  return names;
}

struct Row {
  const char* name;
  std::string text;
  std::string attachments;
  std::string related;
};

std::string mixedWith(const std::string& second) { return mail(multi("mixed", {kPlain, second})); }

std::string inlinePart(const std::string& type, const std::string& disposition) {
  return part(type, "bytes", "Content-Disposition: " + disposition + "\n");
}

TEST(MailItems, AreListed) {
  const Row rows[] = {
      {"PlainHasNone", mail(kPlain), "", ""},
      {"PdfAlone", mail(kPdf), "a.pdf", ""},
      {"AttachmentAlone", mail(kZip), "b.zip", ""},
      {"MislabelledAlternativeHasNone", mail(multi("mixed", {kPlain, kHtml})), "", ""},
      {"InlineImageWithoutName", mixedWith(kInlineImage), "attachedFile.png", ""},
      {"ImageWithoutDisposition", mixedWith(kImage), "", ""},
      {"InlineTextWithoutName", mixedWith(inlinePart("text/x-log", "inline")), "", ""},
      {"InlineTextWithName", mixedWith(inlinePart("text/x-log", "inline; filename=l.log")), "l.log",
       ""},
      {"ApplicationWithoutDisposition", mixedWith(kPdf), "a.pdf", ""},
      {"NameAndBase64",
       mixedWith(part("text/x-log; name=l.log", "YQ==", "Content-Transfer-Encoding: base64\n")),
       "l.log", ""},
      {"NameAlone", mixedWith(part("text/x-log; name=l.log", "a log")), "", ""},
      {"CertificateByName", mixedWith(part("text/x-any; name=k.PEM", "a key")), "k.PEM", ""},
      {"SignatureBlob", mixedWith(part("application/pkcs7-signature; name=s.p7s", "signature")), "",
       ""},
      {"SignatureBlobAttached",
       mixedWith(inlinePart("application/pkcs7-signature", "attachment; filename=s.p7s")), "s.p7s",
       ""},
      {"MessageIsNone", mixedWith(kRfc822), "", ""},
      {"MessageAttachedAsMht",
       mixedWith(inlinePart("message/rfc822", "attachment; filename=page.mht")), "page.mht", ""},
      {"MessageAttachedAsEml",
       mixedWith(inlinePart("message/rfc822", "attachment; filename=page.eml")), "", ""},
      {"ContentClassMessage",
       mixedWith(part("text/plain", "notes", "Content-Class: urn:content-classes:message\n")),
       "attachedFile.txt", ""},
      {"BehindAlternativeAllLeavesCount",
       mail(multi("mixed", {kImage, multi("alternative", {kPlain, kHtml}), kImage, kPlain})),
       "attachedFile.png,attachedFile.txt", ""},
      {"RelatedImagesAreItems", mail(multi("related", {kHtml, kImage, kImage})), "",
       "attachedFile.png,attachedFile.png"},
      {"RelatedPdfIsBoth", mail(multi("related", {kHtml, kPdf})), "a.pdf", "a.pdf"},
      {"RelatedCounterIsNoAttachment",
       mail(multi("related", {kHtml, part("application/x; name=\"c?a=1&b=2\"", "counter")})), "",
       "c?a=1&b=2"},
      {"RelatedWithoutPage", mail(multi("related", {kImage, kPdf})), "a.pdf",
       "attachedFile.png,a.pdf"},
      {"RelatedBelowMixed", mail(multi("mixed", {multi("related", {kHtml, kImage}), kZip})),
       "b.zip", "attachedFile.png"},
      {"AlternativeWithCalendar",
       mail(multi("alternative", {kPlain, part("text/calendar; name=m.ics",
                                               "Qg==", "Content-Transfer-Encoding: base64\n")})),
       "m.ics", ""},
      {"SignedAroundMixed",
       mail(multi("signed", {multi("mixed", {kPlain, kZip}),
                             part("application/pgp-signature; name=s.asc", "signature")})),
       "b.zip,s.asc", ""},
      {"NestedMixed", mail(multi("mixed", {kPlain, multi("encrypted", {kPdf, kZip})})),
       "a.pdf,b.zip", ""},
      {"ReportPartsAreNone", mail(multi("report", {kPlain, kZip})), "", ""},
      {"RelatedFourLevelsDown",
       mail(multi("mixed",
                  {multi("signed",
                         {multi("alternative",
                                {kPlain, multi("x-a", {multi("related", {kHtml, kImage})})})})})),
       "", "attachedFile.png"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    TnoEmail email;
    ASSERT_TRUE(email.SetFromMimeText(row.text));
    EXPECT_EQ(attachmentNames(email), row.attachments);
    EXPECT_EQ(relatedNames(email), row.related);
  }
}

TEST(AttachmentName, IsTheFirstThatIsThere) {
  const TextRow rows[] = {
      {"disposition before name",
       part("application/x; name=n.txt", "x", "Content-Disposition: attachment; filename=d.txt\n"),
       "d.txt"},
      {"location with a dot", part("application/x", "x", "Content-Location: pic.gif\n"), "pic.gif"},
      {"location without one", part("application/x", "x", "Content-Location: pic\n"),
       "attachedFile.dat"},
      {"made up from the type", part("application/pdf", "x"), "attachedFile.pdf"},
      {"encoded words", part("application/x; name=\"=?iso-8859-1?Q?=FCber.txt?=\"", "bytes"),
       "über.txt"},
      {"star form",
       part("application/x", "bytes",
            "Content-Disposition: attachment; filename*=utf-8''%C3%BCber.txt\n"),
       "über.txt"},
      {"raw japanese escapes",
       part("application/x", "bytes",
            "Content-Disposition: attachment; filename=\"\x1B$B$\"\x1B(B.txt\"\n"),
       "あ.txt"},
  };
  for (const auto& row : rows) {
    TnoEmail email;
    ASSERT_TRUE(email.SetFromMimeText(mixedWith(row.in)));
    EXPECT_EQ(email.GetAttachmentFilename(0).value_or("(failed)"), row.out) << row.name;
  }
}

TEST(AttachmentContent, ComesWithTypeAndAttributes) {
  TnoEmail email;
  email.SetFromMimeText(mixedWith(part("APPLICATION/Pdf; name=\"A.pdf\"; x=1",
                                       "AAEC/w==", "Content-Transfer-Encoding: base64\n")));
  EXPECT_EQ(email.GetAttachmentData(0), "\x00\x01\x02\xFF"s);
  EXPECT_EQ(email.GetAttachmentContentType(0), "application/pdf");
  EXPECT_EQ(email.GetAttachmentAttr(0, "content-TYPE", "NAME"), "A.pdf");
  EXPECT_FALSE(email.GetAttachmentAttr(0, "content-type", "charset"));
  EXPECT_FALSE(email.GetAttachmentAttr(0, "x-none", "name"));
  email.SetFromMimeText(mixedWith(part("application/pdf", "", "Content-ID: <a>\n")));
  EXPECT_EQ(email.GetAttachmentData(0), "");
  EXPECT_TRUE(email.LastMethodSuccess());
}

TEST(AttachmentContent, OutOfRangeFails) {
  TnoEmail email;
  email.SetFromMimeText(mail(multi("mixed", {kPlain, kPdf})));
  for (const int index : {-1, 1, 1000}) {
    EXPECT_FALSE(email.GetAttachmentData(index));
    const std::string log = email.LastErrorText();
    EXPECT_NE(log.find("Attachment index out of range."), std::string::npos);
    EXPECT_NE(log.find("attachmentIndex: " + std::to_string(index)), std::string::npos);
    EXPECT_NE(log.find("numAttachments: 1"), std::string::npos);
    EXPECT_FALSE(email.GetRelatedData(index));
  }
}

TEST(AttachmentContent, FollowsTheMail) {
  TnoEmail email;
  // Written anew, the log gets base64, and a named part in base64 is an attachment.
  email.SetFromMimeText(mixedWith(part("text/x-log; name=l.log; charset=iso-2022-jp", "a log",
                                       "Content-Transfer-Encoding: 8bit\n")));
  EXPECT_EQ(email.NumAttachments(), 0);
  ASSERT_TRUE(email.GetMime());
  EXPECT_EQ(attachmentNames(email), "l.log");
  email.SetFromMimeText(mail(multi("related", {kHtml, kPdf})));
  EXPECT_EQ(attachmentNames(email), "a.pdf");
  EXPECT_EQ(relatedNames(email), "a.pdf");
  email.SetFromMimeText(mail(kPlain));
  EXPECT_EQ(email.NumAttachments(), 0);
  EXPECT_FALSE(email.GetRelatedData(0));
}

/// A text of over a megabyte whose second megabyte begins like a PDF, behind a hundred letters.
std::string longText(const std::string& letter) {
  std::string text = "xxxx";
  for (int i = 0; i < 100; ++i) text += letter + "23456!";
  for (int i = 0; i < 200000; ++i) text += "%PDF-1" + letter;
  return text;
}

/// Bytes as they are, in a part behind a page.
std::string behindAPage(const std::string& kind, const std::string& bytes) {
  return withCrLf("Content-Type: multipart/" + kind +
                  "; boundary=b\n\n--b\nContent-Type: text/html\n\n<p>\n--b\n"
                  "Content-Type: application/x\nContent-Transfer-Encoding: binary\n\n") +
         bytes + withCrLf("\n--b--\n");
}

TEST(AttachmentText, IsReadInTheRightCharset) {
  const struct {
    const char* name;
    std::string bytes;
    const char* charset;
    std::string expected;
  } rows[] = {
      {"LongDeclared", longText("\x80"), "windows-1252", longText("€")},
      {"LongAndNotUtf8", longText("\x80"), "utf-8", longText("€")},
      {"Declared", "caf\xE9 au lait", "iso-8859-1", "café au lait"},
      {"UnknownMeansUtf8", "café au lait", "x-bogus-charset", "café au lait"},
      {"Utf8WinsOverDeclared", "café au lait", "iso-8859-1", "café au lait"},
      {"NotUtf8AfterAll", "caf\xE9 au lait", "utf-8", "café au lait"},
      {"BomWins", "\xEF\xBB\277café", "iso-8859-1", "café"},
      {"WideBomWins", "\xFF\376a\0b\0c\0"s, "iso-8859-1", "abc"},
      {"WideByItsNuls", "a\0b\0c\0d\0e\0f\0g\0h\0"s, "us-ascii", "abcdefgh"},
      {"WideDeclaredButNot", "thirty-three bytes without any NUL", "utf-16",
       "thirty-three bytes without any NUL"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    TnoEmail email;
    ASSERT_TRUE(email.SetFromMimeText(behindAPage("mixed", row.bytes)));
    EXPECT_EQ(email.GetAttachmentString(0, row.charset), row.expected);
  }
}

TEST(RelatedText, IsReadInTheGivenCharsetWhateverTheBytes) {
  TnoEmail email;
  email.SetFromMimeText(behindAPage("related", "café etc"));
  EXPECT_EQ(email.GetRelatedString(0, "iso-8859-1"), "cafÃ© etc");
  EXPECT_EQ(email.GetRelatedString(0, "x-bogus-charset"), "café etc");
  email.SetFromMimeText(behindAPage("related", "caf\xE9 etc"));
  EXPECT_FALSE(email.GetRelatedString(0, "x-bogus-charset"));
  EXPECT_EQ(email.GetRelatedString(0, "utf-8"), "café etc");
  email.SetFromMimeText(behindAPage("related", "abc\0def"s));
  EXPECT_EQ(email.GetRelatedString(0, "utf-8"), "abc");
  EXPECT_EQ(email.GetRelatedData(0), "abc\0def"s);
}

}  // namespace
}  // namespace keldane::mime
