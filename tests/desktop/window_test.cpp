#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <QHeaderView>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QStackedWidget>
#include <QTreeView>

#include "desktop/first_page.h"
#include "desktop/qt_text.h"
#include "tests/desktop/window_rig.h"

namespace keldane {
namespace {

constexpr const char* kMinutes =
    "From: Ann <ann@club.example>\nTo: Bo <bo@club.example>\nCc: carl@club.example\n"
    "Subject: Minutes\nDate: Fri, 14 Jan 2022 09:30:00 +0100\n\nAll agreed.\n";
// Its subject would turn the line, and shows as markup where a label is none of plain text.
constexpr const char* kHostile =
    "From: eve@example.org\nTo: bo@club.example\n"
    "Subject: =?utf-8?q?<b>owned</b>=E2=80=AEtxt=07?=\n"
    "Date: Sat, 15 Jan 2022 09:30:00 +0000\n\nHello \x1B[2J\n";

QStringList column(QTreeView& list, int number) {
  QStringList cells;
  for (int row = 0; row < list.model()->rowCount(); ++row) {
    cells += list.model()->index(row, number).data().toString();
  }
  return cells;
}

TEST(Window, GoesFromAnEmptyHomeToTheFirstMessageRead) {
  WindowRig rig;
  rig.folder.write("mail/1.eml", kMinutes);
  rig.folder.write("mail/2.eml", kHostile);
  rig.start();
  EXPECT_TRUE(rig.control<QWidget>("firstPage").isVisible());
  rig.archive(rig.folder / "mail");

  EXPECT_FALSE(rig.control<QWidget>("firstPage").isVisible());
  EXPECT_EQ(rig.alerts, std::vector<QString>{"Archive Log: Done Archiving Email"});
  auto& list = rig.control<QTreeView>("storeTableView");
  const QString owned = QStringLiteral("<b>owned</b>\uFFFDtxt\uFFFD");
  EXPECT_EQ(column(list, 3), (QStringList{owned, "Minutes"}));
  EXPECT_EQ(rig.control<QLabel>("dbCountTextField").text(), "2 emails in the database.");

  rig.selectRow(1);
  EXPECT_EQ(rig.control<QPlainTextEdit>("bodyTextView").toPlainText().trimmed(), "All agreed.");
  EXPECT_EQ(rig.control<QLabel>("ccLine").text(), "carl@club.example");
  EXPECT_EQ(rig.control<QLabel>("dateLine").text(), "Fri, 14 Jan 2022 09:30:00 +0100");
  rig.selectRow(0);
  EXPECT_EQ(rig.control<QLabel>("subjectLine").text(), owned);
  EXPECT_EQ(rig.control<QLabel>("subjectLine").textFormat(), Qt::PlainText);

  // A click on a head sorts and keeps the message that is shown; the next start has the list again.
  list.header()->sectionClicked(3);
  list.header()->sectionClicked(3);
  EXPECT_EQ(column(list, 3), (QStringList{"Minutes", owned}));
  EXPECT_EQ(list.currentIndex().row(), 1);
  rig.restart();
  EXPECT_EQ(rig.control<QLabel>("listCountTextField").text(), "The 200 most recent emails.");
  EXPECT_FALSE(rig.control<QWidget>("firstPage").isVisible());
}

}  // namespace
}  // namespace keldane
