// Makes a picture of each panel, in both looks, in the language of LANG: window_pictures FOLDER
// MAIL.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include <QApplication>
#include <QDir>
#include <QHash>
#include <QImage>
#include <QTabWidget>
#include <QTest>
#include <QTreeView>

#include "base/files.h"
#include "desktop/appearance.h"
#include "desktop/html_view.h"
#include "desktop/message_pane.h"
#include "desktop/qt_text.h"
#include "desktop/translation.h"
#include "tests/desktop/window_rig.h"

namespace keldane {
namespace {

/// Panels that are shown by their name alone.
constexpr const char* kPanels[] = {
    "storeDatePanel", "connectPanel", "retrievePanel", "SQLPanel",       "savedSearchesPanel",
    "attchTypeSheet", "tagPanel",     "tagRulesSheet", "addressesPanel", "IdPanel",
    "dupsPanel",      "statsPanel",   "splashScreen"};
constexpr const char* kSettingsTabs[] = {"general", "accounts", "viewing", "schedule", "tagRules"};

/// In its 256 most frequent colours, which makes the file a third as large and is not seen.
QImage withFewColours(const QImage& image) {
  constexpr qsizetype kMost = 256;
  const QImage exact = image.convertToFormat(QImage::Format_RGB32);
  QHash<QRgb, int> counts;
  for (int y = 0; y < exact.height(); ++y) {
    for (int x = 0; x < exact.width(); ++x) ++counts[exact.pixel(x, y)];
  }
  QList<QRgb> colours = counts.keys();
  std::sort(colours.begin(), colours.end(),
            [&counts](QRgb a, QRgb b) { return counts[a] > counts[b]; });
  colours.resize(std::min(colours.size(), kMost));
  return exact.convertToFormat(QImage::Format_Indexed8, colours,
                               Qt::ThresholdDither | Qt::AvoidDither);
}

class Pictures {
 public:
  Pictures(WindowRig& rig, QString folder) : rig_(rig), folder_(std::move(folder)) {}

  void take(QWidget& window, const QString& name) {
    for (const bool dark : {false, true}) {
      applyLook(dark ? Look::dark : Look::light);
      rig_.window().messagePane().setDark(dark);
      // Twice: a layout that has just changed settles with the first.
      for (int i = 0; i < 2; ++i) QApplication::processEvents();
      const QImage picture = withFewColours(window.grab().toImage());
      const QString file = folder_ + '/' + name + (dark ? "-dark.png" : "-light.png");
      if (!picture.save(file, "PNG", 0)) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(file));
      }
    }
    applyLook(Look::light);
  }
  void takePanel(const char* panel) {
    rig_.program().userInterface().showPanel(panel);
    // A document is drawn in the background.
    if (std::string_view(panel) == "splashScreen") QTest::qWait(2000);
    takeOpen(panel, panel);
  }
  /// One that shows already.
  void takeOpen(const char* window, const char* name) {
    for (QWidget* top : QApplication::topLevelWidgets()) {
      if (top->objectName() != QLatin1String(window) || !top->isVisible()) continue;
      take(*top, name);
      top->close();
    }
  }

 private:
  WindowRig& rig_;
  const QString folder_;
};

/// Something in the lists and forms.
void makeContents(WindowRig& rig) {
  KeldaneController& controller = rig.controller();
  TagRuleSheet& rule = controller.tagRuleEditor().sheet;
  rule.ruleDescTextField = "Treasurer";
  rule.ruleCriteriaList[2].value = "Invoice";
  rule.ruleCatTextField = "Money";
  controller.tagRuleEditor().doAddRule();
  rig.click("tagItem");
  SearchForm& form = controller.retrieveSheet().form;
  form.entireMsgTextField = "compost";
  rig.click("savedSearchesItem");
  form.searchNameTextField = "All about compost";
  controller.savedSearchesPanel().saveSearch();
  rig.click("editSqlItem");
  for (const char* panel : {"tagPanel", "savedSearchesPanel", "SQLPanel"}) {
    rig.program().userInterface().closePanel(panel);
  }
}

/// The mail of this machine, which is a folder of a mail program.
void takeFoundMail(WindowRig& rig, Pictures& pictures) {
  for (const char* file : {"new/1", "cur/2", "cur/3", "tmp/x"}) {
    rig.folder.write(std::string("Maildir/") + file,
                     "From: ann@club.example\nDate: Fri, 14 Jan 2022 09:30:00 +0100\n\nx\n");
  }
  rig.controller().foundMailPanel().findMail();
  pictures.takeOpen("foundMailPanel", "foundMailPanel");
  rig.controller().folderTable().findMail();
  pictures.takeOpen("foundMailSheet", "foundMailSheet");
  rig.controller().folderTable().findMail();
  rig.controller().folderTable().addFound();
}

void takeProgress(WindowRig& rig, Pictures& pictures) {
  QtUserInterface& ui = rig.program().userInterface();
  ui.progressStarted("Looking for email files...");
  ReadingProgress progress;
  progress.messages = 1200;
  progress.files = 31;
  progress.allFiles = 82;
  progress.share = 0.4;
  ui.readingProgress(progress, "2022-01-14 09:30:00: Minutes of the January meeting");
  ui.showPanel("ProgressPanel");
  pictures.takeOpen("ProgressPanel", "ProgressPanel");
  ui.progressEnded();
}

int makePictures(const QString& folder, const std::string& mail) {
  QDir().mkpath(folder);
  WindowRig rig;
  rig.start();
  Pictures pictures(rig, folder);
  pictures.take(rig.window(), "firstPage");
  // Under a path that tells nothing of this machine.
  const std::string copied = rig.folder / "Mail";
  std::filesystem::copy(mail, copied, std::filesystem::copy_options::recursive);
  rig.archive(copied);
  const int rows = rig.control<QTreeView>("storeTableView").model()->rowCount();
  for (int row = 0; row < rows; ++row) {
    rig.selectRow(row);
    const MessageViewer& viewer = rig.controller().messageViewer();
    if (!viewer.views.htmlShowing && !rig.controller().attachmentList().rows.empty()) break;
  }
  pictures.take(rig.window(), "storePanel");
  rig.click("openMessageItem");
  pictures.takeOpen("messageWindow", "messageWindow");
  makeContents(rig);
  for (const char* panel : kPanels) pictures.takePanel(panel);
  takeFoundMail(rig, pictures);
  takeProgress(rig, pictures);
  SettingsPanel& settings = rig.controller().settingsPanel();
  auto& tabs = rig.control<QTabWidget>("settingsToolbar");
  for (int tab = 0; tab < tabs.count(); ++tab) {
    settings.form.settingsToolbar = tab;
    settings.doPrefPanel();
    pictures.take(rig.control<QWidget>("settingsPanel"),
                  QStringLiteral("settingsPanel-") + kSettingsTabs[tab]);
  }
  settings.cancelPrefs();
  rig.controller().statisticsPanel().doStatsReport();
  pictures.take(rig.control<QWidget>("statsWindow"), "statsWindow");
  rig.control<QWidget>("statsWindow").hide();
  rig.click("viewRawItem");
  pictures.take(rig.control<QWidget>("origWindow"), "origWindow");
  return 0;
}

}  // namespace
}  // namespace keldane

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: window_pictures FOLDER MAIL\n");
    return 2;
  }
  ::setenv("QT_QPA_PLATFORM", "offscreen", 0);
  ::setenv("QTWEBENGINE_DISABLE_SANDBOX", "1", 1);
  ::setenv("QTWEBENGINE_CHROMIUM_FLAGS", "--no-sandbox --disable-gpu", 1);
  keldane::prepareHtmlViews();
  QApplication application(argc, argv);
  keldane::loadTranslations();
  QApplication::setQuitOnLastWindowClosed(false);
  return keldane::makePictures(QString::fromLocal8Bit(argv[1]),
                               std::filesystem::absolute(argv[2]).string());
}
