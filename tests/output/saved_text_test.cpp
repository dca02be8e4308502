#include "output/saved_text.h"
#include <algorithm>
#include <map>

#include "tests/output/output_rig.h"
#include "tests/support/recording_tool_runner.h"

namespace keldane {
namespace {

const std::string kDate = "2024-01-05 10:20:30";

class SavedText : public OutputRig {
 protected:
  /// Messages as the window lists them, the second with tags.
  MessageList listed() {
    MessageList list;
    list.size = 2;
    list.id = [](std::size_t index) { return static_cast<std::uint32_t>(index + 1); };
    list.row = [](std::size_t index) -> Result<ListedMessage> {
      ListedMessage message;
      message.id = static_cast<std::uint32_t>(index + 1);
      message.date = index == 0 ? "01/05/2024" : "01/06/2024*";
      message.from = "\xC3\xA4\tnn";
      return message;
    };
    return list;
  }
  const ListedTextReader readText = [](std::uint32_t id, std::string_view date,
                                       bool stripQuoted) -> Result<std::string> {
    if (id == 9) return Failure{"SQL error: gone"};
    return fmt::format("{} {}{}", id, date, stripQuoted ? " stripped" : "");
  };
};

TEST_F(SavedText, ListAndMessagesHaveTheirEncodings) {
  addAttachment(2, "text/plain", "a", "x");
  addAttachment(2, "text/plain", "b", "");
  ASSERT_TRUE(saveList(context, listed(), folder / "l", "WHERE x=\"\xC3\xA4\""));
  EXPECT_EQ(folder.read("l"),
            "WHERE x=\"\xC3\xA4\"\n\n1\t01/05/2024\t\\u00e4\tnn\t\t\t\n"
            "2\t01/06/2024*\t\\u00e4\tnn\t\t\t\n");
  ASSERT_TRUE(saveMessages(context, listed(), folder / "m", readText, true));
  std::string text = folder.read("m");
  text.erase(std::remove(text.begin(), text.end(), '\0'), text.end());
  const std::string mark = "\xFF\xFE";
  EXPECT_EQ(text, mark + "1 01/05/2024 stripped\n\n" + mark + "2 01/06/2024 stripped\n\n" + mark +
                      "a\n\n" + mark + "b\n\n");
  EXPECT_EQ(**printedList(context, listed(), readText, false),
            "1 01/05/2024\n\n2 01/06/2024\n\na\n\nb\n\n");
  EXPECT_EQ(*printedMessage(context, *listed().row(0), readText, false), "1 01/05/2024");
  EXPECT_EQ(*printedMessage(context, *listed().row(1), readText, false),
            "2 01/06/2024\n\na\n\nb\n\n");
  EXPECT_EQ(saveMessages(context, ids({9}), folder / "n", readText, false)->messages, 0U)
      << "it is gone";
  addMessage(9, kDate, "a", "s", "b");
  EXPECT_FALSE(saveMessages(context, ids({9}), folder / "n", readText, false));
}

TEST_F(SavedText, SourcesStandAsTheyAreKept) {
  addSource(1, "9\nS: 1\n\nb\n");
  addSource(3, "From x\nS: 3");
  const auto report = saveSources(context, ids({3, 2, 1}), folder / "s");
  ASSERT_TRUE(report);
  EXPECT_EQ(report->messages, 2U);
  EXPECT_EQ(folder.read("s"), "From x\nS: 3\n\n9\nS: 1\n\nb\n\n\n");
}

TEST_F(SavedText, AttachmentsStayInTheirFolderAndOverwriteNothing) {
  addAttachment(1, "application/pdf", "a.pdf", std::string("\0\xFF", 2));
  addAttachment(1, "application/pdf", "a.pdf", "two");
  addAttachment(1, "text/html", "htmlversion.html", "own");
  addAttachment(1, "text/html", "page.html", "");
  addAttachment(2, "text/plain", "../../e\"vil", "x");
  addMessage(3, kDate, "a", "s", "b");
  const auto report = saveAllAttachments(context, ids({1, 2, 3}), folder / "new/out");
  ASSERT_TRUE(report) << report.error();
  EXPECT_EQ(report->files, 4U);
  EXPECT_FALSE(report->lastHadAttachments);
  ASSERT_TRUE(saveAllAttachments(context, ids({2}), folder / "new/out")->lastHadAttachments);
  std::map<std::string, std::string> found;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder.path())) {
    if (!entry.is_regular_file()) continue;
    const std::string name = entry.path().string().substr(folder.path().size() + 1);
    found[name] = folder.read(name);
  }
  EXPECT_EQ(found,
            (std::map<std::string, std::string>{{"new/out/1_a.pdf", std::string("\0\xFF", 2)},
                                                {"new/out/1_a_2.pdf", "two"},
                                                {"new/out/1_page.html", ""},
                                                {"new/out/2_.._.._e\"vil", "x"},
                                                {"new/out/2_.._._2._e\"vil", "x"}}));
}

TEST(Printing, TellsTheWordsOfThePrinter) {
  RecordingToolRunner tools;
  ASSERT_TRUE(sendToPrinter(tools, "a\x1B[2J\n", "office"));
  EXPECT_EQ(tools.lines().front(), "lp -t Keldane -d office");
  EXPECT_EQ(tools.calls.front().input, "a\xEF\xBF\xBD[2J\n");
  tools.outcomes.push_back({1, "", "lp: no default destination\n"});
  const Result<void> printed = sendToPrinter(tools, "x");
  ASSERT_FALSE(printed);
  EXPECT_NE(printed.error().find("no default destination"), std::string::npos);
}

}  // namespace
}  // namespace keldane
