#include "mime/headers/email_address.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "mime/buffers/log_base.h"
#include "mime/headers/type_table.h"
#include "tests/mime/mail_builder.h"

namespace keldane::mime {
namespace {

using namespace std::string_literals;

/// One entry as "name|address".
std::string entryText(const _tnEmailAddress& entry) {
  return std::string(entry.name().utf8View()) + "|" + std::string(entry.address().utf8View());
}

std::string listText(std::string_view value) {
  LogNull log;
  ExtPtrArray<_tnEmailAddress> list;
  _tnEmailAddress::parseAndLoadList(value, list, 0, log);
  std::string text;
  for (int i = 0; i < list.getSize(); ++i) {
    text += (i == 0 ? "" : " & ") + entryText(*list.elementAt(i));
  }
  return text;
}

std::string singleText(std::string_view value) {
  LogNull log;
  _tnEmailAddress entry;
  return entry.loadSingleEmailAddr(value, 0, log) ? entryText(entry) : "(none)";
}

std::string shown(std::string_view value) {
  LogNull log;
  _tnEmailAddress entry;
  entry.loadSingleEmailAddr(value, 0, log);
  std::string out;
  entry.emitSelfAsMimeField(out);
  return out;
}

/// `text` as an encoded word, `times` times over.
std::string inWords(std::string text, int times) {
  for (int i = 0; i < times; ++i) {
    std::string word = "=?utf-8?Q?";
    for (const char c : text) {
      if (std::string_view("=?_ ,\"").find(c) == std::string_view::npos) {
        word += c;
      } else {
        word += '=';
        word += "0123456789ABCDEF"[c >> 4];
        word += "0123456789ABCDEF"[c & 15];
      }
    }
    text = word + "?=";
  }
  return text;
}

void check(std::string (*read)(std::string_view value), const std::vector<TextRow>& rows) {
  for (const TextRow& row : rows) EXPECT_EQ(read(row.in), row.out) << row.name;
}

TEST(AddressList, GivesEntries) {
  check(listText,
        {
            {"Bare", "a@b.c", "|a@b.c"},
            {"TwoBare", "a@b.c, d@e.f", "|a@b.c & |d@e.f"},
            {"Semicolon", "a@b.c; d@e.f;", "|a@b.c & |d@e.f"},
            {"Bracketed", "<a@b.c>", "|a@b.c"},
            {"NameOfWords", "John Doe <j@x.y>", "John Doe|j@x.y"},
            {"QuotedName", "\"Doe, John\" <j@x.y>", "Doe, John|j@x.y"},
            {"EscapedQuotes", R"("John \"Jo\" \\ Doe" <j@x.y>)", R"(John "Jo" \ Doe|j@x.y)"},
            {"NameInFrontOfBareAddress", "John j@x.y", "John|j@x.y"},
            {"UnquotedComma", "Doe, John <j@x.y>", "|Doe & John|j@x.y"},
            {"EmptyGroup", "undisclosed-recipients:;", "|undisclosed-recipients:"},
            {"NameWithoutAddress", "Mailer Daemon, a@b.c", "|Mailer Daemon & |a@b.c"},
            {"LocalAddressInBrackets", "Root <root>", "Root|root"},
            {"BlankInsideBrackets", "<john doe@x.y>", "|john doe@x.y"},
            {"EmptyBrackets", "<>", ""},
            {"OnlySeparators", " ,; ,", ""},
            {"Empty", "", ""},
            {"EmptyBracketsLendTheirName", "Mailer <>, a@b.c", "Mailer|a@b.c"},
            {"DoubleBrackets", "<<a@b.c>>", "|a@b.c"},
            {"MissingEndBracket", "John <j@x.y, d@e.f", "John|j@x.y & |d@e.f"},
            {"NoBracketEndAtAll", "John <j", "|j"},
            {"Folded", "a@b.c,\r\n\td@e.f", "|a@b.c & |d@e.f"},
            {"EncodedName", "=?utf-8?Q?J=C3=B6rg?= <j@x.y>", "Jörg|j@x.y"},
            {"LowerCaseWord", "=?utf-8?q?J=C3=B6rg?= <j@x.y>", "Jörg|j@x.y"},
            {"BlanksInsideWord", "=?utf-8?Q?A B?= <j@x.y>", "A B|j@x.y"},
            {"WordsJoin", "=?utf-8?Q?A?= =?utf-8?Q?B?= <j@x.y>", "AB|j@x.y"},
            {"PlainThenEncoded", "Dr =?utf-8?Q?B?= <j@x.y>", "Dr B|j@x.y"},
            {"QuotedThenPlainJoin", "\"A\" B <j@x.y>", "AB|j@x.y"},
            {"EncodedInsideQuotes", "\"=?utf-8?Q?A_B?=\" <j@x.y>", "A B|j@x.y"},
            {"BrokenWordIsPassedOver", "=?utf-8?Q?John Doe <j@x.y>, d@e.f", "Doe|j@x.y & |d@e.f"},
            {"WholeValueEncoded", "=?utf-8?Q?a=40b=2Ec,_d=40e=2Ef?=", "|a@b.c & |d@e.f"},
            {"EntryInWord", "a@b.c, =?utf-8?Q?J_=3Cj=40x=2Ey=3E?=, d@e.f",
             "|a@b.c & J|j@x.y & |d@e.f"},
            {"WordOfNothing", "a@b.c, =?utf-8?Q?_?=, d@e.f", "|a@b.c & |d@e.f"},
            {"X400", "\"/C=de/A=x y/\"@gate.way", "|\"/C=de/A=x y/\"@gate.way"},
            {"X500", "<CN=John/O=Acme>", "|CN=John/O=Acme"},
            {"NulEndsTheText", "a@b.c\0, d@e.f"s, "|a@b.c"},
            {"UnendedQuote", "\"John <j@x.y>", "|John <j@x.y>"},
        });
}

TEST(SingleAddress, GivesOneEntry) {
  check(singleText, {
                        {"Plain", "John Doe <j@x.y>", "John Doe|j@x.y"},
                        {"FirstOfMany", "a@b.c, d@e.f", "|a@b.c"},
                        {"Nothing", "", "(none)"},
                        {"AddressAsName", "j@x.y <j@x.y>", "j@x.y|j@x.y"},
                        {"AddressInQuotedName", "\"John <jd@z.a>\" <j@x.y>", "John <jd@z.a>|j@x.y"},
                        {"OtherAddressBehind", "John <j@x.y> d@e.f", "John|j@x.y"},
                        {"QuotedLocalPart", "\"a b\"@c.d", "|\"a b\"@c.d"},
                        {"QuotedLocalPartBracketed", "\"Joe\" <\"a b\"@c.d>", "Joe|\"a b\"@c.d"},
                        {"UnquotedComma", "Doe, John <j@x.y>", "Doe, John|j@x.y"},
                        {"CommaInBrackets", "John < j,d@x.y>", "John|j,d@x.y"},
                        {"EncodedWithAt", "=?utf-8?Q?j@x.y?= <j@x.y>", "j@x.y|j@x.y"},
                        {"EncodedWithComma", "=?utf-8?Q?Doe, J?= <j@x.y>", "Doe, J|j@x.y"},
                        {"WholeEncoded", "=?utf-8?Q?J_=3Cj=40x=2Ey=3E?=", "J|j@x.y"},
                        {"BracketsInQuotes", "\"<j@x.y>\"", "|j@x.y"},
                        {"MarkerTextOfTheSender", "_ATSYM_ <_COMMA_IN_ADDR_@x.y>",
                         "_ATSYM_|_COMMA_IN_ADDR_@x.y"},
                    });
}

TEST(ShownAddress, IsWritten) {
  check(shown, {
                   {"BareAddress", "<j@x.y>", "j@x.y"},
                   {"OneWord", "John <j@x.y>", "John <j@x.y>"},
                   {"BlankNeedsQuotes", "John Doe <j@x.y>", "\"John Doe\" <j@x.y>"},
                   {"DotNeedsQuotes", "J.D <j@x.y>", "\"J.D\" <j@x.y>"},
                   {"NonAsciiStaysBare", "\"Jörg Doe\" <j@x.y>", "Jörg Doe <j@x.y>"},
                   {"TabStaysBare", "\"A\tB C\" <j@x.y>", "A\tB C <j@x.y>"},
               });
}

TEST(AddressParser, StopsAtTheDepthLimitKeepingWhatItHas) {
  LogNull log;
  for (const auto& [levels, ok, entries] : {std::tuple{3, true, 2}, std::tuple{60, false, 1}}) {
    ExtPtrArray<_tnEmailAddress> list;
    const std::string value = "a@b.c, " + inWords("x@y.z", levels) + ", d@e.f,";
    EXPECT_EQ(_tnEmailAddress::parseAndLoadList(value, list, 0, log), ok) << levels;
    EXPECT_GE(list.getSize(), entries) << levels;
    EXPECT_EQ(entryText(*list.elementAt(0)), "|a@b.c");
  }
  ExtPtrArray<_tnEmailAddress> list;
  EXPECT_FALSE(_tnEmailAddress::parseAndLoadList("a@b.c", list, 33, log));
}

TEST(AddressParser, SurvivesHostileText) {
  const auto repeat = [](std::string_view text, std::size_t bytes) {
    std::string all;
    while (all.size() < bytes) all += text;
    return all;
  };
  // Quadratic work on these would run into the time that the runner of the tests allows.
  constexpr std::size_t kSize = 300000;
  for (const std::string_view unit :
       {"<", "<a ", "\"", "\\\"", "=?", "=?a?Q?", "=?a?Q? ", "a <b ", "\"a@", "@<", "a@b.c <d>",
        "\"a\" <\"b\"@", "\"/C=\"@", "?="}) {
    const std::string value = repeat(unit, kSize);
    listText(value);
    singleText(value);
  }
  // Words inside words, around an address that is read again for its brackets.
  const std::string nested = inWords("\"<" + repeat("a", kSize) + ">\"", 40);
  EXPECT_FALSE(listText("x, " + nested).empty());
}

TEST(TypeTable, TakesTheFirstRow) {
  EXPECT_EQ(TypeTable::extensionForType("IMAGE/jpeg"), "jpg");
  EXPECT_EQ(TypeTable::extensionForType("application/octet-stream"), "dat");
  EXPECT_EQ(TypeTable::extensionForType("x-world/x-vrml"), "flr");
  EXPECT_EQ(TypeTable::extensionForType("application/x-nothing"), "");
  EXPECT_EQ(TypeTable::typeForExtension("JPEG"), "image/jpeg");
  EXPECT_EQ(TypeTable::typeForExtension("p7m"), "application/x-pkcs7-mime");
}

}  // namespace
}  // namespace keldane::mime
