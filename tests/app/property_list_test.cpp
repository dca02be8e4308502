#include "app/property_list.h"

#include <bit>
#include <chrono>
#include <cmath>
#include <limits>
#include <string>

#include <gtest/gtest.h>

namespace keldane {
namespace {

using Kind = PlistOpaque::Kind;

PlistValue opaque(Kind kind, std::string bytes) { return {PlistOpaque{kind, std::move(bytes)}}; }

std::string xml(const std::string& value) {
  return "<?xml version=\"1.0\"?>\n<!DOCTYPE plist PUBLIC \"x\" \"y\">\n<plist version=\"1.0\">\n" +
         value + "\n</plist>\n";
}

/// A binary list of these objects, the first of which is the root.
std::string binary(const std::vector<std::string>& objects, std::size_t referenceBytes = 1) {
  const auto bigEndian = [](std::uint64_t number, int bytes) {
    std::string text;
    for (int i = bytes - 1; i >= 0; --i) text += static_cast<char>((number >> (8 * i)) & 0xFFU);
    return text;
  };
  std::string bytes = "bplist00";
  std::string table;
  for (const std::string& object : objects) {
    table += bigEndian(bytes.size(), 4);
    bytes += object;
  }
  const std::size_t at = bytes.size();
  return bytes + table + std::string(6, '\0') + '\4' + static_cast<char>(referenceBytes) +
         bigEndian(objects.size(), 8) + bigEndian(0, 8) + bigEndian(at, 8);
}

struct ValueCase {
  const char* name;
  PlistValue value;
};

std::vector<ValueCase> everyKindOfValue() {
  return {
      {"text", {std::string("plain")}},
      {"marks of XML", {std::string("<a> & \"b\" ]]> 'c'")}},
      {"line ends and blanks", {std::string("  \r\n\r\n\t x\r ")}},
      {"wide text", {std::string("gr\xC3\xBC\xC3\x9F\x65 \xF0\x9F\x93\xA7")}},
      {"empty text", {std::string()}},
      {"least integer", {std::numeric_limits<std::int64_t>::min()}},
      {"greatest integer", {std::numeric_limits<std::int64_t>::max()}},
      {"beyond integers", opaque(Kind::number, "18446744073709551615")},
      {"zero", {std::int64_t{0}}},
      {"true", {true}},
      {"false", {false}},
      {"third", {1.0 / 3.0}},
      {"tiny", {5e-324}},
      {"huge", {-1.7976931348623157e308}},
      {"whole real", {10.0}},
      {"endless", {std::numeric_limits<double>::infinity()}},
      {"date", opaque(Kind::date, "697089906.000000")},
      {"first date", opaque(Kind::date, "-63113904000.000000")},
      {"last date", opaque(Kind::date, "64092211199.000000")},
      {"leap day", opaque(Kind::date, "99705599.000000")},
      {"bytes", opaque(Kind::data, std::string("\0\xFF\x01", 3))},
      {"odd bytes", opaque(Kind::data, "four")},
      {"no bytes", opaque(Kind::data, "")},
      {"empty array", {PlistArray{}}},
      {"empty dictionary", {PlistDict{}}},
  };
}

TEST(PropertyList, KeepsEveryValueThroughItsXmlForm) {
  PlistDict all;
  PlistArray list;
  for (const ValueCase& c : everyKindOfValue()) {
    const Result<std::string> text = plistToXml(c.value);
    ASSERT_TRUE(text) << c.name;
    const Result<PlistValue> back = parsePlist(*text);
    ASSERT_TRUE(back) << c.name << "\n" << *text;
    EXPECT_EQ(*back, c.value) << c.name << "\n" << *text;
    all.emplace(std::string("<key> & ") + c.name, c.value);
    list.push_back({PlistDict{{"", c.value}}});
  }
  all.emplace("list", PlistValue{std::move(list)});
  const PlistValue whole{std::move(all)};
  EXPECT_EQ(*parsePlist(*plistToXml(whole)), whole);
}

TEST(PropertyList, WritesTheFormThatOthersRead) {
  const PlistValue value{PlistDict{{"a", {std::int64_t{1}}}, {"b", {PlistArray{{true}}}}}};
  EXPECT_EQ(*plistToXml(value),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
            "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
            "<plist version=\"1.0\">\n<dict>\n\t<key>a</key>\n\t<integer>1</integer>\n"
            "\t<key>b</key>\n\t<array>\n\t\t<true/>\n\t</array>\n</dict>\n</plist>\n");
  EXPECT_FALSE(plistToXml({PlistOpaque{}}));
  EXPECT_EQ(*parsePlist(*plistToXml(opaque(Kind::uid, "7"))),
            (PlistValue{PlistDict{{"CF$UID", {std::int64_t{7}}}}}));
}

TEST(PropertyList, ReadsXmlAsOthersWriteIt) {
  struct {
    const char* name;
    std::string text;
    PlistValue value;
  } const cases[] = {
      {"comments and attributes",
       xml("<!-- > --> <string a=\"b\">x<!-- y -->z</string>"),
       {std::string("xz")}},
      {"entities",
       xml("<string>&lt;&amp;&#x20AC;&#13;&apos;</string>"),
       {std::string("<&\xE2\x82\xAC\r'")}},
      {"unescaped section", xml("<string><![CDATA[a<b&c]]></string>"), {std::string("a<b&c")}},
      {"foreign line ends", xml("<string>a\r\nb\rc</string>"), {std::string("a\nb\nc")}},
      {"Latin 1", xml("<string>gr\xFC\xDF</string>"), {std::string("gr\xC3\xBC\xC3\x9F")}},
      {"hexadecimal", xml("<integer> -0x1F </integer>"), {std::int64_t{-31}}},
      {"empty elements", xml("<dict><key/><string/></dict>"), {PlistDict{{"", {std::string()}}}}},
      {"key twice",
       xml("<dict><key>a</key><true/><key>a</key><false/></dict>"),
       {PlistDict{{"a", {false}}}}},
      {"data in lines", xml("<data>\n\tAAEC\n\t/w==\n</data>"),
       opaque(Kind::data, std::string("\0\1\2\xFF", 4))},
  };
  for (const auto& c : cases) {
    const Result<PlistValue> read = parsePlist(c.text);
    ASSERT_TRUE(read) << c.name;
    EXPECT_EQ(*read, c.value) << c.name;
  }
}

TEST(PropertyList, RefusesWhatIsNotWhole) {
  const std::string whole = *plistToXml(
      {PlistDict{{"a", {PlistArray{{std::string("x")}, {std::int64_t{1}}}}}, {"b", {true}}}});
  for (std::size_t length = 0; length + 2 < whole.size(); ++length) {
    EXPECT_FALSE(parsePlist(whole.substr(0, length))) << length;
  }
  const std::string cases[] = {
      "garbage",
      xml(""),
      xml("<dict><key>a</key></dict>"),
      xml("<dict><string>a</string></dict>"),
      xml("<array><string>a</array>"),
      xml("<integer>12x</integer>"),
      xml("<integer>99999999999999999999</integer>"),
      xml("<date>2023-13-01T00:00:00Z</date>"),
      xml("<date>soon</date>"),
      xml("<data>*</data>"),
      xml("<string>&unknown;</string>"),
      xml("<string>&#0;</string>"),
      xml("<other/>"),
      xml("<true/><true/>"),
  };
  for (const std::string& text : cases) EXPECT_FALSE(parsePlist(text)) << text;
}

TEST(PropertyList, ReadsTheBinaryForm) {
  const std::string bytes = binary({
      std::string("\xD5\1\2\3\4\5\6\7\10\11\12", 11),
      "Sint",
      "Treal",
      "Sbig",
      "Twide",
      "Tdata",
      std::string("\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFE", 9),
      std::string("\x22\x3F\xC0\0\0", 5),
      std::string("\x14\0\0\0\0\0\0\0\0\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF", 17),
      std::string("\x63\0a\xD8\x3D\xDC\xE7", 7),
      std::string("\xA5\13\14\15\16\17", 6),
      std::string("\x4F\x10\3\0\1\2", 6),
      std::string("\x33\x3F\xF8\0\0\0\0\0\0", 9),
      std::string("\x33\xBF\xF8\0\0\0\0\0\0", 9),
      "\x09",
      std::string("\x80\5", 2),
  });
  const Result<PlistValue> read = parsePlist(bytes);
  ASSERT_TRUE(read);
  EXPECT_EQ(*read, (PlistValue{PlistDict{{"int", {std::int64_t{-2}}},
                                         {"real", {1.5}},
                                         {"big", opaque(Kind::number, "18446744073709551615")},
                                         {"wide", {std::string("a\xF0\x9F\x93\xA7")}},
                                         {"data",
                                          {PlistArray{opaque(Kind::data, std::string("\0\1\2", 3)),
                                                      opaque(Kind::date, "1.500000"),
                                                      opaque(Kind::date, "-2.500000"),
                                                      {true},
                                                      opaque(Kind::uid, "5")}}}}}));
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    static_cast<void>(parsePlist(bytes.substr(0, length)));
  }
  // Any byte gone wrong gives another list or none, and nothing worse.
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    for (const int wrong : {0, 1, 0x7F, 0x80, 0xFF}) {
      std::string broken = bytes;
      broken[at] = static_cast<char>(wrong);
      static_cast<void>(parsePlist(broken));
    }
  }
}

TEST(PropertyList, RefusesHostileShapes) {
  std::string deep;
  for (int i = 0; i < 200000; ++i) deep += "<array>";
  EXPECT_FALSE(parsePlist(xml(deep)));
  EXPECT_FALSE(parsePlist(binary({std::string("\xA1\0", 2)}))) << "a list that holds itself";
  std::vector<std::string> doubling;
  for (int i = 0; i < 200; ++i) {
    doubling.push_back("\xA2" + std::string(2, static_cast<char>(i + 1)));
  }
  doubling.emplace_back("\x09");
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(parsePlist(binary(doubling)));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));

  PlistValue nested{true};
  for (int i = 0; i < kPlistMostDepth + 1; ++i) {
    PlistArray outer;
    outer.push_back(std::move(nested));
    nested = {std::move(outer)};
  }
  EXPECT_FALSE(plistToXml(nested));
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
      {"no number", {std::nan("")}, "nan", std::nullopt},
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
