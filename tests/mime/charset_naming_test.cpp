#include "mime/charsets/charset_naming.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <tuple>
#include <utility>

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
  const std::pair<const char*, int> rows[] = {
      {"ISO_8859-1", 28591}, {"xy", 1252},        {"xyz", 0},         {"", 1252},
      {"us", 1252},          {"ANSI", 1252},      {"shift_jis", 932}, {"KS_C_5601-1987", 949},
      {"bom-utf-8", 65001},  {"no-bom-utf-8", 0}, {"zzz", 0},         {"8bit", 0},
      {"base64", 1},         {"hexlower-x", 25},  {"hex_lower", 25},  {"hex", 3},
      {"hexa", 0},           {"url_rfc1738", 0},  {"utf-8foo", 0},    {"gb18030", 936},
      {"\"utf-8\"", 65001},
  };
  for (const auto& [name, page] : rows) {
    EXPECT_EQ(CharsetNaming::GetCodePage_p(name), page) << name;
    // Out of a text of two bytes a letter, say.
    EXPECT_EQ(CharsetNaming::GetCodePage_p(name + std::string(1, '\0')), page) << name;
  }
  StringBuffer dressed(" 'UTF_8' ");
  CharsetNaming::GetCodePage(dressed);
  EXPECT_EQ(dressed.view(), "utf-8");
}

TEST_F(CharsetNamingTest, CanonicalNames) {
  const std::pair<int, const char*> rows[] = {{1200, "unicode"},
                                              {1201, "unicodefffe"},
                                              {65005, "utf-32"},
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
                                              {1, "base64"},
                                              {25, "hexlower"},
                                              {0, ""},
                                              {99, ""},
                                              {-1, ""},
                                              {777, ""}};
  for (const auto& [page, name] : rows) {
    StringBuffer out("old");
    EXPECT_EQ(CharsetNaming::GetCharsetName(page, out), *name != '\0') << page;
    EXPECT_EQ(out.view(), name);
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
  const std::tuple<const char*, bool, int, const char*, int> rows[] = {
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
  for (const auto& [given, ok, page, name, preamble] : rows) {
    SCOPED_TRACE(given);
    _tnCharset charset;
    charset.setByCodePage(866);
    EXPECT_EQ(charset.setByName(given), ok);
    EXPECT_EQ(charset.getCodePage(), page);
    EXPECT_STREQ(charset.getName(), name);
    EXPECT_EQ(charset.getPreambleChoice(), preamble);
  }
}

TEST(PsdkTest, AnsiCodePageFollowsLang) {
  const std::string tooLong(256, 'x');
  const std::pair<const char*, int> rows[] = {{nullptr, 1252},
                                              {"C", 1252},
                                              {"ja_JP.UTF-8", 65001},
                                              {"ja_JP.eucJP", 20932},
                                              {"de_DE.ISO-8859-15", 28605},
                                              {"pl_PL.ISO8859-2", 28592},
                                              {"ru_RU.CP1251", 1251},
                                              {"zh_TW.Big5", 950},
                                              {"ru_RU.KOI8-R", 1251},
                                              {"ru_RU.koi8r", 20866},
                                              {"cs_CZ.UTF-8", 1250},
                                              {"ro_RO", 1251},
                                              {"el_GR", 1253},
                                              {"ku_TR", 1254},
                                              {"yi_US", 1255},
                                              {"ar_EG", 1256},
                                              {"lv_LV", 1257},
                                              {"vi_VN", 1258},
                                              {"xx_XX", 1252},
                                              {tooLong.c_str(), 1252}};
  for (const auto& [lang, page] : rows) {
    EXPECT_EQ(Psdk::codePageForLang(lang), page) << (lang ? lang : "not set");
  }
}

}  // namespace
}  // namespace keldane::mime
