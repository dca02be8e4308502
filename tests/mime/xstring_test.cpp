#include "mime/buffers/xstring.h"

#include <gtest/gtest.h>

#include <string_view>

#include "mime/buffers/psdk.h"

namespace keldane::mime {
namespace {

class XStringTest : public ::testing::Test {
 protected:
  void SetUp() override { TnSettings::setAnsiCodePage(1252); }
  void TearDown() override { TnSettings::setAnsiCodePage(0); }
};

TEST_F(XStringTest, EmptyGivesEmptyText) {
  const XString text;
  EXPECT_STREQ(text.getUtf8(), "");
  EXPECT_STREQ(text.getAnsi(), "");
  EXPECT_TRUE(text.isEmpty());
}

TEST_F(XStringTest, EverySetterFromUtf8StripsTheBom) {
  constexpr std::string_view kText = "\xEF\xBB\xBFé";
  XString text;
  text.setFromUtf8(kText);
  EXPECT_EQ(text.utf8View(), "é");
  text.setFromSbUtf8(StringBuffer(kText));
  EXPECT_EQ(text.utf8View(), "é");
  StringBuffer taken(kText);
  text.takeFromUtf8Sb(taken);
  EXPECT_EQ(text.utf8View(), "é");
  text.setFromDual(kText, true);
  EXPECT_EQ(text.utf8View(), "é");
}

TEST_F(XStringTest, BuildsViewsFromAnsiAndWide) {
  XString text;
  text.setFromAnsi("\x80 \xE9");
  EXPECT_EQ(text.utf8View(), "€ é");
  EXPECT_STREQ(text.getAnsi(), "\x80 \xE9");
  const char16_t wide[] = {0x20AC, 0xD83D, 0xDE00};
  text.setFromWide(wide, sizeof wide, true);
  EXPECT_EQ(text.utf8View(), "€😀");
  const char32_t wider[] = {0x1F600};
  text.setFromWide(wider, sizeof wider, false);
  EXPECT_EQ(text.utf8View(), "😀");
  text.setFromWide(wide, 0, true);
  EXPECT_EQ(text.utf8View(), "");
}

TEST_F(XStringTest, WritingDropsTheOtherViews) {
  XString text;
  text.setFromAnsi("\xE9");
  text.appendUtf8("è");
  EXPECT_STREQ(text.getAnsi(), "\xE9\xE8");
  text.getUtf8Sb_rw().append("!");
  EXPECT_STREQ(text.getAnsi(), "\xE9\xE8!");
}

TEST_F(XStringTest, CopiesWhateverViewThereIs) {
  XString ansi;
  ansi.setFromAnsi("\xE9");
  XString copy(ansi);
  copy.appendX(ansi);
  EXPECT_EQ(copy.utf8View(), "éé");
  EXPECT_EQ(copy.replaceAllOccurancesUtf8("é", "e"), 2);
  EXPECT_TRUE(copy.is7bit());
  DataBuffer wide;
  EXPECT_TRUE(copy.getConverted_cp(1201, wide));
  EXPECT_EQ(wide.view(), std::string_view("\0e\0e", 4));
}

}  // namespace
}  // namespace keldane::mime
