#include "mime/tree/mime_message.h"

#include <gmock/gmock.h>

#include <string>
#include <string_view>
#include <utility>

#include "mime/buffers/log_base.h"
#include "mime/buffers/psdk.h"
#include "mime/charsets/html_charset.h"
#include "mime/headers/header_end.h"
#include "mime/limits.h"

namespace keldane::mime {
namespace {

using namespace std::string_literals;
using std::string_view_literals::operator""sv;

/// The tree in one line: `type(body)` for a leaf, `type[part part]` for a multipart.
std::string shape(const MimeMessage2& entity) {
  std::string out(entity.getContentType().contentType().view());
  if (entity.getNumParts() == 0)
    return out + "(" + std::string(entity.getMimeBodyDb().view()) + ")";
  out += "[";
  for (int i = 0; i < entity.getNumParts(); ++i) {
    out += (i == 0 ? "" : " ") + shape(*entity.getPart(i));
  }
  return out + "]";
}

std::string replaced(std::string text, std::string_view from, std::string_view to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
  return text;
}

/// Loads with the repair of line ends, as text of unknown charset.
bool load(MimeMessage2& mime, std::string_view text) {
  LogNull log;
  return mime.loadMimeComplete(text, log, false);
}

std::string shapeOf(std::string_view text) {
  MimeMessage2 mime;
  return load(mime, text) ? shape(mime) : "(failed)";
}

std::string multipart(std::string_view body, std::string_view boundary = "b") {
  return "Content-Type: multipart/mixed; boundary=\"" + std::string(boundary) + "\"\r\n\r\n" +
         std::string(body);
}

std::string multipartNested(int levels) {
  std::string text;
  for (int i = 0; i < levels; ++i) {
    const std::string boundary = "b" + std::to_string(i);
    text +=
        "Content-Type: multipart/mixed; boundary=" + boundary + "\r\n\r\n--" + boundary + "\r\n";
  }
  return text + "Subject: deepest\r\n\r\nhello";
}

int depthOf(const MimeMessage2& mime) {
  int depth = 0;
  for (const MimeMessage2* at = &mime; at->getNumParts() > 0; at = at->getPart(0)) ++depth;
  return depth;
}

// --- the end of the header ---

TEST(FindEndOfHeader, TriesTheLineEndsOfAllMailInOrder) {
  struct Row {
    const char* name;
    std::string text;
    bool fix;
    std::string header;
    std::string_view terminator;
    std::string rest;  // from the terminator on
  };
  const Row rows[] = {
      {"clean text is left alone", "A: b\r\n\r\nx", true, "A: b", "\r\n\r\n", "\r\n\r\nx"},
      {"begins with a blank line", "\r\nx\n\ny", true, "", "\r\n\r\n", "\r\nx\n\ny"},
      {"double CR comes first", "A: b\r\rx\r\n\r\ny", true, "A: b", "\r\n\r\n",
       "\r\n\r\nx\r\n\r\ny"},
      {"double CR far behind the end repairs all", "A: b\r\n\r\nx\r\ry", true, "A: b", "\r\n\r\n",
       "\r\n\r\nx\r\n\r\ny"},
      {"double CR is nothing without repair", "A: b\r\n\r\nx\r\ry", false, "A: b", "\r\n\r\n",
       "\r\n\r\nx\r\ry"},
      {"double LF behind CRLF lines", "A: b\r\nC: d\n\nx\ny", true, "A: b\r\nC: d", "\r\n\r\n",
       "\r\n\r\nx\r\ny"},
      {"double LF before a later blank line", "A: b\n\nx\r\n\r\ny", true, "A: b", "\r\n\r\n",
       "\r\n\r\nx\r\n\r\ny"},
      {"the same without repair", "A: b\n\nx\r\n\r\ny", false, "A: b", "\n\n", "\n\nx\r\n\r\ny"},
      {"bare LF only", "A: b\nC: d\n\nx\n", true, "A: b\r\nC: d", "\r\n\r\n", "\r\n\r\nx\r\n"},
      {"bare LF only, without repair", "A: b\n\nx\n", false, "A: b", "\r\n\r\n", "\r\n\r\nx\r\n"},
      {"CRLF CR CRLF", "A: b\r\n\r\r\nx", false, "A: b", "\r\n\r\r\n", "\r\n\r\r\nx"},
      {"CRLF CR", "A: b\r\n\rx", true, "A: b", "\r\n\r", "\r\n\rx"},
      {"LF CRLF", "A: b\n\r\nx", true, "A: b", "\n\r\n", "\n\r\nx"},
      {"LF LF before LF CRLF", "A: b\n\nx\n\r\ny", false, "A: b", "\n\n", "\n\nx\n\r\ny"},
      {"CR CR LF at each line", "A: b\r\r\nC: d\r\r\n\r\r\nx", false, "A: b\r\r\nC: d\r",
       "\r\n\r\r\n", "\r\n\r\r\nx"},
      {"bare CR only", "A: b\rC: d\r\rx", true, "A: b\r\nC: d", "\r\n\r\n", "\r\n\r\nx"},
      {"bare CR only, without repair", "A: b\r\rx", false, "A: b", "\r\n\r\n", "\r\n\r\nx"},
      {"double CR, and CR CR LF in front of it", "A: b\r\r\nx\r\ry", false, "A: b", "\r\n\r\n",
       "\r\n\r\n\nx\r\n\r\ny"},
      {"the marker of the repair is in the mail", "A: %_CRLF_%_CRLF_%\r\rx", true,
       "A: ", "\r\n\r\n", "\r\n\r\n\r\nx"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    LogNull log;
    DataBuffer repaired;
    HeaderEnd end;
    ASSERT_TRUE(findEndOfHeader2(row.text, row.fix, false, repaired, end, log));
    ASSERT_TRUE(end.found());
    EXPECT_EQ(end.text.substr(0, end.size), row.header);
    EXPECT_EQ(end.text.substr(end.size), row.rest);
    EXPECT_EQ(end.terminator, row.terminator);
  }
}

// --- whole messages ---

TEST(MimeMessage2, GivesOneTreeForEveryLineEnd) {
  const std::string crlf = multipart(
      "preamble\r\n--b\r\nContent-Type: text/plain\r\n\r\none\r\n\r\ntwo\r\n--b\r\n"
      "Content-Type: text/html\r\n\r\n<p>x\r\n--b--\r\nepilogue\r\n");
  const std::string expected = "multipart/mixed[text/plain(one\r\n\r\ntwo) text/html(<p>x)]";
  EXPECT_EQ(shapeOf(crlf), expected);
  EXPECT_EQ(shapeOf(replaced(crlf, "\r\n", "\n")), expected);
  EXPECT_EQ(shapeOf(replaced(crlf, "\r\n", "\r")), expected);
  const std::size_t header = crlf.find("\r\n\r\n");
  EXPECT_EQ(shapeOf(crlf.substr(0, header) + replaced(crlf.substr(header), "\r\n", "\n")),
            expected);
  EXPECT_EQ(
      shapeOf(replaced(crlf.substr(0, header), "\r\n", "\n") + "\n\n" + crlf.substr(header + 4)),
      expected);
}

TEST(MimeMessage2, GivesATreeForBrokenMail) {
  struct Row {
    const char* name;
    std::string text;
    std::string shape;
    std::string subject;
  };
  const Row rows[] = {
      {"no blank line", "Subject: s\r\nX: y", "()", "s"},
      {"empty text", "", "()", ""},
      {"begins with a blank line", "\r\nbody\r\n", "(body\r\n)", ""},
      {"begins with its only blank line, LF", "\nbody\nmore\n", "text/plain(\r\nbody\r\nmore\r\n)",
       ""},
      {"mbox separator", "From a@b Mon\r\n\r\nSubject: s\r\n\r\nx", "(x)", "s"},
      {"nothing but an mbox separator", "From a@b\r\n", "()", ""},
      {"three line ends behind the header", "Subject: s\r\n\r\n\r\nx", "(\r\nx)", "s"},
      {"multipart without boundary", "Content-Type: multipart/mixed\r\n\r\n--b\r\n\r\nabcde",
       "multipart/mixed(--b\r\n\r\nabcde)", ""},
      {"boundary never found", multipart("--c\r\n\r\nabcde"), "multipart/mixed(--c\r\n\r\nabcde)",
       ""},
      {"unknown transfer encoding", "Content-Transfer-Encoding: x-y\r\n\r\nQUJD", "(QUJD)", ""},
      {"uuencode without a file", "Content-Transfer-Encoding: uuencode\r\n\r\nnothing", "(nothing)",
       ""},
      {"uuencode", "Content-Transfer-Encoding: uuencode\r\n\r\nbegin 644 x\r\n#04)#\r\nend\r\n",
       "(ABC)", ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    MimeMessage2 mime;
    ASSERT_TRUE(load(mime, row.text));
    EXPECT_EQ(shape(mime), row.shape);
    LogNull log;
    StringBuffer subject;
    EXPECT_EQ(mime.getHeaderFieldUtf8("subject", subject, log), !row.subject.empty());
    EXPECT_EQ(subject.view(), row.subject);
  }
}

TEST(MimeMessage2, RefusesAHeaderOf20Megabytes) {
  MimeMessage2 mime;
  EXPECT_TRUE(load(mime, std::string(MimeMessage2::kHeaderTooLarge - 1, 'x')));
  EXPECT_FALSE(load(mime, std::string(MimeMessage2::kHeaderTooLarge, 'x')));
  EXPECT_FALSE(mime.isBodyLoaded());
  // A body may be larger.
  EXPECT_TRUE(load(mime, "A: b\r\n\r\n" + std::string(MimeMessage2::kHeaderTooLarge, 'x')));
  EXPECT_EQ(mime.getMimeBodyDb().getSize(), MimeMessage2::kHeaderTooLarge);
}

TEST(MimeMessage2, RefusesNullDataAndForgetsTheMailBefore) {
  MimeMessage2 mime;
  ASSERT_TRUE(load(mime, multipart("--b\r\n\r\nabcde\r\n--b--")));
  LogNull log;
  EXPECT_FALSE(mime.loadMimeCompleteDb(DataBuffer(), log));
  EXPECT_EQ(shape(mime), "()");
}

// --- parts ---

TEST(MimeMessage2, CutsPartsAtTheDelimiter) {
  struct Row {
    const char* name;
    std::string boundary;
    std::string body;
    std::string parts;
  };
  const Row rows[] = {
      {"preamble and epilogue go", "b", "pre\r\n--b\r\n\r\none\r\n--b\r\n\r\ntwo\r\n--b--\r\nepi",
       "[(one) (two)]"},
      {"no closing delimiter", "b", "--b\r\n\r\none\r\n--b\r\n\r\ntwo\r\n", "[(one) (two\r\n)]"},
      {"less than five bytes is no part", "b", "--b\r\n\r\n--b--", "()"},
      {"a short part between two others", "b",
       "--b\r\n\r\none\r\n--b\r\n\r\nx\r\n--b\r\n\r\ntwo\r\n--b--", "[(one) (two)]"},
      {"five bytes are a part", "b", "--b\r\n\r\nabc\r\n--b--", "[(abc)]"},
      {"delimiters side by side", "b", "--b\r\n--b\r\n\r\none\r\n--b--", "[(one)]"},
      {"inside a line", "b", "--b\r\n\r\none and --b\r\n\r\ntwo\r\n--b--", "[(one an) (two)]"},
      {"a delimiter behind the close", "b", "--b\r\n\r\none\r\n--b--\r\n--b\r\n\r\ntwo",
       "[(one\r\n--b--) (two)]"},
      {"trailing blank", "b", "--b \r\n\r\none\r\n--b \r\n\r\ntwo\r\n--b--", "[(one) (two)]"},
      {"blank lost from an unquoted boundary", "x=_alternative00",
       "--x=_alternative 00\r\n\r\none\r\n--x=_alternative 00--", "[(one)]"},
      {"case counts", "b", "--B\r\n\r\none\r\n--B--", "(--B\r\n\r\none\r\n--B--)"},
      {"NUL bytes in front", "b", "a\0b\r\n--b\r\n\r\none\r\n--b--"s, "[(one)]"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(shapeOf(multipart(row.body, row.boundary)), "multipart/mixed" + row.parts);
  }
}

TEST(MimeMessage2, FindsDelimitersThatEndInBareLfOrCr) {
  // Bytes are taken without the repair of line ends, so these reach the parser.
  for (const std::string_view end : {"\n"sv, "\r"sv}) {
    const std::string body = "--b" + std::string(end) + "\r\n\r\none" + std::string(end) + "--b--";
    MimeMessage2 mime;
    LogNull log;
    StringBuffer clue;
    const std::string text = multipart(body);
    ASSERT_TRUE(mime.loadMimeComplete2(text.data(), text.size(), false, clue, log, false));
    EXPECT_EQ(shape(mime), "multipart/mixed[(one)]");
  }
}

TEST(MimeMessage2, RenamesABoundaryThatIsFoundInAnsiOnly) {
  // The header says UTF-8, the delimiters are written in windows-1252.
  MimeMessage2 mime;
  LogNull log;
  const std::string text =
      multipart("--n\xE9s\r\n\r\none\r\n--n\xE9s\r\n\r\ntwo\r\n--n\xE9s--", "nés");
  TnSettings::setAnsiCodePage(1252);
  ASSERT_TRUE(mime.loadMimeComplete(text, log, true));
  TnSettings::setAnsiCodePage(0);
  EXPECT_EQ(shape(mime), "multipart/mixed[(one) (two)]");
  EXPECT_TRUE(mime.getContentType().boundary().is7bit(0));
  StringBuffer value;
  ASSERT_TRUE(mime.getHeaderFieldUtf8("Content-Type", value, log));
  EXPECT_TRUE(value.containsSubstring(mime.getContentType().boundary().view()))
      << value.getString();
}

TEST(MimeMessage2, KeepsTheSignedBytesOfTheFirstPart) {
  const std::string first = "Content-Type: text/plain;charset=utf-8\r\n\r\nsigned \r\ntext";
  const std::string text =
      "Content-Type: multipart/signed; boundary=b; protocol=\"$\"\r\n\r\n--b\r\n" + first +
      "\r\n--b\r\nContent-Type: application/x\r\n\r\nsig\r\n--b--\r\n";
  MimeMessage2 mime;
  ASSERT_TRUE(load(mime, replaced(text, "$", "application/pkcs7-signature")));
  EXPECT_EQ(mime.getSignedData().view(), first);
  ASSERT_TRUE(load(mime, replaced(text, "$", "application/pgp-signature")));
  EXPECT_TRUE(mime.getSignedData().isEmpty());
}

// --- bodies ---

TEST(MimeMessage2, BringsBodiesToUtf8) {
  const std::string latin = "text/plain; charset=iso-8859-1";
  const std::string qp = "Content-Transfer-Encoding: quoted-printable\r\n";
  const std::string b64 = "Content-Transfer-Encoding: Base64\r\n";
  const std::string attached = "Content-Disposition: Attachment\r\n";
  const std::string meta = "<meta charset=iso-8859-2";
  const std::string beyondProbe = std::string(8192, 'a') + "\xE9";
  const struct {
    const char* name;
    std::string type;
    std::string moreLines;
    std::string body;
    std::string expected;
    std::string charset = "iso-8859-1";
  } rows[] = {
      {"no charset, UTF-8 shape", "", "", "é", "é", ""},
      {"no charset, Latin-1", "", "", "\xE9", "é", ""},
      {"no charset, 8-bit behind the probe stays", "", "", beyondProbe, beyondProbe, ""},
      {"us-ascii with an 8-bit byte", "text/plain; charset=us-ascii", "", "\xE9", "é", "us-ascii"},
      {"UTF-8 under a Latin-1 label is encoded twice", latin, "", "é", "Ã©"},
      {"attachment", latin, attached, "\xE9", "\xE9", ""},
      {"image", "image/png; charset=iso-8859-1", "", "\xE9", "\xE9", ""},
      {"other application", "application/x; charset=iso-8859-1", "", "\xE9", "\xE9", ""},
      {"JSON keeps its label and its bytes", "application/json; charset=iso-8859-1", "", "\xE9",
       "\xE9"},
      {"application/xml is text", "application/xml; charset=iso-8859-1", "", "\xE9", "é"},
      {"NUL byte makes binary", latin, "", "\xE9\0x"s, "\xE9\0x"s},
      {"UTF-16", "text/plain; charset=utf-16le", b64, "aADpAA==", "hé", "unicode"},
      {"UTF-16 that is ASCII", "text/plain; charset=utf-16le", b64, "aGVsbG8=", "hello", "unicode"},
      {"unknown charset", "text/plain; charset=bogus", "", "\xE9", "é", ""},
      {"base64 with a charset", "text/plain; charset=windows-1251", b64, "4g==", "в",
       "windows-1251"},
      {"base64 without a charset", "", b64, "6Q==", "\xE9", ""},
      {"QP, UTF-8 with a wrong label and a word of it", "text/html; charset=iso-8859-1", qp,
       "<meta utf-8>=C3=A9", "<meta utf-8>é"},
      {"QP with a BOM", latin, qp, "=EF=BB=BF=C3=A9", "\xEF\xBB\xBFé"},
      {"QP entity", latin, qp, "=0020AC;", "&#8364;"},
      {"QP entity in a binary", "image/x", qp, "=0020AC;", "\0"s + "20AC;", ""},
      {"Windows text that says Latin-1", latin, qp, "=93hi=94 you", "“hi” you", "windows-1252"},
      {"its very last byte is not looked at", latin, qp, "hi=94", "hi\xC2\x94"},
      {"HTML by its meta tag", "text/html", "", meta + ">\xB1", meta + ">ą", "iso-8859-2"},
      {"the same, QP", "text/html", qp, "<meta charset=3Diso-8859-2>=B1", meta + ">ą",
       "iso-8859-2"},
      {"the same, base64", "text/html", b64, "PG1ldGEgY2hhcnNldD1pc28tODg1OS0yPrE=", meta + ">ą",
       "iso-8859-2"},
      {"a meta tag of UTF-16 without NUL bytes", "text/html", "", "<meta charset=utf-16>\x93",
       "<meta charset=utf-16>“", "windows-1252"},
      {"a meta tag of no charset", "text/html", "", "<meta charset=bogus>\xB1",
       "<meta charset=bogus>±", ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    MimeMessage2 mime;
    const std::string type = row.type.empty() ? "" : "Content-Type: " + row.type + "\r\n";
    ASSERT_TRUE(load(mime, row.moreLines + type + "X: y\r\n\r\n" + row.body));
    EXPECT_EQ(mime.getCharset().nameView(), row.charset);
    EXPECT_EQ(mime.getMimeBodyDb().view(), row.expected);
  }
}

TEST(MimeMessage2, TakesAnXHtmlBodyForHtml) {
  MimeMessage2 mime;
  ASSERT_TRUE(load(mime, "Content-Type: text/plain\r\n\r\n \r\n<X-HTML>a"));
  EXPECT_EQ(shape(mime), "text/html( \r\n<X-HTML>a)");
  LogNull log;
  StringBuffer value;
  ASSERT_TRUE(mime.getHeaderFieldUtf8("content-type", value, log));
  EXPECT_EQ(value.view(), "text/html");
}

TEST(HtmlCharset, FindsTheDeclarationInCarelessHtml) {
  const std::pair<const char*, const char*> rows[] = {
      {"<html><head><META http-equiv='Content-Type' content='text/html; charset=UTF-8'>", "UTF-8"},
      {"<meta content=\"text/html;charset = 'koi8-r'\" http-equiv=x />", "koi8-r"},
      {"<meta http-equiv=Content-Type content=text/html; charset=big5>", "big5"},
      {"<meta\r\n charset\r\n=\r\n\"gb2312\"/>", "gb2312"},
      {"<meta charset=\"utf-8>\r\n<p>", "utf-8"},
      {"<meta charset=\"\"><meta charset=x-y>", "x-y"},
      {"<meta name=description content=\"no charset here\"><meta charset=a>", "a"},
      {"<!-- <meta charset=no> --><meta charset=yes>", "yes"},
      {"<!-- never closed <meta charset=yes>", "yes"},
      {"<metadata charset=no>", ""},
      {"<body><meta charset=no>", ""},
      {"<meta charset", ""},
      {"<meta", ""},
      {"", ""},
  };
  for (const auto& [html, charset] : rows) {
    StringBuffer out("before");
    EXPECT_EQ(_tnHtmlHelp::getCharset(html, out), *charset != '\0') << html;
    EXPECT_EQ(out.view(), charset) << html;
  }
}

TEST(HtmlCharset, StaysLinear) {
  std::string html;
  while (html.size() < 3000000) html += "<!--<meta a=\"content='";
  StringBuffer out;
  // With the square of its length this would take longer than a test may.
  EXPECT_FALSE(_tnHtmlHelp::getCharset(html, out));
}

TEST(MimeMessage2, HandsTheCharsetOfABodyToLaterHeaders) {
  // Subject bytes that no rule knows but the charset of the part before.
  const std::string text = multipart(
      "--b\r\nContent-Type: text/plain; charset=koi8-r\r\n\r\nhello\r\n--b\r\nSubject: "
      "\xD7\r\n\r\nhello\r\n--b--");
  MimeMessage2 mime;
  ASSERT_TRUE(load(mime, text));
  LogNull log;
  StringBuffer subject;
  ASSERT_TRUE(mime.getPart(1)->getHeaderFieldUtf8("Subject", subject, log));
  EXPECT_EQ(subject.view(), "в");
}

// --- fields that the entity keeps at hand ---

TEST(MimeMessage2, ReadsDispositionAndFilename) {
  struct Row {
    const char* value;
    const char* disposition;
    const char* filename;
  };
  const Row rows[] = {
      {"Attachment", "attachment", ""},
      {"attachment; filename=a.txt", "attachment", "a.txt"},
      {" INLINE ;\r\n\tFileName = \"a; b.txt\"; size=3", "inline", "a; b.txt"},
      {"attachment; filename*=utf-8''caf%C3%A9", "attachment", "café"},
      {"attachment; filename*0*=utf-8''caf%C3%A9; filename*1=.txt", "attachment", "café.txt"},
      {"attachment; filename=plain; filename*=utf-8''star", "attachment", "plain"},
      {"attachment; filename*=utf-8''star; filename=plain", "attachment", "plain"},
      {"attachment; filename==?utf-8?Q?a=C3=A9?=", "attachment", "aé"},
      {"attachment; filename", "attachment", ""},
      {";;=;filename=x", "", "x"},
  };
  for (const Row& row : rows) {
    MimeMessage2 mime;
    ASSERT_TRUE(load(mime, "Content-Disposition: " + std::string(row.value) + "\r\n\r\nbody"));
    EXPECT_EQ(mime.getDisposition().view(), row.disposition) << row.value;
    EXPECT_EQ(mime.getMimeFilename().view(), row.filename) << row.value;
  }
}

TEST(MimeMessage2, ReadsContentIdAndEncodingUpToTheSemicolon) {
  MimeMessage2 mime;
  ASSERT_TRUE(load(mime,
                   "Content-ID:  <a@b>; x=y\r\nContent-Transfer-Encoding: BASE64; z\r\n\r\n"
                   "QUJD"));
  EXPECT_EQ(mime.getContentId().view(), "<a@b>");
  EXPECT_EQ(mime.getContentEncoding().view(), "BASE64");
  EXPECT_EQ(mime.getMimeBodyDb().view(), "ABC");
}

// --- hostile mail ---

TEST(MimeMessage2, StopsAtItsLimitOfLevels) {
  MimeMessage2 mime;
  ASSERT_TRUE(load(mime, multipartNested(limits::kMaxNesting)));
  EXPECT_EQ(depthOf(mime), limits::kMaxNesting);

  EXPECT_TRUE(load(mime, multipartNested(100000)));
  EXPECT_EQ(depthOf(mime), limits::kMaxNesting);
  const MimeMessage2* deepest = &mime;
  while (deepest->getNumParts() > 0) deepest = deepest->getPart(0);
  EXPECT_THAT(std::string(deepest->getMimeBodyDb().view()), testing::EndsWith("hello"));
}

TEST(MimeMessage2, StaysLinearNearBoundaries) {
  MimeMessage2 mime;
  const std::string boundary(500, '-');
  EXPECT_TRUE(load(mime, multipart(std::string(2000000, '-'), boundary)));
  EXPECT_EQ(mime.getNumParts(), 0);
}

}  // namespace
}  // namespace keldane::mime
