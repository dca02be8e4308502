#include "settings/property_list.h"

#include <limits>
#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <plist/plist.h>

namespace keldane {
namespace {

using Kind = PlistOpaque::Kind;

PlistValue opaque(Kind kind, std::string bytes) { return {PlistOpaque{kind, std::move(bytes)}}; }

/// One value of every kind, with the texts and numbers that are easily damaged on the way.
PlistValue everyKindOfValue() {
  return {PlistDict{
      {"text", {std::string("plain")}},
      {"marks & <of> XML", {std::string("<a> & \"b\" ]]> 'c'")}},
      {"wide text", {std::string("gr\xC3\xBC\xC3\x9F\x65 \xF0\x9F\x93\xA7")}},
      {"empty text", {std::string()}},
      {"least integer", {std::numeric_limits<std::int64_t>::min()}},
      {"greatest integer", {std::numeric_limits<std::int64_t>::max()}},
      {"true", {true}},
      {"false", {false}},
      {"real", {1.6}},
      {"date", opaque(Kind::date, "697089906.000000")},
      {"bytes", opaque(Kind::data, std::string("\0\xFF\x01", 3))},
      {"array", {PlistArray{{std::string("x")}, {std::int64_t{-3}}, {PlistDict{}}}}},
  }};
}

TEST(PropertyList, KeepsEveryValueThroughBothForms) {
  const PlistValue whole = everyKindOfValue();
  const Result<std::string> xml = plistToXml(whole);
  ASSERT_TRUE(xml);
  const Result<PlistValue> back = parsePlist(*xml);
  ASSERT_TRUE(back) << *xml;
  EXPECT_EQ(*back, whole) << *xml;

  plist_t node = nullptr;
  plist_from_xml(xml->data(), static_cast<std::uint32_t>(xml->size()), &node);
  char* binary = nullptr;
  std::uint32_t length = 0;
  plist_to_bin(node, &binary, &length);
  const Result<PlistValue> fromBinary = parsePlist({binary, length});
  plist_to_bin_free(binary);
  plist_free(node);
  ASSERT_TRUE(fromBinary);
  EXPECT_EQ(*fromBinary, whole);
}

TEST(PropertyList, RefusesWhatIsNone) {
  const std::string whole = *plistToXml(everyKindOfValue());
  for (std::size_t length = 0; length < whole.size() / 2; length += 7) {
    EXPECT_FALSE(parsePlist(whole.substr(0, length))) << length;
  }
  EXPECT_FALSE(parsePlist("garbage"));
}

std::string repeated(int times, const std::string& text) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

/// A binary list of `count` arrays, each with two references to the next; the last one is empty, or
/// begins the round anew.
std::string nestedBinary(int count, bool round) {
  std::string bytes = "bplist00";
  std::string offsets;
  const auto append = [](std::string& to, std::size_t number, int size) {
    for (int i = size - 1; i >= 0; --i) to += static_cast<char>(number >> (8 * i) & 0xFF);
  };
  for (int i = 0; i < count; ++i) {
    append(offsets, bytes.size(), 4);
    const bool last = i + 1 == count;
    bytes += last && !round ? '\xA0' : '\xA2';
    const auto next = static_cast<std::size_t>(last ? 0 : i + 1);
    if (!last || round) append(bytes, next, 4);
    if (!last || round) append(bytes, next, 4);
  }
  const std::size_t table = bytes.size();
  bytes += offsets + std::string(6, '\0') + "\4\4";
  append(bytes, static_cast<std::size_t>(count), 8);
  append(bytes, 0, 8);
  append(bytes, table, 8);
  return bytes;
}

TEST(PropertyList, RefusesWhatWouldExhaustStackOrMemory) {
  const int deep = 200000;
  const std::string begin = "<plist version=\"1.0\">";
  const std::pair<const char*, std::string> rows[] = {
      {"arrays", begin + repeated(deep, "<array>")},
      {"arrays that end",
       begin + repeated(deep, "<array>") + repeated(deep, "</array>") + "</plist>"},
      {"arrays with a blank", begin + repeated(deep, "<array >")},
      {"arrays with an attribute", begin + repeated(deep, "<array\ta='</array>'>")},
      {"arrays with a commented end", begin + repeated(deep, "<array><!-- </array> -->")},
      {"arrays with an end in a section", begin + repeated(deep, "<array><![CDATA[</array>]]>")},
      {"arrays with an end in another tag", begin + repeated(deep, "<array><true a='</array>'/>")},
      {"dictionaries", begin + repeated(deep, "<dict\n><key>k</key>")},
      {"binary", nestedBinary(deep, false)},
      {"binary, a value of values of values", nestedBinary(60, false)},
      {"binary, in a circle", nestedBinary(3, true)},
      {"another form", repeated(deep, "[")},
  };
  for (const auto& [name, bytes] : rows) EXPECT_FALSE(parsePlist(bytes)) << name;

  EXPECT_TRUE(parsePlist(nestedBinary(10, false)));
  const std::string body =
      repeated(100, "<array >") + repeated(300, "<dict/><array />") + repeated(100, "</array >");
  EXPECT_TRUE(parsePlist(begin + body + "</plist>"));
}

TEST(PlistValue, AnswersAcrossKinds) {
  struct {
    const char* name;
    PlistValue value;
    std::optional<std::string> text;
    std::optional<std::int64_t> integer;
  } const cases[] = {
      {"text", {std::string("1.6")}, "1.6", 1},
      {"words", {std::string("none")}, "none", std::nullopt},
      {"integer", {std::int64_t{-3}}, "-3", -3},
      {"real", {1.6}, "1.6", 1},
      {"too large", {1e300}, "1e+300", std::nullopt},
      {"boolean", {true}, "1", 1},
      {"array", {PlistArray{}}, std::nullopt, std::nullopt},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.value.text(), c.text) << c.name;
    EXPECT_EQ(c.value.integer(), c.integer) << c.name;
  }
}

}  // namespace
}  // namespace keldane
