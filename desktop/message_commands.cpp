#include "desktop/message_commands.h"

#include <QCoreApplication>

#include "app/keldane_controller.h"
#include "app/panels/menu_validation.h"
#include "desktop/main_window.h"

namespace keldane {
namespace {

struct Words {
  Q_DECLARE_TR_FUNCTIONS(MessageCommands)
};

/// Tagging, answering and forwarding ask for a message that is shown.
std::function<bool()> hasMessage(KeldaneController& controller) {
  return [&controller] { return controller.resultTable().messageButtonsEnabled; };
}

void addTagCommand(std::vector<Command>& list, KeldaneController& controller) {
  list.push_back({.name = "tagItem",
                  .menu = Menu::message,
                  .title = Words::tr("Tag..."),
                  .run = [&controller] { controller.tagPanel().tagEmail(); },
                  .shortcut = QKeySequence("Ctrl+T"),
                  .tool = Words::tr("Tag"),
                  .enabled = hasMessage(controller),
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
                  .beginsGroup = true,
                  .submenu = menu});
  list.push_back({.name = "mySaveAll",
                  .menu = Menu::message,
                  .title = Words::tr("all email in list"),
                  .run = [&save] { save.saveAll(); },
                  .submenu = menu});
  list.push_back({.name = "mySaveOrigSelected",
                  .menu = Menu::message,
                  .title = Words::tr("this original email"),
                  .run = [&save] { save.saveOrigSelected(); },
                  .enabled = isValid("this original email"),
                  .submenu = menu});
  list.push_back({.name = "mySaveOrigAll",
                  .menu = Menu::message,
                  .title = Words::tr("all original email in list"),
                  .run = [&save] { save.saveOrigAll(); },
                  .enabled = isValid("all original email in list"),
                  .submenu = menu});
  list.push_back({.name = "saveListItem",
                  .menu = Menu::message,
                  .title = Words::tr("list"),
                  .run = [&save] { save.saveList(); },
                  .submenu = menu});
  list.push_back({.name = "saveAllAttachmentsItem",
                  .menu = Menu::message,
                  .title = Words::tr("attachments of this email"),
                  .run = [&save] { save.saveAllAttachments(); },
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

void addPrintCommands(std::vector<Command>& list, KeldaneController& controller) {
  PrintPanel& print = controller.printPanel();
  const QString menu = Words::tr("Print");
  list.push_back({.name = "printSelectedItem",
                  .menu = Menu::message,
                  .title = Words::tr("this email..."),
                  .run = [&print] { print.printSelected(); },
                  .shortcut = QKeySequence::Print,
                  .tool = Words::tr("Print"),
                  .submenu = menu});
  list.push_back({.name = "printPreviewItem",
                  .menu = Menu::message,
                  .title = Words::tr("Preview..."),
                  .run = [&print] { print.previewSelected(); },
                  .shortcut = QKeySequence("Ctrl+Shift+P"),
                  .submenu = menu});
  list.push_back({.name = "printAllItem",
                  .menu = Menu::message,
                  .title = Words::tr("all email in list..."),
                  .run = [&print] { print.printAll(); },
                  .submenu = menu});
}

void addAnswerCommands(std::vector<Command>& list, KeldaneController& controller) {
  ReplyPanel& reply = controller.replyPanel();
  list.push_back({.name = "replyItem",
                  .menu = Menu::message,
                  .title = Words::tr("Reply"),
                  .run = [&reply] { reply.replyToEmail(); },
                  .shortcut = QKeySequence("Ctrl+R"),
                  .tool = Words::tr("Reply"),
                  .enabled = hasMessage(controller),
                  .beginsGroup = true});
  list.push_back({.name = "forwardItem",
                  .menu = Menu::message,
                  .title = Words::tr("Forward"),
                  .run = [&reply] { reply.forwardEmail(); },
                  .shortcut = QKeySequence("Ctrl+L"),
                  .tool = Words::tr("Forward"),
                  .enabled = hasMessage(controller)});
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
       .submenu = menu});
  list.push_back(
      {.name = "deleteSelectedItem",
       .menu = Menu::message,
       .title = Words::tr("this email from database..."),
       .run = [&panel, &window] { deleteRows(panel, &DeletionPanel::deleteSelected, window); },
       .shortcut = QKeySequence("Ctrl+Del"),
       .tool = Words::tr("Delete"),
       .submenu = menu});
  list.push_back({.name = "deleteAttachmentsItem",
                  .menu = Menu::message,
                  .title = Words::tr("attachments of this email from database..."),
                  .run = [&panel] { panel.deleteAttachments(); },
                  .submenu = menu});
  list.push_back({.name = "deleteAllItem",
                  .menu = Menu::message,
                  .title = Words::tr("all email in list from database..."),
                  .run = [&panel] { panel.deleteAll(); },
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
                  .beginsGroup = true,
                  .submenu = menu});
  list.push_back({.name = "exportCommaItem",
                  .menu = Menu::archive,
                  .title = Words::tr("Comma-Delimited..."),
                  .run = [&panel] { panel.exportComma(); },
                  .submenu = menu});
  list.push_back({.name = "exportMboxItem",
                  .menu = Menu::archive,
                  .title = Words::tr("Mbox..."),
                  .run = [&panel] { panel.exportMbox(); },
                  .submenu = menu});
  list.push_back({.name = "exportPdfItem",
                  .menu = Menu::archive,
                  .title = Words::tr("PDF..."),
                  .run = [&controller] { controller.pdfPanel().exportPdf(); },
                  .submenu = menu});
  list.push_back({.name = "exportAddressesItem",
                  .menu = Menu::archive,
                  .title = Words::tr("Email Addresses..."),
                  .run = [&panel] { panel.exportAddresses(); },
                  .submenu = menu});
  list.push_back({.name = "exportSqlItem",
                  .menu = Menu::archive,
                  .title = Words::tr("SQL..."),
                  .run = [&sql] { sql.exportSQL(); },
                  .submenu = menu});
  list.push_back({.name = "importSqlItem",
                  .menu = Menu::archive,
                  .title = Words::tr("Import SQL File..."),
                  .run = [&sql] { sql.importSQL(); }});
  list.push_back({.name = "backupSqlItem",
                  .menu = Menu::archive,
                  .title = Words::tr("Back Up Database..."),
                  .run = [&sql] { sql.backupSQL(); }});
}

void addCareCommands(std::vector<Command>& list, KeldaneController& controller) {
  list.push_back({.name = "dupsItem",
                  .menu = Menu::archive,
                  .title = Words::tr("Find Duplicates..."),
                  .run = [&controller] { controller.duplicatesPanel().doCheckDups(); },
                  .beginsGroup = true});
  list.push_back({.name = "tagRulesItem",
                  .menu = Menu::archive,
                  .title = Words::tr("Tag Rules..."),
                  .run = [&controller] { controller.userInterface().showPanel("tagRulesPanel"); }});
  list.push_back({.name = "statsItem",
                  .menu = Menu::archive,
                  .title = Words::tr("Statistics..."),
                  .run = [&controller] { controller.statisticsPanel().statisticsReport(); }});
}

}  // namespace

void addOutputCommands(std::vector<Command>& list, KeldaneController& controller,
                       MainWindow& window) {
  addTagCommand(list, controller);
  addSaveCommands(list, controller, window);
  addPdfCommand(list, controller, window);
  addPrintCommands(list, controller);
  addAnswerCommands(list, controller);
  addDeleteCommands(list, controller, window);
  addExportCommands(list, controller);
  addCareCommands(list, controller);
}

}  // namespace keldane
