#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>
#include <QTimeEdit>
#include <QTimer>
#include <QTreeView>
#include <QTreeWidget>

#include "base/files.h"
#include "desktop/qt_page_printer.h"
#include "tests/desktop/window_rig.h"

namespace keldane {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

/// The program with three messages in its list: "Budget", "Agenda" and "Minutes".
class Panels : public ::testing::Test {
 protected:
  Panels() {
    const char* const subjects[] = {"Minutes", "Agenda", "Budget"};
    for (int i = 0; i < 3; ++i) {
      rig.folder.write("mail/" + std::to_string(i) + ".eml",
                       "From: Ann <ann@club.example>\nTo: Bo <bo@club.example>\nSubject: " +
                           std::string(subjects[i]) + "\nDate: Fri, 1" + std::to_string(i) +
                           " Jan 2022 09:30:00 +0000\n\nText of " + subjects[i] + ".\n");
    }
    rig.start();
    rig.archive(rig.folder / "mail");
    rig.alerts.clear();
  }
  QStringList column(int number) {
    QStringList cells;
    const QAbstractItemModel& rows = *rig.control<QTreeView>("storeTableView").model();
    for (int row = 0; row < rows.rowCount(); ++row) {
      cells += rows.index(row, number).data().toString();
    }
    return cells;
  }
  QStringList subjects() { return column(3); }

  WindowRig rig;
};

TEST_F(Panels, TagsAreGivenAndTakenFromTheSelectedRows) {
  EXPECT_FALSE(rig.control<QAction>("tagItem").isEnabled());
  rig.selectRow(1);
  rig.click("tagItem");
  rig.control<QLineEdit>("catTextField").setText("Club");
  rig.control<QLineEdit>("keywordsTextField").setText("zeta alpha");
  rig.control<QComboBox>("priorityButton").setCurrentIndex(4);
  rig.click("addTagsButton");
  EXPECT_THAT(rig.alerts, ElementsAre("Done: Done tagging email"));
  EXPECT_EQ(column(0).filter("*").size(), 1);
  EXPECT_TRUE(column(0)[1].endsWith('*'));
  EXPECT_TRUE(rig.control<QLineEdit>("tagsLine").text().contains("Club")) << "above the message";

  // What is shown comes from the archive, for the row that is selected.
  rig.selectRow(0);
  rig.click("tagItem");
  EXPECT_EQ(rig.control<QLineEdit>("keywordsTextField").text(), "");
  auto& known = rig.control<QComboBox>("setCatButton");
  known.setCurrentIndex(known.findText("Club"));
  Q_EMIT known.activated(known.currentIndex());
  EXPECT_EQ(rig.control<QLineEdit>("catTextField").text(), "Club");
  rig.selectRow(1);
  rig.click("tagItem");
  EXPECT_EQ(rig.control<QLineEdit>("keywordsTextField").text(), "alpha zeta");
  EXPECT_EQ(rig.control<QComboBox>("priorityButton").currentIndex(), 4);
  rig.control<QLineEdit>("catTextField").clear();
  rig.control<QLineEdit>("keywordsTextField").clear();
  rig.control<QComboBox>("priorityButton").setCurrentIndex(0);
  rig.click("addTagsButton");
  EXPECT_EQ(column(0).filter("*").size(), 0);
}

TEST_F(Panels, ARuleIsWrittenSwitchedOffAndRemoved) {
  rig.click("tagRulesItem");
  rig.click("addRuleButton");
  rig.control<QLineEdit>("ruleDescTextField").setText("Treasurer");
  rig.control<QLineEdit>("ruleValueTextField3").setText("Invoice");
  rig.control<QLineEdit>("ruleCatTextField").setText("Money");
  rig.click("doAddRuleButton");
  const auto archiveInvoice = [this](const char* day) {
    rig.folder.write("more/" + std::string(day) + ".eml",
                     "From: carl@club.example\nTo: bo@club.example\nSubject: Invoice\nDate: " +
                         std::string(day) + " Feb 2022 09:30:00 +0000\n\nPay.\n");
    rig.archive(rig.folder / "more");
  };
  archiveInvoice("Tue, 1");
  EXPECT_EQ(column(0).filter("*").size(), 1);

  auto& rules = rig.control<QTreeWidget>("tagRulesTableView");
  ASSERT_EQ(rules.topLevelItemCount(), 1);
  rules.topLevelItem(0)->setCheckState(0, Qt::Unchecked);
  ASSERT_TRUE(WindowRig::waitFor(
      [this] { return rig.controller().tagRules().rules()[0].ruleActive == 0; }));
  EXPECT_EQ(rules.topLevelItem(0)->text(0), "Treasurer");
  rules.setCurrentItem(rules.topLevelItem(0));
  rig.click("editRuleButton");
  EXPECT_EQ(rig.control<QLineEdit>("ruleValueTextField3").text(), "Invoice");
  rig.click("cancelRuleButton");
  rig.click("removeRuleButton");
  EXPECT_EQ(rules.topLevelItemCount(), 0);
  EXPECT_TRUE(rig.controller().tagRules().rules().empty());
}

TEST_F(Panels, TheBoxForEveryDayAndThoseForOneGoTogether) {
  rig.click("settingsItem");
  rig.click("schedAll");
  EXPECT_TRUE(rig.control<QCheckBox>("schedSat").isChecked());
  rig.click("schedMon");
  EXPECT_FALSE(rig.control<QCheckBox>("schedAll").isChecked());
  EXPECT_TRUE(rig.control<QCheckBox>("schedSat").isChecked());
  EXPECT_FALSE(rig.control<QCheckBox>("schedMon").isChecked());

  // The time that is proposed is nobody's choice.
  rig.click("savePrefButton");
  EXPECT_FALSE(rig.controller().preferences().has("schedDateValue"));
  rig.control<QTimeEdit>("schedTime").setTime(QTime(7, 15));
  rig.click("savePrefButton");
  EXPECT_THAT(rig.controller().preferences().text("schedDateValue").value_or(""),
              HasSubstr(" 07:15:00"));
}

TEST_F(Panels, ATimeIsTakenAsItIsTyped) {
  rig.controller().settingsPanel().form.settingsToolbar = 3;
  rig.click("settingsItem");
  auto& time = rig.control<QTimeEdit>("schedTime");
  auto& line = *time.findChild<QLineEdit*>();
  const auto click = [&line](int x) {
    QTest::mouseClick(&line, Qt::LeftButton, {}, QPoint(x, line.height() / 2));
  };
  const std::pair<const char*, std::function<void()>> ways[] = {
      {"by Tab", [&] { time.setFocus(Qt::TabFocusReason); }},
      {"clicked on the hours", [&] { click(1); }},
      {"clicked on the minutes, and all selected", [&] {
         click(line.width() - 2);
         QTest::keyClick(&time, Qt::Key_A, Qt::ControlModifier);
       }}};
  for (const auto& [way, enter] : ways) {
    for (const char* keys : {"0730", "7:30", "07:30", "730"}) {
      time.clearFocus();
      time.setTime(QTime(12, 0));
      enter();
      QTest::keyClicks(QApplication::focusWidget(), keys);
      EXPECT_EQ(time.time(), QTime(7, 30)) << way << " " << keys;
    }
  }
  click(line.width() - 2);
  QTest::keyClicks(&time, "45");
  EXPECT_EQ(time.time(), QTime(7, 45));
}

TEST_F(Panels, FoldersAreFoundKeptAndRemoved) {
  rig.folder.write("Maildir/cur/1", "From: a@b.c\nDate: Fri, 1 Jan 2021 1:00:00 +0000\n\nx\n");
  rig.folder.write("Maildir/new/2", "From: a@b.c\nDate: Fri, 2 Jan 2021 1:00:00 +0000\n\nx\n");
  rig.folder.write("Maildir/tmp/x", "");
  rig.click("settingsItem");
  EXPECT_FALSE(rig.control<QPushButton>("removeFolderButton").isEnabled());
  // What is typed elsewhere and not saved yet stays.
  rig.control<QLineEdit>("importFolderTextField").setText("/typed");
  rig.click("findFoldersButton");
  rig.click("addFoundButton");
  auto& table = rig.control<QTreeWidget>("foldersTableView");
  QStringList places;
  for (int row = 0; row < table.topLevelItemCount(); ++row) {
    places += table.topLevelItem(row)->text(1);
  }
  EXPECT_THAT(places,
              testing::UnorderedElementsAre(QString::fromStdString(rig.folder / "mail"),
                                            QString::fromStdString(rig.folder / "Maildir")));
  table.selectAll();
  rig.click("removeFolderButton");
  EXPECT_EQ(table.topLevelItemCount(), 0);
  EXPECT_EQ(rig.control<QLineEdit>("importFolderTextField").text(), "/typed");
}

TEST_F(Panels, ARunReadsTheChosenFileWithinTheChosenDays) {
  const std::string path = rig.folder.write(
      "late/one.eml", "From: a@b.c\nSubject: Late\nDate: Thu, 20 Jan 2022 09:30:00 +0000\n\nx\n");
  const auto choose = [&] {
    rig.answers = {"Files..."};
    rig.files = {path};
    rig.click("importItem");
    EXPECT_THAT(rig.control<QLabel>("chosenFilesLabel").text().toStdString(), HasSubstr(path));
  };
  const auto archive = [this] {
    rig.click("parseEmailButton");
    ASSERT_TRUE(WindowRig::waitFor([this] { return !rig.controller().archiveRun().isRunning(); }));
  };
  choose();
  auto& year = rig.control<QComboBox>("endStoreYr");
  year.setCurrentIndex(year.findData("2021"));
  archive();
  EXPECT_EQ(rig.control<QLabel>("dbCountTextField").text(), "3 emails in the database.");
  choose();
  rig.click("allDaysButton");
  EXPECT_EQ(year.currentData(), "All");
  archive();
  EXPECT_EQ(subjects(), QStringList{"Late"});
}

/// A form whose connect fails comes back, and only a connect closes it.
TEST_F(Panels, AConnectionIsSavedTriedAndDeleted) {
  auto& list = rig.control<QListWidget>("connectionTableView");
  auto& panel = rig.control<QDialog>("connectPanel");
  const auto rowOf = [&list](const QString& name) {
    const auto found = list.findItems(name, Qt::MatchExactly);
    return found.isEmpty() ? -1 : list.row(found.front());
  };
  int known = -1;
  const auto cameBack = [&] {
    panel.reject();
    EXPECT_TRUE(panel.isVisible());
    list.setCurrentRow(rowOf("Club"));
    EXPECT_EQ(rig.control<QLineEdit>("portTextField").text(), "1");
    rig.click("deleteConnectionButton");
    EXPECT_EQ(rowOf("Club"), -1);
    list.setCurrentRow(known);
    rig.click("connectButton");
  };
  QTimer::singleShot(0, [&] {
    known = list.currentRow();
    EXPECT_GE(known, 0);
    for (const auto& [field, text] : {std::pair("connectNameTextField", "Club"),
                                      {"hostTextField", "127.0.0.1"},
                                      {"portTextField", "1"},
                                      {"socketTextField", ""}}) {
      rig.control<QLineEdit>(field).setText(text);
    }
    rig.click("saveConnectionButton");
    EXPECT_EQ(list.currentRow(), rowOf("Club"));
    QTimer waiting;
    QObject::connect(&waiting, &QTimer::timeout, [&] {
      if (rig.alerts.empty() || !panel.isVisible()) return;
      waiting.stop();
      QTimer::singleShot(0, cameBack);
    });
    waiting.start(10);
    rig.click("connectButton");
  });
  rig.click("connectItem");
  ASSERT_EQ(rig.alerts.size(), 1U);
  EXPECT_TRUE(rig.alerts[0].startsWith("SQL Error: Failed to connect to server: Error: "));
  EXPECT_FALSE(panel.isVisible());
  EXPECT_TRUE(rig.controller().connections().isConnected());
  EXPECT_EQ(subjects().size(), 3);

  // With the session back, Esc leaves it as it is, whatever was looked at.
  QTimer::singleShot(0, [&] {
    EXPECT_FALSE(rig.control<QWidget>("quitButton").isVisible());
    rig.control<QLineEdit>("connectNameTextField").setText("Club");
    rig.click("saveConnectionButton");
    EXPECT_FALSE(panel.close()) << "its close control is no answer";
    QTest::keyClick(&panel, Qt::Key_Escape);
  });
  rig.click("connectItem");
  EXPECT_FALSE(panel.isVisible());
  EXPECT_TRUE(rig.control<QLabel>("connectionLabel").text().startsWith("This Computer"));
}

TEST_F(Panels, TheTextWindowShowsSourceOrLogAndKeepsIt) {
  rig.selectRow(0);
  rig.click("viewRawItem");
  auto& text = rig.control<QPlainTextEdit>("origTextView");
  EXPECT_TRUE(text.toPlainText().contains("Subject: Budget"));
  EXPECT_EQ(text.window()->windowTitle(), "Original Raw Source");
  rig.selectRow(1);
  EXPECT_TRUE(text.toPlainText().contains("Subject: Agenda"));
  rig.click("logItem");
  const QString log = text.toPlainText();
  EXPECT_TRUE(log.contains("Archived: 3"));
  EXPECT_EQ(text.window()->windowTitle(), "Archive Log");
  rig.click("settingsItem");
  rig.click("savePrefButton");
  EXPECT_EQ(text.toPlainText(), log);
}

TEST_F(Panels, DeletionAsksAndGoesOnToTheNextRow) {
  rig.selectRow(0);
  rig.answers = {"Cancel"};
  rig.click("deleteSelectedItem");
  EXPECT_EQ(subjects(), (QStringList{"Budget", "Agenda", "Minutes"}));
  rig.answers = {"Delete"};
  rig.click("deleteSelectedItem");
  EXPECT_EQ(subjects(), (QStringList{"Agenda", "Minutes"}));
  EXPECT_EQ(rig.control<QLabel>("dbCountTextField").text(), "2 emails in the database.");
  EXPECT_EQ(rig.control<QLineEdit>("subjectLine").text(), "Agenda");
  const std::size_t asked = rig.alerts.size();
  rig.click("deleteFromListItem");
  rig.click("deleteFromListItem");
  EXPECT_EQ(rig.alerts.size(), asked);
  EXPECT_TRUE(subjects().isEmpty());
  EXPECT_EQ(rig.control<QLabel>("dbCountTextField").text(), "2 emails in the database.");
  EXPECT_EQ(rig.control<QLineEdit>("dateLine").text(), "");
}

/// What failed leaves the panel of its progress standing, which must not stand for ever.
TEST_F(Panels, APanelThatAFailureHasLeftOpenCanBeClosed) {
  ASSERT_TRUE(rig.controller().session().query("ALTER TABLE tags RENAME TO elsewhere"));
  rig.selectRow(0);
  rig.answers = {"Delete"};
  rig.click("deleteSelectedItem");
  EXPECT_THAT(rig.alerts.back().toStdString(), ::testing::StartsWith("SQL Error: SQL error: "));
  auto& close = rig.control<QPushButton>("parseCancelButton");
  ASSERT_TRUE(WindowRig::waitFor([&close] { return close.isVisible(); }));
  EXPECT_EQ(close.text(), "Close");
  close.click();
  EXPECT_FALSE(rig.control<QWidget>("ProgressPanel").isVisible());
  EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
}

TEST_F(Panels, DuplicatesAreListedAndDeleted) {
  // Another program's doing.
  const std::unique_ptr<ServerSession> other = makeMysqlSession();
  other->init();
  ASSERT_TRUE(
      other->connect(rig.controller().connections().address(rig.controller().database().dbPath)));
  for (const char* const statement :
       {"INSERT INTO email (from_fld,to_fld,subj_fld,date_fld,mailbox,body_fld,attachNames,"
        "attachText,headings) SELECT from_fld,to_fld,subj_fld,date_fld,'Copy',body_fld,"
        "attachNames,attachText,headings FROM email WHERE subj_fld='Agenda'",
        "INSERT INTO origemail SELECT LAST_INSERT_ID(),orig_fld FROM origemail,email WHERE "
        "email.id=origemail.id AND subj_fld='Agenda' LIMIT 1",
        // A copy of which only the row is there.
        "INSERT INTO email (from_fld,to_fld,subj_fld,date_fld,mailbox,body_fld,attachNames,"
        "attachText,headings) SELECT from_fld,to_fld,subj_fld,date_fld,'Bare',body_fld,"
        "attachNames,attachText,headings FROM email WHERE subj_fld='Budget'"}) {
    ASSERT_TRUE(other->query(statement)) << other->error();
  }
  rig.selectRow(0);
  rig.click("dupsItem");
  rig.click("checkDupsButton");
  EXPECT_EQ(column(4).filter("Copy").size(), 1);
  EXPECT_EQ(subjects().filter("Agenda").size(), 2);
  EXPECT_EQ(subjects().filter("Budget").size(), 2);
  EXPECT_EQ(rig.control<QLabel>("listCountTextField").text(), "4 emails in this list.");
  EXPECT_TRUE(rig.alerts.empty());

  rig.click("dupsItem");
  rig.click("deleteDupsButton");
  rig.click("checkDupsButton");
  EXPECT_THAT(rig.alerts, ElementsAre("Duplicates were deleted: 1 duplicate emails have been "
                                      "deleted from the database."));
  // What has no source cannot be shown to say the same, and stays.
  EXPECT_EQ(subjects().size(), 3);
  EXPECT_EQ(rig.control<QLabel>("dbCountTextField").text(), "4 emails in the database.");
}

TEST_F(Panels, WhatIsSavedAndExportedLiesInItsFile) {
  struct Case {
    const char* item;
    const char* file;
    const char* title;
    const char* text;
  };
  rig.click("exportAddressesItem");
  rig.control<QCheckBox>("fromAddsCheck").setChecked(true);
  QTimer asking;
  QObject::connect(&asking, &QTimer::timeout, [this] {
    auto& name = rig.control<QLineEdit>("dbNameTextField");
    if (!name.isVisible()) return;
    name.setText("copy");
    rig.click("gotIDButton");
  });
  asking.start(10);
  const Case cases[] = {
      {"mySaveOrigSelected", "one.txt", "Raw source email has been saved", "Subject: Agenda\n"},
      {"saveListItem", "list.txt", "List has been saved", "\tMinutes\t"},
      {"exportMboxItem", "all.mbox", "Done exporting", "\nText of Budget.\n"},
      {"saveAddressesButton", "addresses.txt", "Done exporting", "Ann <ann@club.example>\n"},
      {"exportSqlItem", "copy.sql", "Done exporting", "Minutes"},
  };
  rig.selectRow(1);
  for (const Case& action : cases) {
    SCOPED_TRACE(action.item);
    const std::string path = rig.folder / action.file;
    rig.alerts.clear();
    rig.files = {path};
    rig.click(action.item);
    ASSERT_EQ(rig.alerts.size(), 1U);
    EXPECT_TRUE(rig.alerts[0].startsWith(action.title)) << rig.alerts[0].toStdString();
    const auto written = readFile(path);
    ASSERT_TRUE(written) << written.error();
    EXPECT_THAT(*written, HasSubstr(action.text));
  }
}

/// The report as figures that are drawn; its pages, and those of a message, on paper.
TEST_F(Panels, StatisticsAreDrawnAndPrinted) {
  rig.click("statsItem");
  rig.click("doStatsReportButton");
  const QString report = rig.control<QPlainTextEdit>("statsTextView").toPlainText();
  EXPECT_TRUE(report.contains("Top 10 Senders")) << report.toStdString();
  EXPECT_EQ(rig.control<QWidget>("yearsChart").accessibleDescription(), "2022: 3");
  EXPECT_EQ(rig.control<QWidget>("sendersChart").accessibleDescription(),
            "Ann <ann@club.example>: 3");

  int asked = 0;
  const auto printsTo = [&](const std::string& path) {
    rig.program().printer().choose = [&asked, path](QPrinter& printer) {
      ++asked;
      printer.setOutputFormat(QPrinter::PdfFormat);
      printer.setOutputFileName(QString::fromStdString(path));
      return true;
    };
  };
  printsTo(rig.folder / "stats.pdf");
  rig.click("printStatsButton");
  printsTo(rig.folder / "mail.pdf");
  rig.selectRow(0);
  rig.click("printSelectedItem");
  EXPECT_EQ(asked, 2);
  for (const char* name : {"stats.pdf", "mail.pdf"}) {
    const auto pages = readFile(rig.folder / name);
    ASSERT_TRUE(pages) << pages.error();
    EXPECT_THAT(*pages, ::testing::StartsWith("%PDF"));
  }
}

}  // namespace
}  // namespace keldane
