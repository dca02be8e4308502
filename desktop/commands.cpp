#include "desktop/commands.h"

#include <QApplication>
#include <QMessageBox>

#include "app/keldane_controller.h"
#include "app/panels/menu_validation.h"
#include "desktop/main_window.h"
#include "desktop/message_commands.h"

namespace keldane {
namespace {

/// Whether the menu item of a title can be chosen.
using IsValid = std::function<std::function<bool()>(const char* title)>;

struct Words {
  Q_DECLARE_TR_FUNCTIONS(Commands)
};

/// Without a connection there is nothing that it could be done with.
std::function<bool()> isConnected(KeldaneController& controller) {
  return [&controller] { return controller.connections().isConnected(); };
}

void addArchiveCommands(std::vector<Command>& list, KeldaneController& controller) {
  list.push_back({.name = "archiveItem",
                  .menu = Menu::archive,
                  .title = Words::tr("Archive Email..."),
                  .run = [&controller] { controller.archivePanel().setStoreDate(); },
                  .shortcut = QKeySequence("Ctrl+Shift+A"),
                  .tool = Words::tr("Archive"),
                  .enabled = isConnected(controller)});
  list.push_back({.name = "importItem",
                  .menu = Menu::archive,
                  .title = Words::tr("Import MBOX Files..."),
                  .run = [&controller] { controller.sourceChooser().openMbox(); },
                  .shortcut = QKeySequence("Ctrl+Shift+O"),
                  .enabled = isConnected(controller)});
  list.push_back({.name = "foundMailItem",
                  .menu = Menu::archive,
                  .title = Words::tr("Archive My Mail..."),
                  .run = [&controller] { controller.foundMailPanel().findMail(); },
                  .enabled = isConnected(controller)});
  list.push_back({.name = "connectItem",
                  .menu = Menu::archive,
                  .title = Words::tr("Connect to Server..."),
                  .run = [&controller] { controller.connectPanel().newConnect(); },
                  .beginsGroup = true});
  list.push_back({.name = "schemaItem",
                  .menu = Menu::archive,
                  .title = Words::tr("Show Database Schema"),
                  .run = [&controller] { controller.databasePanel().showSchema(); }});
  list.push_back({.name = "deleteDatabaseItem",
                  .menu = Menu::archive,
                  .title = Words::tr("Delete Database..."),
                  .run = [&controller] { controller.databasePanel().deleteDatabase(); },
                  .enabled = isConnected(controller)});
  list.push_back({.name = "logItem",
                  .menu = Menu::archive,
                  .title = Words::tr("View Archive Log"),
                  .run = [&controller] { controller.archivePanel().viewLogFile(); },
                  .beginsGroup = true});
  list.push_back({.name = "duplicateLogItem",
                  .menu = Menu::archive,
                  .title = Words::tr("View Duplicates Log"),
                  .run = [&controller] { controller.archivePanel().viewDuplicateLog(); }});
}

/// Last of its menu.
void addQuitCommand(std::vector<Command>& list, KeldaneController& controller) {
  list.push_back({.name = "quitItem",
                  .menu = Menu::archive,
                  .title = Words::tr("Quit"),
                  .run = [&controller] { controller.quitKeldane(); },
                  .shortcut = QKeySequence("Ctrl+Q"),
                  .beginsGroup = true});
}

void addEditCommands(std::vector<Command>& list, KeldaneController& controller,
                     MainWindow& window) {
  list.push_back({.name = "copyItem",
                  .menu = Menu::edit,
                  .title = Words::tr("Copy"),
                  .run = [&window] { window.copy(); },
                  .shortcut = QKeySequence::Copy});
  list.push_back({.name = "selectAllItem",
                  .menu = Menu::edit,
                  .title = Words::tr("Select All"),
                  .run = [&window] { window.selectAll(); },
                  .shortcut = QKeySequence::SelectAll});
  SettingsPanel& settings = controller.settingsPanel();
  list.push_back({.name = "settingsItem",
                  .menu = Menu::edit,
                  .title = Words::tr("Settings..."),
                  .run = [&settings] { settings.doPrefPanel(); },
                  .shortcut = QKeySequence("Ctrl+,"),
                  .beginsGroup = true});
  list.push_back({.name = "saveSettingsCopyItem",
                  .menu = Menu::edit,
                  .title = Words::tr("Save a Copy of the Settings"),
                  .run = [&settings] { settings.saveSettingsCopy(); }});
  list.push_back({.name = "replaceSettingsCopyItem",
                  .menu = Menu::edit,
                  .title = Words::tr("Replace Settings with a Saved Copy..."),
                  .run = [&settings] { settings.replaceSettingsCopy(); }});
  list.push_back({.name = "debugItem",
                  .menu = Menu::edit,
                  .title = Words::tr("Debug Log"),
                  .run = [&settings] { settings.setDebugLog(); },
                  .checked = [&settings] { return settings.form.debugItem; }});
}

void addSearchCommands(std::vector<Command>& list, KeldaneController& controller,
                       MainWindow& window, const IsValid& isValid) {
  RetrieveSheet& sheet = controller.retrieveSheet();
  list.push_back({.name = "findItem",
                  .menu = Menu::search,
                  .title = Words::tr("Find"),
                  .run = [&window] { window.focusFind(); },
                  .shortcut = QKeySequence("Ctrl+F"),
                  .enabled = isConnected(controller)});
  list.push_back({.name = "searchItem",
                  .menu = Menu::search,
                  .title = Words::tr("Search Database..."),
                  .run = [&sheet] { sheet.retrieveFromDB(); },
                  .shortcut = QKeySequence("F3"),
                  .tool = Words::tr("Search"),
                  .beginsGroup = true});
  list.push_back(
      {.name = "listSearchButton",
       .menu = Menu::search,
       .title = Words::tr("Search in List..."),
       .run = [&sheet] { sheet.retrieveFromList(); },
       .shortcut = QKeySequence("Shift+F3"),
       .enabled = [&controller] { return controller.resultTable().listSearchButtonEnabled; }});
  list.push_back({.name = "editSqlItem",
                  .menu = Menu::search,
                  .title = Words::tr("Edit SQL..."),
                  .run = [&controller] { controller.sqlEditor().editSqlString(); }});
  list.push_back({.name = "savedSearchesItem",
                  .menu = Menu::search,
                  .title = Words::tr("Saved Searches..."),
                  .run = [&controller] { controller.savedSearchesPanel().savedSearches(); },
                  .enabled = isValid("Saved Searches...")});
  list.push_back({.name = "browseItem",
                  .menu = Menu::search,
                  .title = Words::tr("Browse Database"),
                  .run = [&sheet] { sheet.browseDatabase(); },
                  .shortcut = QKeySequence("Ctrl+B"),
                  .tool = Words::tr("Browse"),
                  .beginsGroup = true});
  list.push_back({.name = "browseBySizeItem",
                  .menu = Menu::search,
                  .title = Words::tr("Browse by Size"),
                  .run = [&sheet] { sheet.browseBySize(); }});
  list.push_back({.name = "newestItem",
                  .menu = Menu::search,
                  .title = Words::tr("Newest Emails"),
                  .run = [&controller] { controller.resultTable().get500emails(); }});
}

void addViewCommands(std::vector<Command>& list, MainWindow& window) {
  list.push_back({.name = "largerItem",
                  .menu = Menu::view,
                  .title = Words::tr("Larger Text"),
                  .run = [&window] { window.zoom(1); },
                  .shortcut = QKeySequence("Ctrl++")});
  list.push_back({.name = "smallerItem",
                  .menu = Menu::view,
                  .title = Words::tr("Smaller Text"),
                  .run = [&window] { window.zoom(-1); },
                  .shortcut = QKeySequence("Ctrl+-")});
  list.push_back({.name = "usualSizeItem",
                  .menu = Menu::view,
                  .title = Words::tr("Usual Size"),
                  .run = [&window] { window.zoom(0); },
                  .shortcut = QKeySequence("Ctrl+0")});
}

void addMessageCommands(std::vector<Command>& list, KeldaneController& controller,
                        MainWindow& window, const IsValid& isValid) {
  list.push_back({.name = "openMessageItem",
                  .menu = Menu::message,
                  .title = Words::tr("Open in a Window"),
                  .run = [&window] { window.openMessage(); },
                  .shortcut = QKeySequence("Ctrl+O"),
                  .enabled = [&window] { return window.selectedCount() == 1; }});
  list.push_back({.name = "nextItem",
                  .menu = Menu::message,
                  .title = Words::tr("Next"),
                  .run = [&window] { window.step(1); },
                  .shortcut = QKeySequence("Ctrl+Down"),
                  .enabled = [&window] { return window.canStep(1); },
                  .beginsGroup = true});
  list.push_back({.name = "previousItem",
                  .menu = Menu::message,
                  .title = Words::tr("Previous"),
                  .run = [&window] { window.step(-1); },
                  .shortcut = QKeySequence("Ctrl+Up"),
                  .enabled = [&window] { return window.canStep(-1); }});
  list.push_back({.name = "viewRawItem",
                  .menu = Menu::message,
                  .title = Words::tr("View Raw Source"),
                  .run = [&controller] { controller.messageViewer().viewOrig(); },
                  .shortcut = QKeySequence("Ctrl+U"),
                  .enabled = isValid("View Raw Source"),
                  .beginsGroup = true});
}

void addWindowCommands(std::vector<Command>& list, MainWindow& window) {
  list.push_back({.name = "closeItem",
                  .menu = Menu::window,
                  .title = Words::tr("Close Window"),
                  .run =
                      [] {
                        if (QWidget* active = QApplication::activeWindow()) active->close();
                      },
                  .shortcut = QKeySequence("Ctrl+W")});
  list.push_back({.name = "minimizeItem",
                  .menu = Menu::window,
                  .title = Words::tr("Minimize"),
                  .run = [&window] { window.showMinimized(); },
                  .shortcut = QKeySequence("Ctrl+M")});
}

void addHelpCommands(std::vector<Command>& list, KeldaneController& controller,
                     MainWindow& window) {
  list.push_back({.name = "gettingStartedItem",
                  .menu = Menu::help,
                  .title = Words::tr("Getting Started"),
                  .run = [&controller] { controller.showSplashScreen(); }});
  list.push_back({.name = "shortcutsItem",
                  .menu = Menu::help,
                  .title = Words::tr("Keyboard Shortcuts"),
                  .run = [&window] { window.showShortcuts(); },
                  .shortcut = QKeySequence("F1")});
  list.push_back({.name = "updatesItem",
                  .menu = Menu::help,
                  .title = Words::tr("Check for Updates..."),
                  .run = [&controller] { controller.updatePanel().checkVersion(); },
                  .beginsGroup = true});
  list.push_back(
      {.name = "aboutItem",
       .menu = Menu::help,
       .title = Words::tr("About Keldane Pro"),
       .run = [&window] {
         QMessageBox::about(
             &window, Words::tr("About Keldane Pro"),
             QStringLiteral("Keldane Pro %1\n\n").arg(QApplication::applicationVersion()) +
                 Words::tr("Keeps your e-mail, for good, in a database "
                           "that you own.") +
                 QStringLiteral("\n\n") +
                 Words::tr("Copyright %1 2026 the makers of Keldane Pro").arg(QChar(0xa9)));
       }});
}

}  // namespace

std::vector<Command> windowCommands(KeldaneController& controller, MainWindow& window) {
  std::vector<Command> list;
  const IsValid isValid = [&controller, &window](const char* title) {
    return [&controller, &window, title] {
      return validateMenuItem(title, controller.menuState(window.selectedCount()));
    };
  };
  addArchiveCommands(list, controller);
  addEditCommands(list, controller, window);
  addSearchCommands(list, controller, window, isValid);
  addViewCommands(list, window);
  addMessageCommands(list, controller, window, isValid);
  addOutputCommands(list, controller, window);
  addQuitCommand(list, controller);
  addWindowCommands(list, window);
  addHelpCommands(list, controller, window);
  return list;
}

}  // namespace keldane
