#include "mime/buffers/string_buffer.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "mime/buffers/data_buffer.h"
#include "mime/buffers/ext_ptr_array.h"
#include "mime/buffers/parse_engine.h"
#include "mime/buffers/psdk.h"

namespace keldane::mime {
namespace {

using namespace std::string_view_literals;

std::vector<std::string> texts(const ExtPtrArraySb& list) {
  std::vector<std::string> out;
  for (int i = 0; i < list.getSize(); ++i) out.emplace_back(list.viewAt(i));
  return out;
}

TEST(StringBufferGrowth, KeepsItsBytesAtEverySize) {
  StringBuffer sb;
  std::string wanted;
  for (int i = 0; i < 2000; ++i) {
    ASSERT_TRUE(sb.appendChar(static_cast<char>('a' + i % 26)));
    wanted += static_cast<char>('a' + i % 26);
    ASSERT_EQ(sb.view(), wanted);
  }
  EXPECT_GT(sb.getCapacity(), 2000U);
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

TEST(StringBufferGrowth, RefusesFourGigabytes) {
  StringBuffer sb("kept");
  EXPECT_FALSE(sb.expectNumBytes(std::size_t{1} << 32));
  EXPECT_FALSE(sb.expectNumBytes(0xFFFFFFFFU));
  EXPECT_EQ(sb.view(), "kept");
}

TEST(StringBufferAppend, DropsTrailingNulsOnly) {
  StringBuffer sb;
  sb.append("abc\0\0"sv);
  EXPECT_EQ(sb.getSize(), 3U);
  sb.append("\0x"sv);
  EXPECT_EQ(sb.view(), "abc\0x"sv);
  EXPECT_TRUE(sb.appendChar('\0'));
  EXPECT_EQ(sb.getSize(), 5U);
}

TEST(StringBufferAppend, OfItselfIsRefusedAndOfAPieceOfItselfWorks) {
  StringBuffer sb("0123456789");
  EXPECT_FALSE(sb.append(sb));
  EXPECT_EQ(sb.view(), "0123456789");
  for (int i = 0; i < 4; ++i) ASSERT_TRUE(sb.append(sb.view()));
  std::string wanted;
  for (int i = 0; i < 16; ++i) wanted += "0123456789";
  EXPECT_EQ(sb.view(), wanted);
  EXPECT_TRUE(sb.setString(sb.view().substr(150)));
  EXPECT_TRUE(sb.prepend(sb.view().substr(0, 2)));
  EXPECT_EQ(sb.view(), "010123456789");
}

TEST(StringBufferAppend, IntegersAndDirectWriting) {
  StringBuffer sb;
  sb.appendInt(-9223372036854775807LL - 1);
  char* tail = sb.reserveTail(200);
  ASSERT_NE(tail, nullptr);
  std::fill(tail, tail + 200, 'q');
  tail[199] = '\0';
  sb.commitTail(200);
  EXPECT_EQ(sb.view(), "-9223372036854775808" + std::string(199, 'q'));
}

TEST(StringBufferAppend, MovingAndStealingLeaveTheOtherEmpty) {
  for (const std::size_t size : {std::size_t{5}, std::size_t{500}}) {
    SCOPED_TRACE(size);
    StringBuffer from(std::string(size, 'm'));
    StringBuffer to("old");
    ASSERT_TRUE(to.takeSb(from));
    EXPECT_EQ(to.view(), std::string(size, 'm'));
    EXPECT_TRUE(from.isEmpty());
    DataBuffer db;
    db.append(std::string(size, 'n'));
    db.append("\0\0"sv);
    ASSERT_TRUE(from.takeFromDb(db));
    EXPECT_EQ(from.view(), std::string(size, 'n'));
    EXPECT_EQ(db.getSize(), 0U);
    EXPECT_TRUE(from.append("!"));
    EXPECT_EQ(from.lastChar(), '!');
  }
}

struct Rewrite {
  const char* name;
  std::string_view in;
  std::string_view out;
};

TEST(StringBufferLineEnds, ToCrlf) {
  const Rewrite rows[] = {
      {"every kind", "a\rb\nc\r\n", "a\r\nb\r\nc\r\n"},
      {"only good ones", "a\r\nb\r\n", "a\r\nb\r\n"},
      {"runs", "\n\n\r\r\n\r", "\r\n\r\n\r\n\r\n\r\n"},
      {"no line end", "abc", "abc"},
  };
  for (const Rewrite& row : rows) {
    SCOPED_TRACE(row.name);
    StringBuffer sb(row.in);
    const char* before = sb.getString();
    sb.toCRLF();
    EXPECT_EQ(sb.view(), row.out);
    EXPECT_EQ(sb.getString(), before);
  }
  StringBuffer big(std::string(1000, '\n'));
  big.toCRLF();
  EXPECT_EQ(big.getSize(), 2000U);
}

TEST(StringBufferLineEnds, ToLf) {
  const Rewrite rows[] = {
      {"bare CR stays", "a\rb", "a\rb"},
      {"pairs", "a\r\n\r\nb\n", "a\n\nb\n"},
      {"CR before a pair", "a\r\r\nb", "a\r\nb"},
  };
  for (const Rewrite& row : rows) {
    SCOPED_TRACE(row.name);
    StringBuffer sb(row.in);
    sb.toLF();
    EXPECT_EQ(sb.view(), row.out);
  }
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
  EXPECT_TRUE(sb.equals("Abc"));
  EXPECT_TRUE(sb.equalsIgnoreCase("aBC"));
  EXPECT_TRUE(sb.endsWith("bc"));
  EXPECT_FALSE(sb.containsSubstring("def"));
  EXPECT_FALSE(sb.containsChar('d'));
  EXPECT_EQ(sb.countCharOccurances('e'), 0);
  EXPECT_TRUE(sb.matches("a*C", false));
  EXPECT_FALSE(sb.equalsIgnoreCase2("abc", 3));
}

TEST(StringBufferText, EqualsIgnoreCase2ComparesTheStoredLength) {
  const StringBuffer sb("Content-Transfer-Encoding");
  EXPECT_TRUE(sb.equalsIgnoreCase2("content-transfer-encoding", 25));
  EXPECT_FALSE(sb.equalsIgnoreCase2("content-transfer-encoding", 24));
  EXPECT_FALSE(StringBuffer("to").equalsIgnoreCase2("to", 3));
  // '@' and '`' differ by the bit that letters differ by, and so do '[' and '{'.
  EXPECT_FALSE(StringBuffer("@bcdefgh").equalsIgnoreCase2("`bcdefgh", 8));
  EXPECT_FALSE(StringBuffer("abcdefg[").equalsIgnoreCase2("abcdefg{", 8));
  EXPECT_FALSE(StringBuffer("abcdefg\xC4").equalsIgnoreCase2("abcdefg\xE4", 8));
}

TEST(StringBufferText, MatchesWildcards) {
  struct {
    const char* pattern;
    bool matches;
  } const rows[] = {{"*", true},       {"text/*", true},    {"*/html", true}, {"t*t*h*l", true},
                    {"text/", false},  {"*x", false},       {"", false},      {"**html**", true},
                    {"TEXT/*", false}, {"text/html*", true}};
  for (const auto& row : rows) {
    EXPECT_EQ(StringBuffer("text/html").matches(row.pattern, true), row.matches) << row.pattern;
  }
}

TEST(StringBufferSurgery, ReplacesAndCuts) {
  StringBuffer sb("aXbXXc");
  EXPECT_EQ(sb.replaceAllOccurances("X", "--"), 3);
  EXPECT_EQ(sb.view(), "a--b----c");
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

TEST(StringBufferSplit, AtSeparators) {
  struct {
    const char* name;
    std::string_view text;
    bool quoted;
    bool escaped;
    std::vector<std::string> pieces;
  } const rows[] = {
      {"empty pieces inside", "a;;c;", true, true, {"a", "", "c"}},
      {"quoted separator", R"(n="x;y";z)", true, true, {R"(n="x;y")", "z"}},
      {"quotes not honoured", R"(n="x;y")", false, true, {R"(n="x)", R"(y")"}},
      {"escaped separator", R"(a\;b;c)", true, true, {R"(a\;b)", "c"}},
      {"escaped quote", R"("a\";b";c)", true, true, {R"("a\";b")", "c"}},
      {"open quote", R"("a;b;c)", true, true, {R"("a;b;c)"}},
      {"nothing", "", true, true, {}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    ExtPtrArraySb list;
    ASSERT_TRUE(split(row.text, list, ';', row.quoted, row.escaped));
    EXPECT_EQ(texts(list), row.pieces);
  }
}

TEST(StringBufferSplit, IntoLines) {
  ExtPtrArraySb list;
  splitIntoLines("a\r\n\r\nb\rc\nd", list, 1);
  EXPECT_EQ(texts(list), (std::vector<std::string>{"a", "", "b", "c", "d"}));
}

TEST(StringBufferSplit, AttrValue) {
  struct {
    const char* name;
    std::string_view text;
    bool unquote;
    std::string_view attr;
    std::string_view value;
  } const rows[] = {
      {"blanks around", "  name = x.txt", true, "name", "x.txt"},
      {"quoted", "name=\"a b\" ", true, "name", "a b"},
      {"quotes kept", "name=\"a b\"", false, "name", "\"a b\""},
      {"no closing quote", "name=\"a b", true, "name", "a b"},
      {"only the first =", "a=b=c", true, "a", "b=c"},
      {"no =", " text/plain ", true, "text/plain", ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    StringBuffer attr("old");
    StringBuffer value("old");
    StringBuffer(row.text).splitAttrValue(attr, value, row.unquote);
    EXPECT_EQ(attr.view(), row.attr);
    EXPECT_EQ(value.view(), row.value);
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
    EXPECT_EQ(array.getSize(), 40);
    EXPECT_EQ(array.getCapacity(), 40);  // 5, 10, 20, 40.
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
  EXPECT_EQ(array.getSize(), 0);
  EXPECT_EQ(Psdk::numBadObjectsFound(), before + 2);
}

TEST(ParseEngine, CapturesAndMoves) {
  StringBuffer storage;
  ParseEngine engine(R"(  type/sub; name="a;b"; x=1; y="\";")");
  engine.skipChars(" ");
  EXPECT_EQ(engine.captureToNext4("; \t\r"), "type/sub");
  EXPECT_EQ(engine.consumeOneChar(), ';');
  EXPECT_EQ(engine.captureToNextUnquotedChar(';'), R"( name="a;b")");
  engine.eliminateChar(' ', storage);
  EXPECT_EQ(engine.rest(), R"(;x=1;y="\";")");
  engine.eliminateChar('1', storage);
  EXPECT_FALSE(engine.seek("z"));
  EXPECT_TRUE(engine.seek("y"));
  EXPECT_EQ(ParseEngine(engine).captureToNextUnquotedChar(';'), R"(y="\")");
  EXPECT_EQ(engine.captureToNextUnquotedChar(';', true), R"(y="\";")");
  EXPECT_TRUE(engine.atEnd());
  EXPECT_FALSE(engine.consumeIf(';'));
  EXPECT_EQ(engine.consumeOneChar(), '\0');
}

}  // namespace
}  // namespace keldane::mime
