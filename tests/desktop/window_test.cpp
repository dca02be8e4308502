#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <QAccessible>
#include <QCheckBox>
#include <QComboBox>
#include <QDropEvent>
#include <QFile>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QRadioButton>
#include <QRegularExpression>
#include <QStatusBar>
#include <QTabWidget>
#include <QTest>
#include <QTimer>
#include <QTreeView>
#include <QUrl>

#include "desktop/appearance.h"
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

constexpr const char* kInvoice =
    "From: carl@club.example\nTo: bo@club.example\nSubject: Invoice\n"
    "Date: Thu, 13 Jan 2022 09:30:00 +0000\nMIME-Version: 1.0\n"
    "Content-Type: multipart/mixed; boundary=b\n\n--b\nContent-Type: text/plain\n\n"
    "Rhubarb, please pay\n--b\nContent-Type: application/x-sh\n"
    "Content-Disposition: attachment; filename=\"../../bill.sh\"\n\necho paid\n--b--\n";

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
  EXPECT_EQ(rig.control<QLineEdit>("ccLine").text(), "carl@club.example");
  EXPECT_EQ(rig.control<QLineEdit>("dateLine").text(), "Fri, 14 Jan 2022 09:30:00 +0100");
  rig.selectRow(0);
  EXPECT_EQ(rig.control<QLineEdit>("subjectLine").text(), owned);

  // A click on a head sorts and keeps the message that is shown; the next start has the list again.
  list.header()->sectionClicked(3);
  list.header()->sectionClicked(3);
  EXPECT_EQ(column(list, 3), (QStringList{"Minutes", owned}));
  EXPECT_EQ(list.currentIndex().row(), 1);
  rig.restart();
  EXPECT_EQ(rig.control<QLabel>("listCountTextField").text(), "The 200 most recent emails.");
  EXPECT_FALSE(rig.control<QWidget>("firstPage").isVisible());
}

/// A window with three messages.
class WindowWithMail : public ::testing::Test {
 protected:
  void SetUp() override {
    rig.folder.write("mail/1.eml", kMinutes);
    rig.folder.write("mail/2.eml", kHostile);
    rig.folder.write("mail/3.eml", kInvoice);
    rig.start();
    rig.archive(rig.folder / "mail");
  }
  QStringList subjects() { return column(rig.control<QTreeView>("storeTableView"), 3); }
  void type(const char* field, const QString& text) { rig.control<QLineEdit>(field).setText(text); }
  /// As a user types: each key is a search of its own.
  void find(const QString& words) {
    auto& field = rig.control<QLineEdit>("findField");
    field.clear();
    QTest::keyClicks(&field, words);
    QApplication::processEvents();
  }

  WindowRig rig;
};

TEST_F(WindowWithMail, TakesInWhatIsDroppedOnceThatIsConfirmed) {
  rig.folder.write("more/4.eml",
                   "From: dora@club.example\nSubject: Dropped\nDate: Sun, 16 Jan 2022 09:30:00 "
                   "+0000\n\nBeets\n");
  const auto drop = [this](const QList<QUrl>& urls) {
    QMimeData data;
    data.setUrls(urls);
    const Qt::DropActions offered = Qt::MoveAction | Qt::CopyAction;
    QDragEnterEvent enter(QPoint(9, 9), offered, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&rig.window(), &enter);
    if (!enter.isAccepted()) return Qt::IgnoreAction;
    QDropEvent dropped(QPointF(9, 9), offered, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&rig.window(), &dropped);
    return dropped.dropAction();
  };
  const std::size_t before = rig.alerts.size();
  EXPECT_EQ(drop({QUrl("https://club.example/4.eml")}), Qt::IgnoreAction);
  const QList<QUrl> folder{QUrl::fromLocalFile(qtText(rig.folder / "more"))};
  rig.answers = {"Cancel"};
  EXPECT_EQ(drop(folder), Qt::CopyAction) << "the other program keeps its files";
  ASSERT_TRUE(rig.waitFor([&] { return rig.alerts.size() > before; }));
  const auto& count = rig.control<QLabel>("dbCountTextField");
  EXPECT_EQ(count.text(), "3 emails in the database.");

  // A window that cannot take them in says so, also when that has changed above the window.
  const auto refuses = [&](const char* why) {
    rig.window().statusBar()->clearMessage();
    EXPECT_EQ(drop(folder), Qt::IgnoreAction) << why;
    EXPECT_TRUE(rig.window().statusBar()->currentMessage().contains(why)) << why;
    QMimeData data;
    data.setUrls(folder);
    QDropEvent late(QPointF(9, 9), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&rig.window(), &late);
    EXPECT_FALSE(late.isAccepted()) << why;
  };
  int questions = 0;
  QTimer asked;
  QObject::connect(&asked, &QTimer::timeout, [&] {
    asked.stop();
    refuses("finish what is open");
    ++questions;
  });
  asked.start(0);
  rig.click("aboutItem");
  rig.click("archiveItem");
  refuses("finish what is open");
  rig.click("cancelStoreButton");
  rig.controller().archivePanel().archivePaths({rig.folder / "mail"});
  refuses("a run is going on");
  ASSERT_TRUE(rig.waitFor([this] { return !rig.controller().archiveRun().isRunning(); }));
  rig.controller().connections().disconnect();
  refuses("there is no connection");
  rig.click("reconnectButton");
  EXPECT_EQ(questions, 1);

  rig.answers = {"Archive"};
  EXPECT_EQ(drop(folder), Qt::CopyAction);
  EXPECT_TRUE(rig.waitFor([&] { return count.text() == "4 emails in the database."; }));
}

TEST_F(WindowWithMail, SearchesByFormInsideTheListAndBySavedStatement) {
  rig.click("searchItem");
  type("searchTextField3", "Minutes");
  rig.click("retrieveEmailsButton");
  EXPECT_EQ(subjects(), QStringList{"Minutes"});
  EXPECT_FALSE(rig.control<QWidget>("retrievePanel").isVisible());

  rig.click("listSearchButton");
  rig.click("resetRetrieveButton");
  type("searchTextField1", "nobody");
  rig.click("retrieveEmailsButton");
  EXPECT_EQ(subjects(), QStringList{});

  rig.click("searchItem");
  rig.click("resetRetrieveButton");
  type("entireMsgTextField", "Ann");
  rig.click("savedSearchesButton");
  type("searchNameTextField", "From Ann & <co>");
  rig.click("saveSearchButton");
  rig.restart();
  rig.click("savedSearchesItem");
  auto& searches = rig.control<QListWidget>("savedSearchesTableView");
  ASSERT_EQ(searches.count(), 1);
  EXPECT_EQ(searches.item(0)->text(), "From Ann & <co>");
  searches.setCurrentRow(0);
  rig.click("doSavedSearchButton");
  EXPECT_EQ(subjects(), QStringList{"Minutes"});

  rig.click("searchItem");
  rig.click("resetRetrieveButton");
  rig.click("editSqlButton");
  rig.control<QPlainTextEdit>("whereTextField").setPlainText("WHERE subj_fld LIKE \"%oic%\"");
  rig.click("makeSQLStringButton");
  EXPECT_EQ(subjects(), QStringList{"Invoice"});
}

TEST_F(WindowWithMail, SearchesByTheTypeOfAttachments) {
  rig.folder.write("more/4.eml",
                   "From: a@b.c\nSubject: Report\nDate: Fri, 21 Jan 2022 09:30:00 +0000\n"
                   "MIME-Version: 1.0\nContent-Type: application/pdf; name=report.pdf\n\n%PDF\n");
  rig.archive(rig.folder / "more");
  rig.click("searchItem");
  rig.click("attchTypesButton");
  rig.click("videoTypeCheck");
  rig.click("cancelAttchTypesButton");
  EXPECT_FALSE(rig.control<QCheckBox>("onlyAttachCheck").isChecked());
  rig.click("attchTypesButton");
  rig.click("docsTypeCheck");
  rig.click("setAttchTypesButton");
  EXPECT_TRUE(rig.control<QCheckBox>("onlyAttachCheck").isChecked());
  rig.click("retrieveEmailsButton");
  EXPECT_EQ(subjects(), QStringList{"Report"});
}

TEST_F(WindowWithMail, FindsWhileOneTypesAndGivesTheFormerListBack) {
  const QStringList before = subjects();
  find("agr");
  EXPECT_EQ(subjects(), QStringList{"Minutes"});
  QTest::keyClick(&rig.control<QLineEdit>("findField"), Qt::Key_Escape);
  EXPECT_EQ(subjects(), before);

  // A word of an attachment; a query that is not finished leaves the list as it was.
  find("subject:invoice");
  EXPECT_EQ(subjects(), QStringList{"Invoice"});
  find("from:ann (");
  EXPECT_FALSE(rig.control<QLabel>("findMessage").text().isEmpty());
  find("rhubarb");
  EXPECT_EQ(subjects(), QStringList{"Invoice"});
  QTest::keyClick(&rig.control<QLineEdit>("findField"), Qt::Key_Return);
  EXPECT_EQ(subjects(), QStringList{"Invoice"});
  EXPECT_EQ(rig.control<QLabel>("listCountTextField").text(), "1 emails in this list.");
  rig.selectRow(0);
  auto& text = rig.control<QPlainTextEdit>("bodyTextView");
  ASSERT_TRUE(text.toPlainText().contains("Rhubarb"));
  ASSERT_EQ(text.extraSelections().size(), 1);
  EXPECT_EQ(text.extraSelections().front().cursor.selectedText(), "Rhubarb");
}

TEST_F(WindowWithMail, SavesAttachmentsUnderNamesThatStayInTheirFolder) {
  find("rhubarb");
  rig.selectRow(0);
  ASSERT_TRUE(rig.control<QWidget>("attachmentView").isVisible());
  const auto& row = rig.controller().attachmentList().rows.front();
  EXPECT_EQ(row.name, "../../bill.sh");
  const std::string path = rig.controller().attachmentList().writeForUse(0);
  EXPECT_EQ(path.rfind(rig.controller().process().workFolder, 0), 0U);
  EXPECT_EQ(QFile::permissions(QString::fromStdString(path)) &
                (QFile::ReadGroup | QFile::ReadOther | QFile::ExeUser),
            QFile::Permissions());
  // A script is asked about, and the first answer is no.
  rig.alerts.clear();
  rig.answers = {"Cancel"};
  rig.click("openAttachmentButton");
  ASSERT_EQ(rig.alerts.size(), 1U);
  EXPECT_TRUE(rig.alerts.front().startsWith("Open this attachment?"));
}

TEST_F(WindowWithMail, KeepsSettingsAndItsOwnState) {
  rig.click("settingsItem");
  rig.control<QTabWidget>("settingsToolbar").setCurrentIndex(2);
  rig.control<QRadioButton>("dateFormats-2").click();
  rig.control<QRadioButton>("separators-2").click();
  rig.click("savePrefButton");
  rig.control<QRadioButton>("selectAppearanceMatrix-2").click();
  rig.click("savePrefButton");
  EXPECT_TRUE(isDark());
  auto& head = *rig.control<QTreeView>("storeTableView").header();
  head.resizeSection(1, 333);
  rig.control<QWidget>("settingsPanel").resize(777, 666);
  rig.restart();
  EXPECT_EQ(column(rig.control<QTreeView>("storeTableView"), 0).back().left(11), "13.01.2022 ");
  EXPECT_EQ(rig.control<QTreeView>("storeTableView").header()->sectionSize(1), 333);
  EXPECT_EQ(rig.control<QWidget>("settingsPanel").size(), QSize(777, 666));
  EXPECT_TRUE(isDark());
  applyLook(Look::light);
}

TEST_F(WindowWithMail, NamesEveryControlForThoseWhoHearIt) {
  rig.selectRow(0);
  rig.click("openMessageItem");
  std::set<QString> heardIn;
  for (const QWidget* top : QApplication::topLevelWidgets()) {
    heardIn.insert(top->objectName());
    for (QWidget* control : top->findChildren<QWidget*>()) {
      heardIn.insert(control->objectName());
      // Parts that the toolkit makes for a control of its own are heard as that.
      const bool isControl = control->focusPolicy() != Qt::NoFocus &&
                             !control->objectName().startsWith("qt_") &&
                             !control->inherits("QComboBoxListView") &&
                             qobject_cast<QComboBox*>(control->parentWidget()) == nullptr;
      if (!isControl) continue;
      QAccessibleInterface* heard = QAccessible::queryAccessibleInterface(control);
      ASSERT_NE(heard, nullptr) << control->objectName().toStdString();
      EXPECT_FALSE(heard->text(QAccessible::Name).trimmed().isEmpty())
          << top->objectName().toStdString() << " " << control->metaObject()->className() << " "
          << control->objectName().toStdString();
    }
  }
  // The table of panels is whole: what it names has been gone over.
  QFile table(KELDANE_PANELS);
  ASSERT_TRUE(table.open(QIODevice::ReadOnly));
  const QStringList lines = QString::fromUtf8(table.readAll()).split('\n');
  int panels = 0;
  for (const QString& row : lines.filter(QRegularExpression("^\\| .*`"))) {
    auto names = QRegularExpression("`(\\w+)`").globalMatch(row.section('|', 1, 1));
    for (; names.hasNext(); ++panels) {
      const QString name = names.next().captured(1);
      EXPECT_EQ(heardIn.count(name), 1U) << name.toStdString();
    }
  }
  EXPECT_GE(panels, 25);
}

}  // namespace
}  // namespace keldane
