#include "app/panels/settings_panel.h"

#include <array>
#include <cstdio>
#include <limits>

#include "app/panels/fault_alerts.h"
#include "base/text.h"

namespace keldane {
namespace {

constexpr const char* kPanel = "settingsPanel";
constexpr int kRulesMinimumWidth = 496;
constexpr int kRulesMinimumHeight = 421;
constexpr std::size_t kAccountsTab = 1;
constexpr std::size_t kRulesTab = 4;

struct Tab {
  const char* view;
  const char* label;
};

constexpr std::array<Tab, 5> kTabs = {{{"generalView", "General"},
                                       {"accountsView", "Accounts"},
                                       {"viewingView", "Viewing"},
                                       {"scheduleView", "Schedule"},
                                       {"tagRulesView", "Tag Rules"}}};

}  // namespace

SettingsPanel::SettingsPanel(Archiver& archiver, SettingsForm& controls, SourceChooser& chooser,
                             UserInterface& ui)
    : form(controls),
      archiver_(archiver),
      settings_(archiver.settings()),
      chooser_(chooser),
      ui_(ui) {}

void SettingsPanel::tell(const Faults& faults) { showFaults(faults, archiver_.process(), ui_); }

void SettingsPanel::takeControls() {
  chooser_.rebuildSelection();
  // A folder may have been typed; without one there is nothing to import.
  if (form.importFolderTextField.empty()) form.importFolderCheck = false;
  readControls();
}

Faults SettingsPanel::save() {
  Faults faults = settings_.savePreferences();
  showSettings();
  return faults;
}

void SettingsPanel::savePreferences() {
  readControls();
  tell(save());
}

bool SettingsPanel::savePrefButton() {
  takeControls();
  const Faults faults = save();
  tell(faults);
  refresh();
  saved();
  if (archiver_.process().unattendedRun == 0) {
    ui_.alert({"Settings Saved", "The Settings have been saved."});
  }
  return faults.empty();
}

void SettingsPanel::saved() {
  if (get500emails) get500emails();
}

void SettingsPanel::showSettings() {
  keldane::showSettings(settings_, form);
  if (fillCategoryMenus) fillCategoryMenus(settings_.categoriesInUse);
}

void SettingsPanel::showPrefs() {
  showSettings();
  if (loadRulesAndSearches) loadRulesAndSearches();
}

void SettingsPanel::getPrefs() {
  archiver_.getPrefs();
  // A stored 0 is no step: the field says how many hours.
  const bool noStep = archiver_.preferences().integer("hoursStep") == 0;
  if (noStep) settings_.user.hoursStep = leadingInt(form.hoursTextField);
  showPrefs();
}

void SettingsPanel::doPrefPanel() {
  if (!ui_.isPanelVisible(kPanel)) {
    fillWindow();
    for (const char* control : {"selectAcctsTableView", "foldersTableView", "dbPath", kPanel})
      ui_.changed(control);
  }
  showTab();
  ui_.showPanel(kPanel);
}

void SettingsPanel::fillWindow() {
  const PreferencesFile& prefs = archiver_.preferences();
  std::string& database = archiver_.database().dbPath;
  if (database.empty()) database = prefs.text("dbPath").value_or("");
  chooser_.fillSelectionTable();
  // What was typed and clicked before a cancel is no setting.
  keldane::showSettings(settings_, form);
  // Left over from an older layout, where they are there.
  form.attachSizeTextField = prefs.text("attachSize").value_or(form.attachSizeTextField);
  form.limitSearchTextField = prefs.text("limitSearchSize").value_or(form.limitSearchTextField);
}

void SettingsPanel::showTab() {
  // A sixth item of the toolbar can be selected and shows nothing of its own.
  const int selected = form.settingsToolbar;
  if (selected < 0) return;
  const auto tab = static_cast<std::size_t>(selected);
  if (tab >= kTabs.size()) return;
  window.view = kTabs[tab].view;
  window.title = kTabs[tab].label;
  window.resizable = tab == kAccountsTab;
  window.resizeIncrement = window.resizable ? 1.0F : std::numeric_limits<float>::max();
  window.minimumWidth = tab == kRulesTab ? kRulesMinimumWidth : 0;
  window.minimumHeight = tab == kRulesTab ? kRulesMinimumHeight : 0;
  if (tab == kAccountsTab && settings_.archive.mailboxesState != 0) chooser_.ensureMailboxNames();
  ui_.setWindowTitle(kPanel, window.title);
  ui_.changed(kPanel);
}

void SettingsPanel::refresh() {
  for (const char* control :
       {"databasesPullDown", "mySaveOrigSelected", "mySaveOrigAll", "searchCatButton",
        "setCatButton", "ruleCatButton", "largeAttachCheck", "storeTableView", "bodyTextView",
        "origTextView", "appearance", kPanel}) {
    ui_.changed(control);
  }
}

void SettingsPanel::cancelPrefs() { ui_.closePanel(kPanel); }

void SettingsPanel::chooseDatabase(const std::string& title) {
  if (title != kChooseDatabaseTitle) {
    archiver_.database().dbPath = title;
    Faults faults = settings_.getCategories();
    append(faults, settings_.getSettings());
    getPrefs();
    tell(faults);
  }
  refresh();
}

void SettingsPanel::saveSettingsCopy() {
  const Result<std::string> target = settings_.copySettings();
  if (!target) {
    tell({{Fault::About::settings, "The settings could not be copied: " + target.error()}});
    return;
  }
  ui_.alert({"Copy of Settings Saved", "A copy of the Settings have been saved at " + *target});
}

void SettingsPanel::replaceSettingsCopy() {
  FileChooser chooser;
  chooser.title = "Open Saved Settings";
  chooser.prompt = "Open";
  chooser.startFolder = settings_.copiesFolder();
  const std::vector<std::string> chosen = ui_.chooseFiles(chooser);
  if (chosen.empty()) return;
  const Result<PlistDict> copy = Settings::readCopy(chosen.front());
  if (!copy) {
    std::fprintf(stderr, "ERROR: %s\n", copy.error().c_str());
    ui_.notice(copy.error());
    return;
  }
  if (const Result<void> adopted = settings_.replaceSettings(*copy); !adopted) {
    tell({{Fault::About::settings, adopted.error()}});
    return;
  }
  ui_.alert(
      {"Replace Settings",
       "The settings have been replaced by the saved settings file " +
           std::string(lastPathComponent(chosen.front())) +
           ". Keldane Pro will now quit and must be relaunched to activate the new settings."});
  if (quitAndRelaunch) quitAndRelaunch();
}

void SettingsPanel::setDebugLog() {
  form.debugItem = !form.debugItem;
  archiver_.setDebugLog(form.debugItem);
  ui_.changed("debugItem");
}

void SettingsPanel::openImportFolderPath() {
  FileChooser chooser;
  chooser.title = "Choose an import email folder";
  chooser.prompt = "Choose";
  chooser.files = false;
  chooser.folders = true;
  const std::vector<std::string> chosen = ui_.chooseFiles(chooser);
  if (chosen.empty()) return;
  settings_.archive.importFolderPath = chosen.front();
  Faults faults = settings_.saveSettings();
  append(faults, settings_.getSettings());
  showArchiveTexts(settings_.archive, form);
  tell(faults);
  refresh();
  doPrefPanel();
}

}  // namespace keldane
