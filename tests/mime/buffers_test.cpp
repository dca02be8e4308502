#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <new>
#include <random>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/data_buffer.h"
#include "mime/buffers/ext_ptr_array.h"
#include "mime/buffers/psdk.h"
#include "mime/buffers/string_buffer.h"
#include "mime/buffers/xstring.h"
#include "mime/charsets/encoding_convert.h"

namespace keldane::mime {
namespace {

using namespace std::literals;

TEST(StringBufferGrowth, KeepsItsBytesAtEverySize) {
  StringBuffer sb;
  std::string wanted;
  for (int i = 0; i < 2000; ++i) {
    ASSERT_TRUE(sb.appendChar(static_cast<char>('a' + i % 26)));
    wanted += static_cast<char>('a' + i % 26);
    ASSERT_EQ(sb.view(), wanted);
  }
  for (const std::size_t size : {600U, 82U, 81U}) {
    sb.rollback(size);
    sb.minimizeMemoryUsage();
    EXPECT_EQ(sb.getCapacity(), size > 81 ? size + 1 : 0U) << size;
    EXPECT_EQ(sb.view(), wanted.substr(0, size));
  }
  sb.strongClear();
  EXPECT_TRUE(sb.append("again"));
  EXPECT_EQ(sb.view(), "again");
}

TEST(BufferGrowth, RefusesFourGigabytes) {
  StringBuffer sb("kept");
  EXPECT_FALSE(sb.expectNumBytes(std::size_t{1} << 32));
  EXPECT_FALSE(sb.expectNumBytes(0xFFFFFFFFU));
  EXPECT_EQ(sb.view(), "kept");
  DataBuffer db;
  db.append("kept"sv);
  EXPECT_EQ(db.reserveTail(0xFFFFFFFFU), nullptr);
  EXPECT_FALSE(db.ensureBuffer(std::size_t{1} << 33));
  EXPECT_EQ(db.view(), "kept");
}

TEST(BufferAppend, KeepsNulsWhereTheyArePartOfIt) {
  StringBuffer sb;
  sb.append("abc\0\0"sv);
  EXPECT_EQ(sb.getSize(), 3U);
  sb.append("\0x"sv);
  EXPECT_EQ(sb.view(), "abc\0x"sv);
  EXPECT_TRUE(sb.appendChar('\0'));
  EXPECT_EQ(sb.getSize(), 5U);
  char* tail = sb.reserveTail(200);
  std::fill(tail, tail + 200, 'q');
  tail[199] = '\0';
  sb.commitTail(200);
  EXPECT_EQ(sb.getSize(), 204U);
  DataBuffer db;
  db.append("a\0b\0"sv);
  EXPECT_EQ(db.getSize(), 4U);
  DataBuffer skipped;
  skipped.appendSkipNulls("\0a\0\0b\0"sv.data(), 6);
  EXPECT_EQ(skipped.view(), "ab");
}

TEST(BufferAppend, OfItselfIsRefusedAndOfAPieceOfItselfWorks) {
  StringBuffer sb("0123456789");
  EXPECT_FALSE(sb.append(sb));
  DataBuffer db;
  db.append("0123456789"sv);
  EXPECT_FALSE(db.append(db));
  std::string wanted = "0123456789";
  for (int i = 0; i < 13; ++i) {
    ASSERT_TRUE(sb.append(sb.view()));
    ASSERT_TRUE(db.append(db.view()));
    wanted += std::string(wanted);
  }
  EXPECT_TRUE(sb.view() == wanted && db.view() == wanted);
  EXPECT_TRUE(sb.setString(sb.view().substr(wanted.size() - 10)));
  EXPECT_TRUE(sb.prepend(sb.view().substr(0, 2)));
  EXPECT_EQ(sb.view(), "010123456789");
}

TEST(Buffers, MovingLeavesTheOtherEmpty) {
  for (const std::size_t size : {std::size_t{5}, std::size_t{500}}) {
    const std::string text(size, 'm');
    StringBuffer from(text);
    StringBuffer to("old");
    ASSERT_TRUE(to.takeSb(from));
    EXPECT_EQ(to.view(), text);
    DataBuffer db;
    db.append(text + "\0\0"s);
    ASSERT_TRUE(from.takeFromDb(db));
    EXPECT_EQ(db.getSize(), 0U);
    EXPECT_TRUE(from.append("!"));
    EXPECT_EQ(from.view(), text + "!");
    DataBuffer taken;
    db.append(text);
    ASSERT_TRUE(taken.takeData(db));
    EXPECT_FALSE(taken.takeData(taken));
    EXPECT_EQ(taken.view(), text);
    EXPECT_EQ(db.getSize(), 0U);
  }
}

TEST(StringBufferLineEnds, ToCrlfInPlaceAndToLf) {
  struct {
    const char* name;
    std::string_view in, crlf, lf;
  } const rows[] = {
      {"every kind", "a\rb\nc\r\n", "a\r\nb\r\nc\r\n", "a\rb\nc\n"},
      {"only good ones", "a\r\n\r\nb\r\n", "a\r\n\r\nb\r\n", "a\n\nb\n"},
      {"runs", "\n\n\r\r\n\r", "\r\n\r\n\r\n\r\n\r\n", "\n\n\r\n\r"},
      {"no line end", "abc", "abc", "abc"},
  };
  for (const auto& row : rows) {
    StringBuffer sb(row.in);
    const char* before = sb.getString();
    sb.toCRLF();
    EXPECT_EQ(sb.view(), row.crlf) << row.name;
    EXPECT_EQ(sb.getString(), before) << row.name;
    sb.setString(row.in);
    sb.toLF();
    EXPECT_EQ(sb.view(), row.lf) << row.name;
  }
  StringBuffer big(std::string(1000, '\n'));
  big.toCRLF();
  EXPECT_EQ(big.getSize(), 2000U);
}

TEST(StringBufferText, TrimsAndCollapses) {
  StringBuffer sb(" \t\r\n a \t b\xA0\v \r\n");
  sb.trim2();
  EXPECT_EQ(sb.view(), "a \t b\xA0\v");
  sb.setString("  a\t\r\n b  ");
  sb.trimInsideSpaces();
  EXPECT_EQ(sb.view(), " a b ");
}

TEST(StringBufferText, TestsStopAtTheFirstNul) {
  const StringBuffer sb("Abc\0def"sv);
  EXPECT_TRUE(sb.equals("Abc") && sb.equalsIgnoreCase("aBC") && sb.endsWith("bc"));
  EXPECT_FALSE(sb.containsSubstring("def") || sb.containsChar('d'));
  EXPECT_EQ(sb.countCharOccurances('e'), 0);
  EXPECT_TRUE(sb.matches("a*C", false));
  EXPECT_FALSE(sb.equalsIgnoreCase2("abc", 3)) << "this one takes the stored length";
}

TEST(StringBufferText, EqualsIgnoreCase2ComparesLettersAlone) {
  const StringBuffer sb("Content-Transfer-Encoding");
  EXPECT_TRUE(sb.equalsIgnoreCase2("content-transfer-encoding", 25));
  EXPECT_FALSE(sb.equalsIgnoreCase2("content-transfer-encoding", 24));
  // '@' and '`' differ by the bit that letters differ by, and so do '[' and '{'.
  EXPECT_FALSE(StringBuffer("@bcdefgh").equalsIgnoreCase2("`bcdefgh", 8));
  EXPECT_FALSE(StringBuffer("abcdefg[").equalsIgnoreCase2("abcdefg{", 8));
  EXPECT_FALSE(StringBuffer("abcdefg\xC4").equalsIgnoreCase2("abcdefg\xE4", 8));
}

TEST(StringBufferText, MatchesWildcards) {
  for (const char* pattern : {"*", "text/*", "*/html", "t*t*h*l", "**html**", "text/html*"}) {
    EXPECT_TRUE(StringBuffer("text/html").matches(pattern, true)) << pattern;
  }
  for (const char* pattern : {"text/", "*x", "", "TEXT/*"}) {
    EXPECT_FALSE(StringBuffer("text/html").matches(pattern, true)) << pattern;
  }
}

TEST(StringBufferSurgery, ReplacesAndCuts) {
  StringBuffer sb("aXbXXc");
  EXPECT_EQ(sb.replaceAllOccurances("X", "--"), 3);
  EXPECT_EQ(sb.replaceAllOccurances("", "?"), 0);
  EXPECT_TRUE(sb.replaceFirstOccurance("B", "_", true));
  EXPECT_FALSE(sb.replaceFirstOccurance("B", "_", false));
  EXPECT_EQ(sb.view(), "a--_----c");
  sb.chopAtFirstChar('_');
  EXPECT_EQ(sb.view(), "a--");
  sb.shorten(99);
  EXPECT_TRUE(sb.isEmpty());
  sb.setString("<b>1</b><B>2</B><b>3");
  EXPECT_TRUE(sb.replaceAllBetween("<b>", "</b>", "x", true));
  EXPECT_EQ(sb.view(), "<b>x</b><B>x</B><b>3");
  StringBuffer between;
  EXPECT_TRUE(sb.getBetween("<B>", "</B>", between));
  EXPECT_EQ(between.view(), "x");
  EXPECT_FALSE(sb.getBetween("<i>", "</i>", between));
  sb.setString("abcdefabcdef");
  sb.replaceChar5("acegik", '.');
  EXPECT_EQ(sb.view(), ".b.d.f.b.d.f");
}

TEST(StringBufferSplit, AtSeparatorsAndLineEnds) {
  const auto texts = [](const ExtPtrArraySb& list) {
    std::vector<std::string> out;
    for (int i = 0; i < list.getSize(); ++i) out.emplace_back(list.viewAt(i));
    return out;
  };
  const std::tuple<std::string_view, bool, std::vector<std::string>> rows[] = {
      {"a;;c;", true, {"a", "", "c"}},
      {R"(n="x;y";z)", true, {R"(n="x;y")", "z"}},
      {R"(n="x;y")", false, {R"(n="x)", R"(y")"}},
      {R"(a\;b;c)", true, {R"(a\;b)", "c"}},
      {R"("a\";b";c)", true, {R"("a\";b")", "c"}},
      {R"("a;b;c)", true, {R"("a;b;c)"}},
      {"", true, {}},
  };
  for (const auto& [text, quoted, pieces] : rows) {
    ExtPtrArraySb list;
    ASSERT_TRUE(split(text, list, ';', quoted, true));
    EXPECT_EQ(texts(list), pieces) << text;
  }
  ExtPtrArraySb lines;
  splitIntoLines("a\r\n\r\nb\rc\nd", lines, 1);
  EXPECT_EQ(texts(lines), (std::vector<std::string>{"a", "", "b", "c", "d"}));
}

TEST(StringBufferSplit, AttrValue) {
  struct {
    std::string_view text;
    bool unquote;
    std::string_view attr, value;
  } const rows[] = {
      {"  name = x.txt", true, "name", "x.txt"},
      {"name=\"a b\" ", true, "name", "a b"},
      {"name=\"a b\"", false, "name", "\"a b\""},
      {"name=\"a b", true, "name", "a b"},
      {"a=b=c", true, "a", "b=c"},
      {" text/plain ", true, "text/plain", ""},
  };
  for (const auto& row : rows) {
    StringBuffer attr("old");
    StringBuffer value("old");
    StringBuffer(row.text).splitAttrValue(attr, value, row.unquote);
    EXPECT_EQ(attr.view(), row.attr) << row.text;
    EXPECT_EQ(value.view(), row.value) << row.text;
  }
}

TEST(StringBufferText, CountsImprobableAnsiBytes) {
  std::string all;
  for (int c = 1; c < 256; ++c) all += static_cast<char>(c);
  int n8 = 0;
  int improbable = 0;
  StringBuffer(all).countImprobableAnsiChars(n8, improbable);
  EXPECT_EQ(n8, 128);
  EXPECT_EQ(improbable, 1 + 1 + 8 + 5 + 4 + 17);
  StringBuffer("\xE9\xA9\xAE").countImprobableAnsiChars(n8, improbable);
  EXPECT_EQ(improbable, 0);
}

TEST(DataBuffer, CopiesBorrowedBytesBeforeItChangesThem) {
  const std::string foreign = "abc";
  DataBuffer db;
  db.borrowData(foreign.data(), foreign.size());
  db.replaceChar('b', 'B');
  EXPECT_EQ(db.view(), "aBc");
  db.borrowData(foreign.data(), foreign.size());
  EXPECT_TRUE(db.append("d"sv));
  EXPECT_FALSE(db.isBorrowed());
  EXPECT_EQ(db.view(), "abcd");
  db.borrowData(foreign.data(), foreign.size());
  EXPECT_TRUE(db.appendChar('!'));
  EXPECT_EQ(db.view(), "abc!");
  EXPECT_EQ(foreign, "abc");
}

TEST(DataBuffer, SearchLimit) {
  DataBuffer db;
  db.append("xx<meta charset"sv);
  EXPECT_TRUE(db.containsSubstring("meta", 0) && db.containsSubstring("meta", 7));
  EXPECT_FALSE(db.containsSubstring("meta", 6));
  EXPECT_EQ(db.findBytes("x", 1), db.getData2() + 1);
}

TEST(DataBuffer, DetectsObviousCodePages) {
  struct {
    const char* name;
    std::string bytes;
    int page;
  } const rows[] = {
      {"UTF-16LE BOM", "\xFF\xFE", 1200},
      {"UTF-16BE BOM", "\xFE\xFF", 1201},
      {"UTF-8 BOM", "\xEF\xBB\xBFx", 65001},
      {"UTF-32LE BOM is taken for UTF-16", "\xFF\xFE\0\0"s, 1200},
      {"UTF-32BE BOM", "\0\0\xFE\xFF"s, 12001},
      {"NULs at odd places", "w\0i\0d\0e\0"s, 1200},
      {"NULs at even places", "\0w\0i\0d\0e"s, 1201},
      {"more than 32 NULs", std::string(1000, 'x') + std::string(70, '\0'), 1200},
      {"one NUL in seven bytes", "abc\0efg"s, 1200},
      {"one NUL in sixteen bytes", "abc\0efghijklmnop"s, -1},
      {"nothing", "", -1},
  };
  for (const auto& row : rows) {
    DataBuffer db;
    db.append(row.bytes);
    EXPECT_EQ(db.detectObviousCodePage(), row.page) << row.name;
  }
}

TEST(DataBuffer, IsReallyUtf8OnlyWhenThePageCannotBeConverted) {
  DataBuffer db;
  db.append("caf\xC3\xA9"sv);
  // A conversion succeeds however many bytes the page lacks, so no convertible page gives true.
  EXPECT_FALSE(isReallyUtf8(db, 28591) || isReallyUtf8(db, 1252));
  EXPECT_TRUE(isReallyUtf8(db, 29001) && isReallyUtf8(db, 1));
  DataBuffer cut;
  cut.append("cafe\xC3"sv);
  EXPECT_FALSE(isReallyUtf8(cut, 29001));
}

class Counted : public TarnellObject {
 public:
  explicit Counted(int& alive) : alive_(alive) { ++alive_; }
  ~Counted() override { --alive_; }

 private:
  int& alive_;
};

TEST(ExtPtrArray, OwnsItsObjectsAndHandsThemOut) {
  int alive = 0;
  {
    ExtPtrArray<Counted> array;
    for (int i = 0; i < 40; ++i) ASSERT_TRUE(array.appendObject(std::make_unique<Counted>(alive)));
    Counted* first = array.elementAt(0);
    const std::unique_ptr<Counted> taken(array.removeAt(1));
    EXPECT_EQ(array.elementAt(0), first);
    EXPECT_EQ(array.getSize(), 39);
    EXPECT_EQ(array.elementAt(39), nullptr);
    EXPECT_EQ(array.elementAt(-1), nullptr);
    EXPECT_EQ(alive, 40);
  }
  EXPECT_EQ(alive, 0);
}

TEST(ExtPtrArray, RefusesADeadObject) {
  int alive = 0;
  alignas(Counted) std::byte place[sizeof(Counted)];
  ExtPtrArray<Counted> array;
  array.setOwnsObjects(false);
  auto* object = new (static_cast<void*>(place)) Counted(alive);
  ASSERT_TRUE(array.appendObject(object));
  object->~Counted();
  const int before = Psdk::numBadObjectsFound();
  EXPECT_EQ(array.elementAt(0), nullptr);
  EXPECT_EQ(array.removeAt(0), nullptr);
  EXPECT_EQ(Psdk::numBadObjectsFound(), before + 2);
}

class XStringTest : public ::testing::Test {
 protected:
  void SetUp() override { TnSettings::setAnsiCodePage(1252); }
  void TearDown() override { TnSettings::setAnsiCodePage(0); }
  XString text_;
};

TEST_F(XStringTest, EverySetterFromUtf8StripsTheBom) {
  constexpr std::string_view kText = "\xEF\xBB\xBFé";
  EXPECT_STREQ(text_.getUtf8(), "");
  EXPECT_STREQ(text_.getAnsi(), "");
  text_.setFromUtf8(kText);
  EXPECT_EQ(text_.utf8View(), "é");
  text_.setFromSbUtf8(StringBuffer(kText));
  EXPECT_EQ(text_.utf8View(), "é");
  StringBuffer taken(kText);
  text_.takeFromUtf8Sb(taken);
  EXPECT_EQ(text_.utf8View(), "é");
  text_.setFromDual(kText, true);
  EXPECT_EQ(text_.utf8View(), "é");
}

TEST_F(XStringTest, BuildsAndDropsTheOtherViews) {
  text_.setFromAnsi("\x80 \xE9");
  EXPECT_EQ(text_.utf8View(), "€ é");
  text_.appendUtf8("è");
  text_.getUtf8Sb_rw().append("!");
  EXPECT_STREQ(text_.getAnsi(), "\x80 \xE9\xE8!");
  const char16_t wide[] = {0x20AC, 0xD83D, 0xDE00};
  text_.setFromWide(wide, sizeof wide, true);
  EXPECT_EQ(text_.utf8View(), "€😀");
  const char32_t wider[] = {0x1F600};
  text_.setFromWide(wider, sizeof wider, false);
  EXPECT_EQ(text_.utf8View(), "😀");
}

TEST_F(XStringTest, CopiesWhateverViewThereIs) {
  text_.setFromAnsi("\xE9");
  XString copy(text_);
  copy.appendX(text_);
  EXPECT_EQ(copy.replaceAllOccurancesUtf8("é", "e"), 2);
  EXPECT_TRUE(copy.is7bit());
  DataBuffer wide;
  EXPECT_TRUE(copy.getConverted_cp(1201, wide));
  EXPECT_EQ(wide.view(), "\0e\0e"sv);
  DataBuffer marked;
  marked.append("\xFE\xFF\0A\x20\xAC"sv);
  StringBuffer utf8;
  EXPECT_TRUE(cvUnicodeToUtf8(marked, utf8));
  EXPECT_EQ(utf8.view(), "A€");
}

/// Short alphabets make near misses common.
std::string randomText(std::mt19937& random, std::size_t size, std::string_view alphabet) {
  std::string text;
  for (std::size_t i = 0; i < size; ++i) text += alphabet[random() % alphabet.size()];
  return text;
}

TEST(ByteSearch, FindsWhatAPlainSearchFinds) {
  std::mt19937 random(7);
  for (int round = 0; round < 20000; ++round) {
    const std::string hay = randomText(random, random() % 90, "abB\0-"sv);
    const std::string needle = randomText(random, 1 + random() % 5, "abB\0-"sv);
    const std::size_t from = random() % 8;
    ASSERT_EQ(findBytes(hay, needle, from), hay.find(needle, from)) << hay << " / " << needle;
    std::string lowHay = hay;
    std::string lowNeedle = needle;
    for (char& c : lowHay) c = asciiLower(c);
    for (char& c : lowNeedle) c = asciiLower(c);
    ASSERT_EQ(findBytesNoCase(hay, needle, from), lowHay.find(lowNeedle, from));
  }
}

TEST(ByteSearch, Edges) {
  EXPECT_EQ(findBytes("abc", ""), std::string_view::npos);
  EXPECT_EQ(findBytes("abc", "c", 9), std::string_view::npos);
  EXPECT_EQ(tn_binstrstr(nullptr, 3, "a", 1), nullptr);
  EXPECT_EQ(findBytesNoCase("[\xC4", "{"), std::string_view::npos);
  EXPECT_EQ(findBytesNoCase("[\xC4", "\xE4"), std::string_view::npos);
  const std::string longNeedle(200, 'n');
  EXPECT_EQ(findBytes("x" + longNeedle, longNeedle), 1U);
}

TEST(ByteSearch, AsciiRuns) {
  for (std::size_t size = 0; size < 150; ++size) {
    std::string text(size, 'a');
    EXPECT_TRUE(isAllAscii(text));
    for (std::size_t at = 0; at < size; at += 7) {
      text[at] = '\x80';
      EXPECT_FALSE(isAllAscii(text));
      EXPECT_EQ(asciiRunLength(text.data(), text.size()), at);
      text[at] = 'a';
    }
  }
}

TEST(Utf8Check, AcceptsOnlyWellFormedText) {
  struct {
    const char* name;
    std::string_view bytes;
    bool good;
  } const rows[] = {
      {"nothing", "", true},
      {"every length", "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", true},
      {"NUL", "a\0b"sv, true},
      {"last code point", "\xF4\x8F\xBF\xBF", true},
      {"above it", "\xF4\x90\x80\x80", false},
      {"overlong slash", "\xC0\xAF", false},
      {"overlong of three", "\xE0\x9F\xBF", false},
      {"overlong of four", "\xF0\x8F\xBF\xBF", false},
      {"surrogate", "\xED\xA0\x80", false},
      {"last before the surrogates", "\xED\x9F\xBF", true},
      {"lone continuation", "a\x80", false},
      {"cut short", "a\xE2\x82", false},
      {"lead then ASCII", "\xC3g", false},
      {"five byte form", "\xF8\x88\x80\x80\x80", false},
      {"behind a long run", "0123456789012345678901234567890123456789\xFF", false},
  };
  for (const auto& row : rows) EXPECT_EQ(isValidUtf8(row.bytes), row.good) << row.name;
}

TEST(Utf8Check, ALimitMayCutASequenceButNotHideABadOne) {
  const std::string_view euro = "ab\xE2\x82\xAC";
  for (std::size_t limit = 0; limit <= 6; ++limit) EXPECT_TRUE(isValidUtf8Limited(euro, limit));
  EXPECT_FALSE(isValidUtf8Limited("ab\xE2\x82", 9));
  EXPECT_FALSE(isValidUtf8Limited("ab\xE2\x82zz", 4));
  EXPECT_TRUE(isValidUtf8Limited("ab\xFF", 2));
}

TEST(Utf8Check, LatinShape) {
  EXPECT_TRUE(hasLatinUtf8Shape("0123456789012345\xC3\xA9"));
  EXPECT_TRUE(hasLatinUtf8Shape("\xFF\xC2\x80"));
  EXPECT_FALSE(hasLatinUtf8Shape("\303e\xC2"));
  EXPECT_FALSE(hasLatinUtf8Shape("\xE2\x82\xAC"));
}

TEST(ByteSearch, Iso2022Escapes) {
  EXPECT_TRUE(hasIso2022JpEscape("x\x1B$@\x1B(B"));
  EXPECT_TRUE(hasIso2022JpEscape("\x1B$B"));
  EXPECT_FALSE(hasIso2022JpEscape("\x1B$A \x1B(J \x1B"));
}

}  // namespace
}  // namespace keldane::mime
