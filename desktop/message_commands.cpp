#include "desktop/message_commands.h"

#include <algorithm>
#include <utility>

#include <QCoreApplication>

#include "app/keldane_controller.h"
#include "app/panels/menu_validation.h"
#include "desktop/main_window.h"

namespace keldane {
namespace {

struct Words {
  Q_DECLARE_TR_FUNCTIONS(MessageCommands)
};

constexpr int kRulesTab = 4;  ///< of the settings

using Enabled = std::function<bool()>;

/// With so many messages selected.
Enabled hasSelection(MainWindow& window) {
  return [&window] { return window.selectedCount() > 0; };
}

Enabled hasRows(KeldaneController& controller) {
  return [&controller] { return controller.resultTable().numberOfRows() > 0; };
}

/// Attachments can be taken of messages that have some.
Enabled hasAttachments(KeldaneController& controller) {
  return [&table = controller.resultTable()] {
    const auto& rows = table.selectedRows;
    return std::any_of(rows.begin(), rows.end(), [&table](std::size_t row) {
      return row < table.numberOfRows() && table.emailRows[table.modelIndex(row)].emailAtch > 0;
    });
  };
}

Enabled isConnected(KeldaneController& controller) {
  return [&controller] { return controller.connections().isConnected(); };
}

/// Both hold.
Enabled both(Enabled one, Enabled other) {
  return [one = std::move(one), other = std::move(other)] { return one() && other(); };
}

void addTagCommand(std::vector<Command>& list, KeldaneController& controller) {
  list.push_back(
      {.name = "tagItem",
       .menu = Menu::message,
       .title = Words::tr("Tag..."),
       .run = [&controller] { controller.tagPanel().tagEmail(); },
       .shortcut = QKeySequence("Ctrl+T"),
       .tool = Words::tr("Tag"),
       .enabled = [&controller] { return controller.messageViewer().views.tagButtonEnabled; },
       .beginsGroup = true});
}

void addSaveCommands(std::vector<Command>& list, KeldaneController& controller,
                     MainWindow& window) {
  SavePanel& save = controller.savePanel();
  const QString menu = Words::tr("Save");
  const auto isValid = [&controller, &window](const char* title) {
    return [&controller, &window, title] {
      return validateMenuItem(title, controller.menuState(window.selectedCount()));
    };
  };
  list.push_back({.name = "mySaveSelected",
                  .menu = Menu::message,
                  .title = Words::tr("this email"),
                  .run = [&save] { save.saveSelected(); },
                  .shortcut = QKeySequence::Save,
                  .tool = Words::tr("Save"),
                  .enabled = hasSelection(window),
                  .beginsGroup = true,
                  .submenu = menu});
  list.push_back({.name = "mySaveAll",
                  .menu = Menu::message,
                  .title = Words::tr("all email in list"),
                  .run = [&save] { save.saveAll(); },
                  .enabled = hasRows(controller),
                  .submenu = menu});
  list.push_back({.name = "mySaveOrigSelected",
                  .menu = Menu::message,
                  .title = Words::tr("this original email"),
                  .run = [&save] { save.saveOrigSelected(); },
                  .enabled = both(isValid("this original email"), hasSelection(window)),
                  .submenu = menu});
  list.push_back({.name = "mySaveOrigAll",
                  .menu = Menu::message,
                  .title = Words::tr("all original email in list"),
                  .run = [&save] { save.saveOrigAll(); },
                  .enabled = both(isValid("all original email in list"), hasRows(controller)),
                  .submenu = menu});
  list.push_back({.name = "saveListItem",
                  .menu = Menu::message,
                  .title = Words::tr("list"),
                  .run = [&save] { save.saveList(); },
                  .enabled = hasRows(controller),
                  .submenu = menu});
  list.push_back({.name = "saveAllAttachmentsItem",
                  .menu = Menu::message,
                  .title = Words::tr("attachments of this email"),
                  .run = [&save] { save.saveAllAttachments(); },
                  .enabled = hasAttachments(controller),
                  .submenu = menu});
}

void addPdfCommand(std::vector<Command>& list, KeldaneController& controller, MainWindow& window) {
  list.push_back({.name = "savePdfItem",
                  .menu = Menu::message,
                  .title = Words::tr("Save as PDF..."),
                  .run = [&controller] { controller.pdfPanel().savePdf(); },
                  .shortcut = QKeySequence("Ctrl+Shift+S"),
                  .enabled = [&window] { return window.selectedCount() > 0; }});
}

void addPrintCommands(std::vector<Command>& list, KeldaneController& controller,
                      MainWindow& window) {
  PrintPanel& print = controller.printPanel();
  const QString menu = Words::tr("Print");
  list.push_back({.name = "printSelectedItem",
                  .menu = Menu::message,
                  .title = Words::tr("this email..."),
                  .run = [&print] { print.printSelected(); },
                  .shortcut = QKeySequence::Print,
                  .tool = Words::tr("Print"),
                  .enabled = hasSelection(window),
                  .submenu = menu});
  list.push_back({.name = "printPreviewItem",
                  .menu = Menu::message,
                  .title = Words::tr("Preview..."),
                  .run = [&print] { print.previewSelected(); },
                  .shortcut = QKeySequence("Ctrl+Shift+P"),
                  .enabled = hasSelection(window),
                  .submenu = menu});
  list.push_back({.name = "printAllItem",
                  .menu = Menu::message,
                  .title = Words::tr("all email in list..."),
                  .run = [&print] { print.printAll(); },
                  .enabled = hasRows(controller),
                  .submenu = menu});
}

void addAnswerCommands(std::vector<Command>& list, KeldaneController& controller) {
  ReplyPanel& reply = controller.replyPanel();
  list.push_back(
      {.name = "replyItem",
       .menu = Menu::message,
       .title = Words::tr("Reply"),
       .run = [&reply] { reply.replyToEmail(); },
       .shortcut = QKeySequence("Ctrl+R"),
       .tool = Words::tr("Reply"),
       .enabled = [&controller] { return controller.messageViewer().views.replyToButtonEnabled; },
       .beginsGroup = true});
  list.push_back(
      {.name = "forwardItem",
       .menu = Menu::message,
       .title = Words::tr("Forward"),
       .run = [&reply] { reply.forwardEmail(); },
       .shortcut = QKeySequence("Ctrl+L"),
       .tool = Words::tr("Forward"),
       .enabled = [&controller] { return controller.messageViewer().views.forwardButtonEnabled; }});
}

/// Deletes, and goes on to the row that has moved up.
void deleteRows(DeletionPanel& panel, void (DeletionPanel::*deletion)(), MainWindow& window) {
  const std::vector<std::size_t> rows = window.selectedRows();
  (panel.*deletion)();
  if (!rows.empty() && window.selectedCount() == 0) window.step(static_cast<int>(rows.front()) + 1);
}

void addDeleteCommands(std::vector<Command>& list, KeldaneController& controller,
                       MainWindow& window) {
  DeletionPanel& panel = controller.deletionPanel();
  const QString menu = Words::tr("Delete");
  list.push_back(
      {.name = "deleteFromListItem",
       .menu = Menu::message,
       .title = Words::tr("this email from list"),
       .run = [&panel, &window] { deleteRows(panel, &DeletionPanel::deleteFromList, window); },
       .shortcut = QKeySequence("Del"),
       .enabled = hasSelection(window),
       .submenu = menu});
  list.push_back(
      {.name = "deleteSelectedItem",
       .menu = Menu::message,
       .title = Words::tr("this email from database..."),
       .run = [&panel, &window] { deleteRows(panel, &DeletionPanel::deleteSelected, window); },
       .shortcut = QKeySequence("Ctrl+Del"),
       .tool = Words::tr("Delete"),
       .enabled = hasSelection(window),
       .submenu = menu});
  list.push_back({.name = "deleteAttachmentsItem",
                  .menu = Menu::message,
                  .title = Words::tr("attachments of this email from database..."),
                  .run = [&panel] { panel.deleteAttachments(); },
                  .enabled = hasAttachments(controller),
                  .submenu = menu});
  list.push_back({.name = "deleteAllItem",
                  .menu = Menu::message,
                  .title = Words::tr("all email in list from database..."),
                  .run = [&panel] { panel.deleteAll(); },
                  .enabled = hasRows(controller),
                  .beginsGroup = true,
                  .submenu = menu});
}

void addExportCommands(std::vector<Command>& list, KeldaneController& controller) {
  ExportPanel& panel = controller.exportPanel();
  SqlFiles& sql = controller.sqlFiles();
  const QString menu = Words::tr("Export List");
  list.push_back({.name = "exportTabItem",
                  .menu = Menu::archive,
                  .title = Words::tr("Tab-Delimited..."),
                  .run = [&panel] { panel.exportTab(); },
                  .enabled = hasRows(controller),
                  .beginsGroup = true,
                  .submenu = menu});
  list.push_back({.name = "exportCommaItem",
                  .menu = Menu::archive,
                  .title = Words::tr("Comma-Delimited..."),
                  .run = [&panel] { panel.exportComma(); },
                  .enabled = hasRows(controller),
                  .submenu = menu});
  list.push_back({.name = "exportMboxItem",
                  .menu = Menu::archive,
                  .title = Words::tr("Mbox..."),
                  .run = [&panel] { panel.exportMbox(); },
                  .enabled = hasRows(controller),
                  .submenu = menu});
  list.push_back({.name = "exportPdfItem",
                  .menu = Menu::archive,
                  .title = Words::tr("PDF..."),
                  .run = [&controller] { controller.pdfPanel().exportPdf(); },
                  .enabled = hasRows(controller),
                  .submenu = menu});
  list.push_back({.name = "exportAddressesItem",
                  .menu = Menu::archive,
                  .title = Words::tr("Email Addresses..."),
                  .run = [&panel] { panel.exportAddresses(); },
                  .enabled = hasRows(controller),
                  .submenu = menu});
  list.push_back({.name = "exportSqlItem",
                  .menu = Menu::archive,
                  .title = Words::tr("SQL..."),
                  .run = [&sql] { sql.exportSQL(); },
                  .enabled = hasRows(controller),
                  .submenu = menu});
  list.push_back({.name = "importSqlItem",
                  .menu = Menu::archive,
                  .title = Words::tr("Import SQL File..."),
                  .run = [&sql] { sql.importSQL(); },
                  .enabled = isConnected(controller)});
  list.push_back({.name = "backupSqlItem",
                  .menu = Menu::archive,
                  .title = Words::tr("Back Up Database..."),
                  .run = [&sql] { sql.backupSQL(); },
                  .enabled = isConnected(controller)});
}

void addCareCommands(std::vector<Command>& list, KeldaneController& controller) {
  list.push_back({.name = "dupsItem",
                  .menu = Menu::archive,
                  .title = Words::tr("Find Duplicates..."),
                  .run = [&controller] { controller.duplicatesPanel().doCheckDups(); },
                  .enabled = isConnected(controller),
                  .beginsGroup = true});
  list.push_back({.name = "tagRulesItem",
                  .menu = Menu::archive,
                  .title = Words::tr("Tag Rules..."),
                  .run = [&controller] {
                    controller.settingsPanel().form.settingsToolbar = kRulesTab;
                    controller.settingsPanel().doPrefPanel();
                  }});
  list.push_back({.name = "statsItem",
                  .menu = Menu::archive,
                  .title = Words::tr("Statistics..."),
                  .run = [&controller] { controller.statisticsPanel().statisticsReport(); },
                  .enabled = isConnected(controller)});
}

}  // namespace

void addOutputCommands(std::vector<Command>& list, KeldaneController& controller,
                       MainWindow& window) {
  addTagCommand(list, controller);
  addSaveCommands(list, controller, window);
  addPdfCommand(list, controller, window);
  addPrintCommands(list, controller, window);
  addAnswerCommands(list, controller);
  addDeleteCommands(list, controller, window);
  addExportCommands(list, controller);
  addCareCommands(list, controller);
}

}  // namespace keldane
