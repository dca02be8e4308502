#include <csignal>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <QAction>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <QTreeView>
#include <QUrl>
#include <QWheelEvent>

#include "base/files.h"
#include "tests/desktop/window_rig.h"

namespace keldane {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

const char* const kSubjects[] = {"Minutes", "Agenda", "Budget"};

std::string source(int number) {
  const std::string subject = kSubjects[number];
  return "From: Ann <ann@club.example>\nTo: Bo <bo@club.example>\nSubject: " + subject +
         "\nDate: Fri, 1" + std::to_string(number) + " Jan 2022 09:30:00 +0000\n\nText of " +
         subject + ".\n";
}

/// The program with three messages in its list: "Budget", "Agenda" and "Minutes".
class Reading : public ::testing::Test {
 protected:
  Reading() {
    for (int i = 0; i < 3; ++i) {
      rig.folder.write("mail/" + std::to_string(i) + ".eml", source(i));
    }
    rig.start();
    rig.archive(rig.folder / "mail");
    rig.alerts.clear();
  }
  QTreeView& list() { return rig.control<QTreeView>("storeTableView"); }
  QString subject(int row) { return list().model()->index(row, 3).data().toString(); }
  /// Of the list's own message; a window of its own has the same controls.
  QString shown() { return rig.window().findChild<QLineEdit*>("subjectLine")->text(); }
  static QWidget* messageWindow() {
    for (QWidget* top : QApplication::topLevelWidgets()) {
      if (top->objectName() == "messageWindow") return top;
    }
    return nullptr;
  }
  /// What the window of its own shows.
  static QString openText() {
    QWidget* window = messageWindow();
    return window == nullptr ? QString()
                             : window->findChild<QPlainTextEdit*>("bodyTextView")->toPlainText();
  }

  WindowRig rig;
};

TEST_F(Reading, KeysStepOpenAndChangeTheSize) {
  rig.selectRow(0);
  QTest::keyClicks(&list(), "jnk ");
  EXPECT_EQ(list().currentIndex().row(), 2) << "down, down, up, and on behind a short text";
  rig.selectRow(1);
  QTest::keyClick(&list(), Qt::Key_Return);
  ASSERT_NE(messageWindow(), nullptr);
  EXPECT_THAT(openText().toStdString(), HasSubstr("Text of Agenda."));
  auto* own = messageWindow()->findChild<QPlainTextEdit*>("bodyTextView");
  QTest::keyClicks(own, "n");
  EXPECT_THAT(openText().toStdString(), HasSubstr("Text of Minutes."));
  EXPECT_EQ(messageWindow()->windowTitle(), "Minutes");
  EXPECT_EQ(shown(), "Agenda") << "the list stays where it was";
  QTest::keyClick(own, Qt::Key_Escape);
  ASSERT_TRUE(WindowRig::waitFor([] { return messageWindow() == nullptr; }));

  auto& text = rig.control<QPlainTextEdit>("bodyTextView");
  const qreal usual = text.font().pointSizeF();
  QWheelEvent turned({5, 5}, text.mapToGlobal(QPointF(5, 5)), {}, {0, 120}, Qt::NoButton,
                     Qt::ControlModifier, Qt::NoScrollPhase, false);
  QApplication::sendEvent(text.viewport(), &turned);
  EXPECT_GT(text.font().pointSizeF(), usual);
  rig.click("usualSizeItem");
  EXPECT_EQ(text.font().pointSizeF(), usual);
}

TEST_F(Reading, MessagesLeaveAsFilesAndTheListComesBackAsItWas) {
  rig.selectRow(2);
  const std::unique_ptr<QMimeData> dragged(
      list().model()->mimeData(list().selectionModel()->selectedIndexes()));
  ASSERT_TRUE(dragged && dragged->urls().size() == 1);
  const auto written = readFile(dragged->urls().front().toLocalFile().toStdString());
  ASSERT_TRUE(written) << written.error();
  EXPECT_EQ(*written, source(0));

  list().header()->sectionClicked(3);
  list().header()->sectionClicked(3);
  list().header()->moveSection(0, 2);
  list().header()->resizeSection(1, 171);
  rig.restart();
  EXPECT_EQ(subject(0), "Minutes");
  EXPECT_EQ(subject(2), "Agenda");
  EXPECT_EQ(list().header()->visualIndex(0), 2);
  EXPECT_EQ(list().header()->sectionSize(1), 171);
}

TEST_F(Reading, CommandsCanBeChosenOnlyWhenTheyCanAct) {
  struct Case {
    const char* item;
    bool withoutSelection;
    bool atTheEnd;
    bool withoutRows;
  };
  const Case cases[] = {{"deleteFromListItem", false, true, false},
                        {"deleteSelectedItem", false, true, false},
                        {"deleteAllItem", true, true, false},
                        {"deleteAttachmentsItem", false, false, false},
                        {"mySaveSelected", false, true, false},
                        {"saveAllAttachmentsItem", false, false, false},
                        {"printAllItem", true, true, false},
                        {"exportMboxItem", true, true, false},
                        {"replyItem", false, true, false},
                        {"openMessageItem", false, true, false},
                        {"nextItem", true, false, false},
                        {"previousItem", false, true, false},
                        {"viewRawItem", false, true, false},
                        {"dupsItem", true, true, true},
                        {"searchItem", true, true, true}};
  const auto enabled = [this](const Case& one) {
    return rig.control<QAction>(one.item).isEnabled();
  };
  for (const Case& one : cases) EXPECT_EQ(enabled(one), one.withoutSelection) << one.item;
  rig.selectRow(2);
  for (const Case& one : cases) EXPECT_EQ(enabled(one), one.atTheEnd) << one.item;
  list().selectAll();
  rig.click("deleteFromListItem");
  for (const Case& one : cases) EXPECT_EQ(enabled(one), one.withoutRows) << one.item;
}

TEST_F(Reading, ALongStatementShowsABarAndIsEndedByIt) {
  QString title;
  QTimer pressing;
  QObject::connect(&pressing, &QTimer::timeout, [&] {
    if (!rig.control<QWidget>("ProgressPanel").isVisible()) return;
    title = rig.control<QLabel>("progressTitle").text();
    rig.control<QPushButton>("parseCancelButton").click();
  });
  pressing.start(20);
  rig.click("editSqlItem");
  rig.control<QPlainTextEdit>("whereTextField")
      .setPlainText("WHERE BENCHMARK(1000000000000,MD5('a'))=0");
  rig.click("makeSQLStringButton");
  pressing.stop();
  EXPECT_EQ(title, "Retrieving...");
  ASSERT_EQ(rig.alerts.size(), 1U);
  EXPECT_THAT(rig.alerts[0].toStdString(), HasSubstr("interrupted"));
  EXPECT_FALSE(rig.control<QWidget>("ProgressPanel").isVisible());
  rig.click("newestItem");
  EXPECT_EQ(list().model()->rowCount(), 3);
}

TEST_F(Reading, WhatAnotherProgramDoesIsSeenAtTheNextAction) {
  const std::unique_ptr<ServerSession> other = makeMysqlSession();
  other->init();
  ASSERT_TRUE(
      other->connect(rig.controller().connections().address(rig.controller().database().dbPath)));
  ASSERT_TRUE(
      other->query("DELETE email,origemail FROM email,origemail WHERE "
                   "email.id=origemail.id AND subj_fld='Agenda'"));
  rig.selectRow(1);
  EXPECT_EQ(rig.control<QPlainTextEdit>("bodyTextView").toPlainText(),
            "This email is no longer in the archive.");
  rig.click("newestItem");
  EXPECT_EQ(list().model()->rowCount(), 2);
  EXPECT_EQ(rig.control<QLabel>("dbCountTextField").text(), "2 emails in the database.");
}

/// It comes back for the message that is asked for, and takes no list away.
TEST_F(Reading, TheListOutlivesAServerThatHasDied) {
  rig.selectRow(0);
  rig.click("deleteFromListItem");
  ::kill(rig.controller().localServer().status().processId, SIGKILL);
  rig.selectRow(1);
  EXPECT_EQ(shown(), "Minutes");
  EXPECT_FALSE(rig.control<QWidget>("connectionBar").isVisible());
  EXPECT_EQ(list().model()->rowCount(), 2);
  EXPECT_EQ(list().currentIndex().row(), 1);
}

TEST_F(Reading, ALostServerIsToldAndOneClickConnectsAgain) {
  rig.selectRow(0);
  auto& bar = rig.control<QWidget>("connectionBar");
  EXPECT_FALSE(bar.isVisible());
  const int server = rig.controller().localServer().status().processId;
  ASSERT_GT(server, 0);
  ::kill(server, SIGKILL);
  rig.click("newestItem");
  EXPECT_TRUE(bar.isVisible());
  EXPECT_EQ(list().model()->rowCount(), 0);
  rig.click("reconnectButton");
  EXPECT_FALSE(bar.isVisible());
  EXPECT_EQ(list().model()->rowCount(), 3);
  rig.selectRow(1);
  EXPECT_EQ(shown(), "Agenda");
}

}  // namespace
}  // namespace keldane
