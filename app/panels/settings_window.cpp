#include "settings/settings.h"

#include <array>
#include <cstdio>
#include <limits>

#include "base/files.h"
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

bool belongsToSystem(const std::string& key) {
  return key.starts_with("NS") || key.starts_with("Apple");
}

Result<PlistDict> readCopy(const std::string& path) {
  const Result<std::string> bytes = readFile(path);
  const Result<PlistValue> list = bytes ? parsePlist(*bytes) : Failure{bytes.error()};
  if (list && list->dict() != nullptr) return *list->dict();
  return Failure{"Could not load saved plist: " + printable(path)};
}

}  // namespace

void Settings::fillSettingsPanel() {
  fillDbPathFromPreference();
  // Left over from an older layout, where they are there.
  form.attachSizeTextField = prefs_.text("attachSize").value_or(archive.attachSize);
  form.limitSearchTextField = prefs_.text("limitSearchSize").value_or(archive.limitSearchSize);
  // What was typed and clicked before a cancel is no setting.
  form.importFolderTextField = archive.importFolderPath;
  form.schedTime = user.schedTime;
  for (std::size_t i = 0; i < user.scheddays.size(); ++i) {
    form.schedChecks[i] = user.scheddays[i] != 0;
  }
  call(callbacks_.fillSelectionTable);
  showChecks();
  showUserState();
  for (const char* control : {"selectAcctsTableView", "dbPath", kPanel}) ui_.changed(control);
}

void Settings::doPrefPanel() {
  if (!ui_.isPanelVisible(kPanel)) fillSettingsPanel();
  showTab();
  ui_.showPanel(kPanel);
}

void Settings::showTab() {
  // A sixth item of the toolbar can be selected and shows nothing of its own.
  if (form.settingsToolbar < 0) return;
  const auto tab = static_cast<std::size_t>(form.settingsToolbar);
  if (tab >= kTabs.size()) return;
  window.view = kTabs[tab].view;
  window.title = kTabs[tab].label;
  window.resizable = tab == kAccountsTab;
  window.resizeIncrement = window.resizable ? 1.0F : std::numeric_limits<float>::max();
  window.minimumWidth = tab == kRulesTab ? kRulesMinimumWidth : 0;
  window.minimumHeight = tab == kRulesTab ? kRulesMinimumHeight : 0;
  if (tab == kAccountsTab && archive.mailboxesState != 0) call(callbacks_.ensureMailboxNames);
  ui_.setWindowTitle(kPanel, window.title);
  ui_.changed(kPanel);
}

void Settings::cancelPrefs() { ui_.closePanel(kPanel); }

std::string Settings::copiesFolder() const { return supportFolder(process_) + "/Settings"; }

Result<std::string> Settings::copySettings() {
  std::string target =
      copiesFolder() + "/" + std::string(lastPathComponent(database_.dbPath)) + ".plist";
  const Result<void> made = makeFolders(copiesFolder());
  if (!made) return Failure{made.error()};
  const Result<std::string> bytes = readFile(prefs_.path());
  if (!bytes) return Failure{bytes.error()};
  // It holds the passwords, as the settings themselves do: for the user alone.
  if (const Result<void> copied = replaceFile(target, *bytes); !copied) {
    return Failure{copied.error()};
  }
  return target;
}

void Settings::saveSettingsCopy() {
  const Result<std::string> target = copySettings();
  if (!target) {
    failureAlert("The settings could not be copied: " + target.error());
    return;
  }
  ui_.alert({"Copy of Settings Saved", "A copy of the Settings have been saved at " + *target});
}

Result<void> Settings::adoptCopy(const PlistDict& copy) {
  // As the file stands now, so that nothing another program has added survives the replacement. A
  // damaged one is kept aside by the save.
  static_cast<void>(prefs_.load());
  for (const std::string& key : prefs_.keys()) {
    if (!belongsToSystem(key)) prefs_.remove(key);
  }
  for (const auto& [key, value] : copy) prefs_.set(key, value);
  if (const Result<void> saved = prefs_.save(); !saved) {
    return Failure{"The settings could not be replaced: " + saved.error()};
  }
  return {};
}

Result<void> Settings::replaceSettingsWith(const std::string& path) {
  const Result<PlistDict> copy = readCopy(path);
  return copy ? adoptCopy(*copy) : Failure{copy.error()};
}

void Settings::replaceSettingsCopy() {
  FileChooser chooser;
  chooser.title = "Open Saved Settings";
  chooser.prompt = "Open";
  chooser.startFolder = copiesFolder();
  const std::vector<std::string> chosen = ui_.chooseFiles(chooser);
  if (chosen.empty()) return;
  const Result<PlistDict> copy = readCopy(chosen.front());
  if (!copy) {
    std::fprintf(stderr, "ERROR: %s\n", copy.error().c_str());
    return;
  }
  if (const Result<void> adopted = adoptCopy(*copy); !adopted) {
    failureAlert(adopted.error());
    return;
  }
  ui_.alert(
      {"Replace Settings",
       "The settings have been replaced by the saved settings file " +
           std::string(lastPathComponent(chosen.front())) +
           ". Keldane Pro will now quit and must be relaunched to activate the new settings."});
  call(callbacks_.quitAndRelaunch);
}

void Settings::setDebugLog() {
  form.debugItem = !form.debugItem;
  process_.debugLogOn = form.debugItem;
  if (process_.debugLogOn) {
    process_.workFolder = process_.homePath + "/Desktop/";
  } else {
    call(callbacks_.makeWorkFolder);
  }
  ui_.changed("debugItem");
}

void Settings::openImportFolderPath() {
  FileChooser chooser;
  chooser.title = "Choose an import email folder";
  chooser.prompt = "Choose";
  chooser.files = false;
  chooser.folders = true;
  const std::vector<std::string> chosen = ui_.chooseFiles(chooser);
  if (chosen.empty()) return;
  form.importFolderTextField = chosen.front();
  archive.importFolderPath = chosen.front();
  // It has told the user of a failure.
  static_cast<void>(saveSettings());
  getSettings();
  doPrefPanel();
}

}  // namespace keldane
