#include <fmt/format.h>
#include "app/panels/deletion_panel.h"
#include "app/panels/export_panel.h"
#include "app/panels/print_panel.h"
#include "app/panels/reply_panel.h"
#include "app/panels/save_panel.h"
#include "base/text.h"
#include "tests/app/panels_rig.h"

namespace keldane {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct RecordingPrinter : PagePrinter {
  bool printText(const std::string& text, bool asks) override {
    pages.push_back((asks ? "ask " : "") + text.substr(0, text.find('\n')));
    return pages.size() < most;
  }
  void printHtml() override { pages.emplace_back("html"); }
  std::vector<std::string> pages;
  std::size_t most = 9;
};

/// The panels over a list of three messages, shown from its end.
class OutputPanels : public ::testing::Test, protected ServerPanels {
 protected:
  OutputPanels() {
    for (int id = 1; id <= 3; ++id) {
      const std::string date = "2024-01-0" + std::to_string(id) + " 10:00:00";
      run(fmt::format(
          "INSERT INTO email VALUES({0},'a{0}@example.com','b@example.org','s{0}','{1}',"
          "'In','','body {0}',1,'','','')",
          id, date));
      run(fmt::format("INSERT INTO origemail VALUES({0},'Subject: s{0}\n\nbody {0}\n')", id));
      run(fmt::format("INSERT INTO attachments VALUES({0},'image/png','p{0}.png',0,'xyz')", id));
      list.emailRows.push_back({static_cast<std::uint32_t>(id), 1, date,
                                fmt::format("a{}@example.com", id), "b@example.org",
                                fmt::format("s{}", id), "In"});
      list.emailIds.push_back(std::to_string(id));
    }
    list.reverseList = true;
    list.selectedRows = {1, 0};
  }
  std::string text(const std::string& name) {
    std::string found = folder.read(name);
    for (const char* gone : {"\xFF\xFE", "\0"}) {
      removeAll(found, std::string_view(gone, *gone == '\0' ? 1 : 2));
    }
    return found;
  }
  std::vector<std::string> told() {
    std::vector<std::string> lines = ui.alertLines();
    ui.calls.clear();
    for (std::string& line : lines) replaceAll(line, folder.path(), "~");
    return lines;
  }

  RecordingPrinter printer;
  MessageViewer viewer{
      {session, list, settings.user, process, environment, ui, {}, [] { return false; }, {}}};
  OutputFrame frame{{session, list, settings, progress, ui, host, {}}};
  std::string whereSql = "WHERE 1";
  std::string report = "figures";
  SavePanel save{frame, whereSql};
  ExportPanel exports{frame};
  DeletionPanel deletion{frame, process};
  ReplyPanel reply{frame, viewer, tools, process};
  PrintPanel print{frame, viewer, report};
};

TEST_F(OutputPanels, SaveWhatTheListShows) {
  ui.savedFiles = {folder / "list", "", folder / "selected", folder / "all", folder / "raw", ""};
  save.saveList();
  EXPECT_EQ(folder.read("list").substr(0, 52),
            "WHERE 1\n\n3\t2024-01-03 10:00:00\ta3@example.com\tb@exam");
  save.saveList();
  EXPECT_THAT(told(), ElementsAre("alert [List has been saved] This list has been saved to ~/list.",
                                  "alert critical [Can't open file] Couldn't open "));
  ui.alertAnswers = {kFirstButton, kSecondButton, 1002};
  save.saveSelected();
  EXPECT_EQ(text("selected").find("ID: 3\n"), 0U);
  EXPECT_NE(text("selected").find("\n\np3.png\n\nID: 2\n"), std::string::npos);
  EXPECT_EQ(text("selected").find("ID: 1\n"), std::string::npos);
  save.saveAll();
  EXPECT_NE(text("all").find("ID: 1\n"), std::string::npos);
  save.saveAll();
  save.saveOrigSelected();
  EXPECT_EQ(folder.read("raw"), "Subject: s3\n\nbody 3\n\n\nSubject: s2\n\nbody 2\n\n\n");
  save.saveOrigAll();
  const std::vector<std::string> alerts = told();
  ASSERT_EQ(alerts.size(), 6U) << "three questions, of which the last was cancelled";
  EXPECT_EQ(alerts[1],
            "alert [Email has been saved] The email in this list has been saved to the text file "
            "~/selected.");
  EXPECT_EQ(alerts[5],
            "alert [Raw source email has been saved] The raw source email in the list has been "
            "saved to the text file ~/raw.");
  ui.chosenFiles = {{folder / "files"}};
  save.saveAllAttachments();
  EXPECT_EQ(folder.read("files/3_p3.png") + folder.read("files/2_p2.png"), "xyzxyz");
  EXPECT_THAT(told(), ElementsAre("alert [Attachments Saved] The attachments have been saved."));
}

TEST_F(OutputPanels, ExportsTellWhereTheyWent) {
  exports.saveAddresses();
  EXPECT_THAT(told(), ElementsAre("alert [Choose address] Either FROM or TO email addresses, or "
                                  "both, must be chosen."));
  exports.form.fromAddsCheck = true;
  ui.savedFiles = {folder / "t", folder / "c", folder / "m", folder / "a"};
  exports.exportTab();
  exports.exportComma();
  exports.exportMbox();
  exports.saveAddresses();
  EXPECT_EQ(folder.read("a"), "a1@example.com\na2@example.com\na3@example.com\n");
  EXPECT_EQ(folder.read("m").find("From a3@example.com  Wed Jan 03 10:00:00 2024\nSubject: s3"),
            0U);
  EXPECT_THAT(
      told(),
      ElementsAre(
          "alert [Done Exporting] The data has been exported to the tab-delimited text file ~/t.",
          "alert [Done Exporting] The data has been exported to the comma-delimited text file ~/c.",
          "alert [Done exporting] The data has been exported to the mbox file ~/m.",
          "alert [Done exporting] The email addresses have been exported to the email list text "
          "file ~/a."));
  EXPECT_EQ(host.calls[0].find("notify [Done Archiving Email] The data has been exported"), 0U);
  EXPECT_EQ(host.calls[3].find("notify [Done Exporting Addresses] The email addresses"), 0U);
}

TEST_F(OutputPanels, WhatCouldNotBeWrittenIsNotCalledSaved) {
  ui.alertAnswers = {kSecondButton};
  ui.savedFiles = {"/dev/full", "/dev/full", "/dev/full", "/dev/full", folder / "none/t"};
  ui.chosenFiles = {{"/proc"}};
  save.saveList();
  save.saveAll();
  save.saveOrigAll();
  exports.exportMbox();
  exports.exportTab();
  save.saveAllAttachments();
  const std::string full = "alert critical [Can't write file] /dev/full: No space left on device";
  EXPECT_THAT(told(), ElementsAre(full, testing::StartsWith("alert [Strip"), full, full, full,
                                  "alert critical [Can't open file] Couldn't open ~/none/t",
                                  "alert critical [Can't open file] Couldn't open /proc/3_p3.png"));
  EXPECT_THAT(host.calls, IsEmpty());
}

TEST_F(OutputPanels, WhatTheUserEndsIsNotCalledSaved) {
  ui.ends = true;
  ui.alertAnswers = {kSecondButton};
  ui.savedFiles = {folder / "1", folder / "2", folder / "3"};
  ui.chosenFiles = {{folder / "files"}};
  save.saveAll();
  save.saveOrigAll();
  exports.exportComma();
  save.saveAllAttachments();
  print.setPrinter(&printer);
  print.printAll();
  EXPECT_THAT(told(), ElementsAre(testing::StartsWith("alert [Strip")));
  EXPECT_FALSE(ui.isPanelVisible("ProgressPanel"));
  EXPECT_THAT(printer.pages, IsEmpty());
  for (const char* name : {"1", "2", "3"}) EXPECT_FALSE(fileExists(folder / name)) << name;
}

TEST_F(OutputPanels, DeletionsTakeTheRowsThatAreShown) {
  ui.alertAnswers = {kFirstButton, kSecondButton, kFirstButton, kFirstButton};
  deletion.deleteAttachments();
  EXPECT_EQ(db.cells("SELECT id FROM attachments"), "1");
  EXPECT_EQ(told().back().find("alert [Duplicates were deleted] The attachments have been"), 0U);
  list.selectedRows = {2};
  deletion.deleteFromList();
  EXPECT_THAT(list.emailIds, ElementsAre("2", "3"));
  EXPECT_EQ(list.dbCountTextField, "3 emails in the database.");
  EXPECT_EQ(list.listCountTextField, "2 emails in this list.");
  list.selectedRows = {0};
  deletion.deleteSelected();
  EXPECT_EQ(list.emailRows.size(), 2U) << "the user said no";
  deletion.deleteSelected();
  EXPECT_EQ(db.cells("SELECT id FROM email ORDER BY id"), "1\n2");
  EXPECT_THAT(list.emailIds, ElementsAre("2"));
  deletion.deleteAll();
  EXPECT_EQ(db.cells("SELECT id FROM origemail"), "1");
  EXPECT_EQ(list.listCountTextField, "0 emails in this list.");
  EXPECT_EQ(list.dbCountTextField, "1 emails in the database.");
}

TEST_F(OutputPanels, ARefusedDeletionIsToldAndLeavesTheList) {
  run("DROP TABLE tags");
  deletion.deleteSelected();
  EXPECT_EQ(told().back().find("alert critical [SQL Error] SQL error: "), 0U);
  EXPECT_TRUE(ui.isPanelVisible("ProgressPanel"));
  EXPECT_EQ(list.emailRows.size(), 3U);
}

TEST_F(OutputPanels, AnswersOpenInTheMailProgram) {
  viewer.messageText = "ID: 3\nDATE: x\n\nbodyATTACHMENTS:\n";
  list.selectedRows = {0};
  reply.replyToEmail();
  reply.forwardEmail();
  const std::string source = folder / "work/forwarded_3.eml";
  EXPECT_THAT(tools.lines(),
              ElementsAre("xdg-email --utf8 --subject Re: s3 --body \n\n\nMessage received "
                          "2024-01-03 10:00:00:\n\n> body 3 mailto:a3@example.com",
                          "xdg-email --utf8 --subject Fwd: s3 --body \n\n\nBegin forwarded "
                          "message:\n\nDATE: x\n\nbody --attach " +
                              source));
  EXPECT_EQ(folder.read("work/forwarded_3.eml"), "Subject: s3\n\nbody 3\n");
  host.mailApplication = true;
  reply.replyToEmail();
  EXPECT_EQ(tools.calls.back().program, "osascript");
  tools.missing = {"xdg-email"};
  host.mailApplication = false;
  reply.replyToEmail();
  list.selectedRows.clear();
  reply.forwardEmail();
  EXPECT_EQ(tools.calls.size(), 4U);
  EXPECT_EQ(told().size(), 1U);
}

TEST_F(OutputPanels, PrintingAsksOnce) {
  print.setPrinter(&printer);
  print.printSelected();
  print.printAll();
  print.printStats();
  viewer.views.htmlShowing = true;
  print.printSelected();
  EXPECT_THAT(printer.pages, ElementsAre("ask ID: 3", "ID: 2", "ask ID: 3", "ask figures", "html"));
  viewer.views.htmlShowing = false;
  printer = {};
  printer.most = 1;
  print.printSelected();
  EXPECT_EQ(printer.pages.size(), 1U) << "the user has cancelled";
}

}  // namespace
}  // namespace keldane
