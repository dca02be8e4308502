#include "mime/headers/email_address.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "mime/buffers/log_base.h"
#include "mime/headers/type_table.h"

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

struct Row {
  const char* name;
  std::string value;
  std::string expected;
};

class AddressList : public testing::TestWithParam<Row> {};
class SingleAddress : public testing::TestWithParam<Row> {};
class ShownAddress : public testing::TestWithParam<Row> {};

std::string rowName(const testing::TestParamInfo<Row>& info) { return info.param.name; }

TEST_P(AddressList, GivesEntries) { EXPECT_EQ(listText(GetParam().value), GetParam().expected); }
TEST_P(SingleAddress, GivesEntry) { EXPECT_EQ(singleText(GetParam().value), GetParam().expected); }
TEST_P(ShownAddress, IsWritten) { EXPECT_EQ(shown(GetParam().value), GetParam().expected); }

INSTANTIATE_TEST_SUITE_P(
    Forms, AddressList,
    testing::Values(
        Row{"Bare", "a@b.c", "|a@b.c"}, Row{"TwoBare", "a@b.c, d@e.f", "|a@b.c & |d@e.f"},
        Row{"Semicolon", "a@b.c; d@e.f;", "|a@b.c & |d@e.f"}, Row{"Bracketed", "<a@b.c>", "|a@b.c"},
        Row{"NameOfWords", "John Doe <j@x.y>", "John Doe|j@x.y"},
        Row{"QuotedName", "\"Doe, John\" <j@x.y>", "Doe, John|j@x.y"},
        Row{"EscapedQuotes", R"("John \"Jo\" \\ Doe" <j@x.y>)", R"(John "Jo" \ Doe|j@x.y)"},
        Row{"NameInFrontOfBareAddress", "John j@x.y", "John|j@x.y"},
        Row{"UnquotedComma", "Doe, John <j@x.y>", "|Doe & John|j@x.y"},
        Row{"EmptyGroup", "undisclosed-recipients:;", "|undisclosed-recipients:"},
        Row{"NameWithoutAddress", "Mailer Daemon, a@b.c", "|Mailer Daemon & |a@b.c"},
        Row{"LocalAddressInBrackets", "Root <root>", "Root|root"},
        Row{"BlankInsideBrackets", "<john doe@x.y>", "|john doe@x.y"},
        Row{"EmptyBrackets", "<>", ""}, Row{"OnlySeparators", " ,; ,", ""}, Row{"Empty", "", ""},
        Row{"EmptyBracketsLendTheirName", "Mailer <>, a@b.c", "Mailer|a@b.c"},
        Row{"DoubleBrackets", "<<a@b.c>>", "|a@b.c"},
        Row{"MissingEndBracket", "John <j@x.y, d@e.f", "John|j@x.y & |d@e.f"},
        Row{"NoBracketEndAtAll", "John <j", "|j"},
        Row{"Folded", "a@b.c,\r\n\td@e.f", "|a@b.c & |d@e.f"},
        Row{"EncodedName", "=?utf-8?Q?J=C3=B6rg?= <j@x.y>", "J\xC3\xB6rg|j@x.y"},
        Row{"LowerCaseWord", "=?utf-8?q?J=C3=B6rg?= <j@x.y>", "J\xC3\xB6rg|j@x.y"},
        Row{"BlanksInsideWord", "=?utf-8?Q?A B?= <j@x.y>", "A B|j@x.y"},
        Row{"WordsJoin", "=?utf-8?Q?A?= =?utf-8?Q?B?= <j@x.y>", "AB|j@x.y"},
        Row{"PlainThenEncoded", "Dr =?utf-8?Q?B?= <j@x.y>", "Dr B|j@x.y"},
        Row{"QuotedThenPlainJoin", "\"A\" B <j@x.y>", "AB|j@x.y"},
        Row{"EncodedInsideQuotes", "\"=?utf-8?Q?A_B?=\" <j@x.y>", "A B|j@x.y"},
        Row{"BrokenWordIsPassedOver", "=?utf-8?Q?John Doe <j@x.y>, d@e.f", "Doe|j@x.y & |d@e.f"},
        Row{"WholeValueEncoded", "=?utf-8?Q?a=40b=2Ec,_d=40e=2Ef?=", "|a@b.c & |d@e.f"},
        Row{"EntryInWord", "a@b.c, =?utf-8?Q?J_=3Cj=40x=2Ey=3E?=, d@e.f",
            "|a@b.c & J|j@x.y & |d@e.f"},
        Row{"WordOfNothing", "a@b.c, =?utf-8?Q?_?=, d@e.f", "|a@b.c & |d@e.f"},
        Row{"X400", "\"/C=de/A=x y/\"@gate.way", "|\"/C=de/A=x y/\"@gate.way"},
        Row{"X500", "<CN=John/O=Acme>", "|CN=John/O=Acme"},
        Row{"NulEndsTheText", "a@b.c\0, d@e.f"s, "|a@b.c"},
        Row{"UnendedQuote", "\"John <j@x.y>", "|John <j@x.y>"}),
    rowName);

INSTANTIATE_TEST_SUITE_P(
    Forms, SingleAddress,
    testing::Values(Row{"Plain", "John Doe <j@x.y>", "John Doe|j@x.y"},
                    Row{"FirstOfMany", "a@b.c, d@e.f", "|a@b.c"}, Row{"Nothing", "", "(none)"},
                    Row{"AddressAsName", "j@x.y <j@x.y>", "j@x.y|j@x.y"},
                    Row{"AddressInQuotedName", "\"John <jd@z.a>\" <j@x.y>", "John <jd@z.a>|j@x.y"},
                    Row{"OtherAddressBehind", "John <j@x.y> d@e.f", "John|j@x.y"},
                    Row{"QuotedLocalPart", "\"a b\"@c.d", "|\"a b\"@c.d"},
                    Row{"QuotedLocalPartBracketed", "\"Joe\" <\"a b\"@c.d>", "Joe|\"a b\"@c.d"},
                    Row{"UnquotedComma", "Doe, John <j@x.y>", "Doe, John|j@x.y"},
                    Row{"CommaAndEscapedQuotes", R"("Doe, \"J\"" <j@x.y>)", "Doe, \"J\"|j@x.y"},
                    Row{"CommaInBrackets", "John < j,d@x.y>", "John|j,d@x.y"},
                    Row{"EncodedWithAt", "=?utf-8?Q?j@x.y?= <j@x.y>", "j@x.y|j@x.y"},
                    Row{"EncodedWithComma", "=?utf-8?Q?Doe, J?= <j@x.y>", "Doe, J|j@x.y"},
                    Row{"WholeEncoded", "=?utf-8?Q?J_=3Cj=40x=2Ey=3E?=", "J|j@x.y"},
                    Row{"BracketsInQuotes", "\"<j@x.y>\"", "|j@x.y"},
                    Row{"MarkerTextOfTheSender", "_ATSYM_ <_COMMA_IN_ADDR_@x.y>",
                        "_ATSYM_|_COMMA_IN_ADDR_@x.y"}),
    rowName);

INSTANTIATE_TEST_SUITE_P(
    Forms, ShownAddress,
    testing::Values(Row{"BareAddress", "<j@x.y>", "j@x.y"},
                    Row{"OneWord", "John <j@x.y>", "John <j@x.y>"},
                    Row{"BlankNeedsQuotes", "John Doe <j@x.y>", "\"John Doe\" <j@x.y>"},
                    Row{"DotNeedsQuotes", "J.D <j@x.y>", "\"J.D\" <j@x.y>"},
                    Row{"NonAsciiStaysBare", "\"J\xC3\xB6rg Doe\" <j@x.y>",
                        "J\xC3\xB6rg Doe <j@x.y>"},
                    Row{"TabStaysBare", "\"A\tB C\" <j@x.y>", "A\tB C <j@x.y>"}),
    rowName);

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
