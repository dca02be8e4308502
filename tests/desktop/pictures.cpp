// Makes a picture of each panel, in both looks: window_pictures FOLDER.
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include <QApplication>
#include <QDir>
#include <QTabWidget>
#include <QTreeView>

#include "base/files.h"
#include "desktop/appearance.h"
#include "desktop/html_view.h"
#include "desktop/message_pane.h"
#include "desktop/qt_text.h"
#include "tests/desktop/window_rig.h"

namespace keldane {
namespace {

/// Panels that are shown by their name alone.
constexpr const char* kPanels[] = {
    "storeDatePanel", "connectPanel",   "retrievePanel", "SQLPanel",      "savedSearchesPanel",
    "attchTypeSheet", "foundMailPanel", "tagPanel",      "tagRulesPanel", "tagRulesSheet",
    "addressesPanel", "IdPanel",        "dupsPanel",     "statsPanel",    "splashScreen"};
constexpr const char* kSettingsTabs[] = {"general", "accounts", "viewing", "schedule", "tagRules"};

class Pictures {
 public:
  Pictures(WindowRig& rig, QString folder) : rig_(rig), folder_(std::move(folder)) {}

  void take(QWidget& window, const QString& name) {
    for (const bool dark : {false, true}) {
      applyLook(dark ? Look::dark : Look::light);
      rig_.window().messagePane().setDark(dark);
      // Twice: a layout that has just changed settles with the first.
      for (int i = 0; i < 2; ++i) QApplication::processEvents();
      QPixmap picture = window.grab();
      const QString file = folder_ + '/' + name + (dark ? "-dark.png" : "-light.png");
      if (!picture.save(file)) std::fprintf(stderr, "cannot write %s\n", qPrintable(file));
    }
    applyLook(Look::light);
  }
  void takePanel(const char* panel) {
    rig_.program().userInterface().showPanel(panel);
    for (QWidget* top : QApplication::topLevelWidgets()) {
      if (top->objectName() != QLatin1String(panel)) continue;
      take(*top, panel);
      top->hide();
    }
  }

 private:
  WindowRig& rig_;
  const QString folder_;
};

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
  for (const char* panel : kPanels) pictures.takePanel(panel);
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
  QApplication::setQuitOnLastWindowClosed(false);
  return keldane::makePictures(QString::fromLocal8Bit(argv[1]),
                               std::filesystem::absolute(argv[2]).string());
}
