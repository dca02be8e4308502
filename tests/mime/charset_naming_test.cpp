#include "mime/charsets/charset_naming.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <string_view>

#include "mime/buffers/psdk.h"
#include "mime/charsets/charset_names.h"
#include "mime/charsets/code_page_sources.h"
#include "mime/charsets/tn_charset.h"

namespace keldane::mime {
namespace {

class CharsetNamingTest : public ::testing::Test {
 protected:
  void SetUp() override { TnSettings::setAnsiCodePage(1252); }
  void TearDown() override { TnSettings::setAnsiCodePage(0); }
};

TEST_F(CharsetNamingTest, FindsEveryNameInAnyDress) {
  for (const auto& row : charset_names::exactNames()) {
    // Two letters are too short to be looked up and mean the ANSI page.
    const int wanted = row.name.size() < 3 ? 1252 : row.codePage;
    EXPECT_EQ(CharsetNaming::GetCodePage_p(row.name), wanted) << row.name;
    std::string dressed = " \"";
    for (const char c : row.name) dressed += static_cast<char>(c == '-' ? '_' : std::toupper(c));
    EXPECT_EQ(CharsetNaming::GetCodePage_p(dressed + "'\t"), wanted) << dressed;
  }
}

TEST_F(CharsetNamingTest, Normalises) {
  struct {
    const char* name;
    int page;
  } const rows[] = {
      {"ISO_8859-1", 28591}, {"xy", 1252},        {"xyz", 0},         {"", 1252},
      {"us", 1252},          {"ANSI", 1252},      {"shift_jis", 932}, {"KS_C_5601-1987", 949},
      {"bom-utf-8", 65001},  {"no-bom-utf-8", 0}, {"zzz", 0},         {"8bit", 0},
      {"base64", 1},         {"hexlower-x", 25},  {"hex_lower", 25},  {"hex", 3},
      {"hexa", 0},           {"url_rfc1738", 0},  {"utf-8foo", 0},    {"gb18030", 936},
      {"\"utf-8\"", 65001},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(CharsetNaming::GetCodePage_p(row.name), row.page) << row.name;
    // Out of a text of two bytes a letter, say.
    const std::string withNul = row.name + std::string(1, '\0');
    EXPECT_EQ(CharsetNaming::GetCodePage_p(withNul), row.page) << row.name;
  }
  StringBuffer name(" 'UTF_8' ");
  CharsetNaming::GetCodePage(name);
  EXPECT_EQ(name.view(), "utf-8");
}

TEST_F(CharsetNamingTest, CanonicalNames) {
  struct {
    int page;
    const char* name;
  } const rows[] = {
      {1200, "unicode"},
      {1201, "unicodefffe"},
      {12000, "utf-32"},
      {65005, "utf-32"},
      {12001, "utf-32be"},
      {65006, "utf-32be"},
      {20127, "us-ascii"},
      {65000, "utf-7"},
      {65001, "utf-8"},
      {932, "shift_jis"},
      {936, "gb2312"},
      {950, "big5"},
      {949, "ks_c_5601-1987"},
      {28605, "iso-8859-15"},
      {1258, "windows-1258"},
      {10000, "macintosh"},
      {37, "ibm037"},
      {437, "ibm437"},
      {858, "ibm00858"},
      {862, "ibm862"},
      {1, "base64"},
      {25, "hexlower"},
      {0, ""},
      {99, ""},
      {-1, ""},
      {777, ""},
  };
  for (const auto& row : rows) {
    StringBuffer out("old");
    EXPECT_EQ(CharsetNaming::GetCharsetName(row.page, out), *row.name != '\0') << row.page;
    EXPECT_EQ(out.view(), row.name);
  }
}

TEST_F(CharsetNamingTest, ACanonicalNameLeadsBackToItsPage) {
  for (const auto& row : charset_names::exactNames()) {
    const std::string_view name = CharsetNaming::charsetName(row.codePage);
    ASSERT_FALSE(name.empty()) << row.name;
    if (name.size() < 3) continue;  // "qp" and "uu" lead to the ANSI page.
    EXPECT_EQ(CharsetNaming::GetCodePage_p(name), row.codePage) << name;
  }
  for (std::size_t i = 0; i < code_pages::kNumPageSources; ++i) {
    EXPECT_FALSE(CharsetNaming::charsetName(code_pages::kPageSources[i].codePage).empty());
  }
}

TEST_F(CharsetNamingTest, SetByName) {
  struct {
    const char* given;
    bool ok;
    int page;
    const char* name;
    int preamble;
  } const rows[] = {
      {"latin1", true, 28591, "iso-8859-1", 0},
      {"bom-utf-8", true, 65001, "utf-8", 1},
      {"bom:utf-16", true, 1200, "unicode", 1},
      {"no-bom-utf-8", true, 65001, "utf-8", 2},
      {"no-bom:utf-8", true, 65001, "utf-8", 2},
      {"BOM-utf-8", true, 65001, "utf-8", 0},
      {"default", true, 0, "", 0},
      {"x-user-defined", true, 0, "", 0},
      {"Default", false, 0, "", 0},
      {"", true, 1252, "windows-1252", 0},
      {"Ansi", true, 1252, "windows-1252", 0},
      {"OEM", true, 65001, "utf-8", 0},
      {"bogus", false, 0, "", 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.given);
    _tnCharset charset;
    charset.setByCodePage(866);
    EXPECT_EQ(charset.setByName(row.given), row.ok);
    EXPECT_EQ(charset.getCodePage(), row.page);
    EXPECT_STREQ(charset.getName(), row.name);
    EXPECT_EQ(charset.getPreambleChoice(), row.preamble);
  }
}

TEST(PsdkTest, AnsiCodePageFollowsLang) {
  const std::string tooLong(256, 'x');
  struct {
    const char* lang;
    int page;
  } const rows[] = {
      {nullptr, 1252},
      {"C", 1252},
      {"en_US.UTF-8", 1252},
      {"ja_JP.UTF-8", 65001},
      {"ja_JP.utf8", 65001},
      {"ja_JP.eucJP", 20932},
      {"de_DE.ISO-8859-15", 28605},
      {"lt_LT.ISO-8859-13", 28603},
      {"pl_PL.ISO8859-2", 28592},
      {"ru_RU.CP1251", 1251},
      {"zh_TW.Big5", 950},
      {"ru_RU.KOI8-R", 1251},
      {"ru_RU.koi8r", 20866},
      {"uk_UA.koi8-u", 21866},
      {"zh_CN.gbk", 936},
      {"cs_CZ.UTF-8", 1250},
      {"ro_RO", 1251},
      {"el_GR", 1253},
      {"ku_TR", 1254},
      {"yi_US", 1255},
      {"ar_EG", 1256},
      {"lv_LV", 1257},
      {"vi_VN", 1258},
      {"xx_XX", 1252},
      {tooLong.c_str(), 1252},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Psdk::codePageForLang(row.lang), row.page) << (row.lang ? row.lang : "not set");
  }
}

}  // namespace
}  // namespace keldane::mime
