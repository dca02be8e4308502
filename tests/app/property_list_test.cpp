#include "app/property_list.h"

#include <limits>
#include <string>

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
  std::string deep = "<plist version=\"1.0\">";
  for (int i = 0; i < 200000; ++i) deep += "<array>";
  EXPECT_FALSE(parsePlist(deep));
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
