#include "ingest/reading/strip_plist.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace keldane {
namespace {

constexpr std::string_view kListHead =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://example.org/list.dtd\">\n";

std::string stripped(std::string text) {
  MessageTags tags;
  stripPlist(text, tags);
  return text;
}

struct TextCase {
  std::string name;
  std::string text;
  std::string expected;
};

class StripPlistText : public testing::TestWithParam<TextCase> {};

TEST_P(StripPlistText, LeavesTheMessage) {
  EXPECT_EQ(stripped(GetParam().text), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    StripPlist, StripPlistText,
    testing::Values(
        TextCase{"Nothing", "", ""}, TextCase{"PlainMessage", "From: a\n\nb\n", "From: a\n\nb\n"},
        TextCase{"CountLine", "1234      \nFrom: a\n\nb\n", "From: a\n\nb\n"},
        TextCase{"CountLineOnly", "1234", ""},
        TextCase{"LineEndsOfAllKinds", "12\r\nFrom: a\r\n\r\nb\rc\n", "From: a\n\nb\nc\n"},
        TextCase{"OneBlankAtTheStart", "  From: a\n", " From: a\n"},
        TextCase{"LineEndAtTheStartStays", "\nFrom: a\n", "\nFrom: a\n"},
        TextCase{"SenderQuotedTwice", "To: b\n>>From a\n\nx\n>>From c",
                 "To: b\nReturn-path: a\n\nx\nReturn-path: c"},
        TextCase{"ListBehindTheMessage", "9\nA: b\n\nc\n" + std::string(kListHead) + "<plist/>",
                 "A: b\n\nc\n"},
        TextCase{"ListOfTheOldName", "A: b\n\nc\n<?xml?>\n\"-//Apple Computer//DTD PLIST 1.0//EN\"",
                 "A: b\n\nc\n"},
        TextCase{"ListAtTheVeryStartStays", std::string(kListHead), std::string(kListHead)},
        TextCase{"MarkerWithoutList", "A: b\n\nApple//DTD PLIST", "A: b\n\nApple//DTD PLIST"},
        TextCase{"ListTooFarBeforeItsMarker",
                 "A: b\n\n<?xml" + std::string(100, ' ') + "Apple//DTD PLIST",
                 "A: b\n\n<?xml" + std::string(100, ' ') + "Apple//DTD PLIST"},
        TextCase{"ListJustWithinReachOfWideCharacters",
                 "A: b\n\n<?xml" +
                     [] {
                       std::string wide;
                       for (int i = 0; i < 47; ++i) wide += "\xF0\x9F\x98\x80";  // two units each
                       return wide;
                     }() +
                     "Apple//DTD PLIST",
                 "A: b\n\n"},
        TextCase{"MarkOfUtf8",
                 "\xEF\xBB\xBF"
                 "A: b\n\n",
                 "A: b\n\n"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(StripPlist, TakesTheTagsOfTheList) {
  MessageTags tags;
  std::string text = "From: a\n\nb\n" + std::string(kListHead) +
                     "<dict>\n"
                     "\t<key>mailTagsAnnotation</key>\n\t<string>first\n\tsecond</string>\n"
                     "\t<key>mailTagsKeyWords</key>\n\t<array>\n\t\t<string>red</string>\n"
                     "\t\t<string>R&amp;D</string>\n\t</array>\n"
                     "\t<key>mailTagsProject</key>\n\t<string>Garden</string>\n"
                     "\t<key>mailTagsPriority</key>\n\t<integer>3</integer>\n"
                     "</dict>\n</plist>\n";
  stripPlist(text, tags);
  EXPECT_EQ(text, "From: a\n\nb\n");
  EXPECT_EQ(tags.tagNotes, "first\n\tsecond");
  EXPECT_EQ(tags.tagKeywords, " red R&amp;D");
  EXPECT_EQ(tags.tagKeywordsFromFile, tags.tagKeywords);
  EXPECT_EQ(tags.tagCategory, "Garden");
  EXPECT_EQ(tags.tagPriority, "3");
}

TEST(StripPlist, ReadsTheOtherForms) {
  MessageTags tags;
  findTags(
      "<key>mailTagsKeyWords</key>\n<string>blue</string>\n"
      "<key>mailTagsProject</key>\n<array>\n<string>A</string>\n<string>B</string>\n</array>",
      tags);
  EXPECT_EQ(tags.tagKeywords, "blue");
  EXPECT_EQ(tags.tagCategory, " A B");
}

TEST(StripPlist, AListReplacesAllTagsAndNoListNone) {
  MessageTags tags;
  tags.tagCategory = "old";
  std::string plain = "From: a\n\nb\n";
  stripPlist(plain, tags);
  EXPECT_EQ(tags.tagCategory, "old");
  std::string withList = plain + std::string(kListHead);
  stripPlist(withList, tags);
  EXPECT_FALSE(tags.any());
}

TEST(StripPlist, OfABrokenListWhatIsThereIsTaken) {
  const struct {
    const char* plist;
    const char* notes;
    const char* keywords;
  } cases[] = {{"<key>mailTagsAnnotation</key>", "", ""},
               {"<key>mailTagsAnnotation</key>\n<string>open", "open", ""},
               {"<key>mailTagsKeyWords</key>\n<array>\n<string>a</string>", "", " a"},
               {"<key>mailTagsPriority</key>", "", ""},
               {"<key>mailTagsProject</key>\n<integer>1</integer>", "", ""}};
  for (const auto& row : cases) {
    MessageTags tags;
    findTags(row.plist, tags);
    EXPECT_EQ(tags.tagNotes, row.notes) << row.plist;
    EXPECT_EQ(tags.tagKeywords, row.keywords) << row.plist;
    EXPECT_EQ(tags.tagCategory + tags.tagPriority, "") << row.plist;
  }
}

}  // namespace
}  // namespace keldane
