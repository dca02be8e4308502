#include "desktop/commands.h"

#include <QCoreApplication>
#include <QStyle>

#include "app/keldane_controller.h"
#include "app/panels/menu_validation.h"
#include "desktop/main_window.h"

namespace keldane {
namespace {

struct Words {
  Q_DECLARE_TR_FUNCTIONS(Commands)
};

void addArchiveCommands(std::vector<Command>& list, KeldaneController& controller) {
  list.push_back({.name = "archiveItem",
                  .menu = Menu::archive,
                  .title = Words::tr("Archive Email..."),
                  .run = [&controller] { controller.archivePanel().setStoreDate(); },
                  .shortcut = QKeySequence("Ctrl+Shift+A"),
                  .tool = Words::tr("Archive"),
                  .icon = "document-save"});
  list.push_back({.name = "importItem",
                  .menu = Menu::archive,
                  .title = Words::tr("Import MBOX Files..."),
                  .run = [&controller] { controller.sourceChooser().openMbox(); },
                  .shortcut = QKeySequence::Open});
  list.push_back({.name = "logItem",
                  .menu = Menu::archive,
                  .title = Words::tr("View Archive Log"),
                  .run = [&controller] { controller.archivePanel().viewLogFile(); },
                  .beginsGroup = true});
  list.push_back({.name = "duplicateLogItem",
                  .menu = Menu::archive,
                  .title = Words::tr("View Duplicates Log"),
                  .run = [&controller] { controller.archivePanel().viewDuplicateLog(); }});
  list.push_back({.name = "schemaItem",
                  .menu = Menu::archive,
                  .title = Words::tr("Show Database Schema"),
                  .run = [&controller] { controller.databasePanel().showSchema(); }});
  list.push_back({.name = "quitItem",
                  .menu = Menu::archive,
                  .title = Words::tr("Quit"),
                  .run = [&controller] { controller.quitKeldane(); },
                  .shortcut = QKeySequence("Ctrl+Q"),
                  .beginsGroup = true});
}

void addSearchCommands(std::vector<Command>& list, KeldaneController& controller) {
  list.push_back({.name = "browseItem",
                  .menu = Menu::search,
                  .title = Words::tr("Browse Database"),
                  .run = [&controller] { controller.retrieveSheet().browseDatabase(); },
                  .shortcut = QKeySequence("Ctrl+B"),
                  .tool = Words::tr("Browse"),
                  .icon = "view-list-details"});
  list.push_back({.name = "browseBySizeItem",
                  .menu = Menu::search,
                  .title = Words::tr("Browse by Size"),
                  .run = [&controller] { controller.retrieveSheet().browseBySize(); }});
  list.push_back({.name = "newestItem",
                  .menu = Menu::search,
                  .title = Words::tr("Newest Emails"),
                  .run = [&controller] { controller.resultTable().get500emails(); }});
}

void addMessageCommands(std::vector<Command>& list, KeldaneController& controller,
                        MainWindow& window) {
  const auto isValid = [&controller, &window](const char* title) {
    return [&controller, &window, title] {
      return validateMenuItem(title, controller.menuState(window.selectedCount()));
    };
  };
  list.push_back({.name = "viewRawItem",
                  .menu = Menu::message,
                  .title = Words::tr("View Raw Source"),
                  .run = [&controller] { controller.messageViewer().viewOrig(); },
                  .shortcut = QKeySequence("Ctrl+U"),
                  .enabled = isValid("View Raw Source")});
}

void addEditCommands(std::vector<Command>& list, MainWindow& window) {
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
}

}  // namespace

std::vector<Command> windowCommands(KeldaneController& controller, MainWindow& window) {
  std::vector<Command> list;
  addArchiveCommands(list, controller);
  addEditCommands(list, window);
  addSearchCommands(list, controller);
  addMessageCommands(list, controller, window);
  return list;
}

}  // namespace keldane
