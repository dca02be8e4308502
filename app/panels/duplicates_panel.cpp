#include "app/panels/duplicates_panel.h"

#include <utility>

#include <fmt/format.h>

#include "app/panels/panel_progress.h"
#include "app/query_settings.h"
#include "query/search_result.h"

namespace keldane {

void DuplicatesPanel::showSqlError(const std::string& text) {
  context_.ui.alert({"SQL Error", "SQL error: " + text, AlertStyle::critical, {"OK"}});
}

void DuplicatesPanel::checkDups() {
  UserInterface& ui = context_.ui;
  ResultTable& table = context_.table;
  const bool deletes = deleteDupsMatrix == 0;
  ui.closePanel("dupsPanel");
  ui.closePanel("SQLPanel");
  table.clear();
  if (table.clearMessageViews) table.clearMessageViews();
  ui.setWindowTitle("storePanel", "checking for duplicates...");
  ui.showPanel("storePanel");
  ui.progressChanged(0, "");
  context_.progress.doProgressPanel("Checking for duplicates...");
  EndablePanelProgress progress(context_.progress, ui);
  Result<SweepResult> found =
      sweepDuplicates(context_.session, deletes, sourceReading(context_.settings), progress);
  if (!found) {
    context_.progress.close();
    showSqlError(found.error());
    return;
  }
  if (!found->error.empty()) showSqlError(found->error + "\n");
  context_.progress.close();

  const Result<std::string> count = countMessages(context_.session);
  if (!count && context_.storeLog) {
    context_.storeLog(fmt::format("SQL error: {}\n", count.error()));
  }
  for (const std::uint32_t id : found->handledIds) table.emailIds.push_back(fmt::format("{}", id));
  for (SweepResult::Entry& entry : found->listed) table.emailRows.push_back(std::move(entry.row));
  table.rowCount = static_cast<int>(table.emailRows.size());
  table.dbCountTextField = (count ? *count : "0") + " emails in the database.";
  table.listCountTextField = fmt::format("{} emails in this list.", table.rowCount);
  ui.setWindowTitle("storePanel", "Duplicate emails found in " + context_.database.dbPath);
  table.listSearchButtonEnabled = false;
  ui.changed("storeTableView");
  if (!deletes) return;
  ui.alert({"Duplicates were deleted",
            fmt::format("{} duplicate emails have been deleted from the database.", found->deleted),
            AlertStyle::informational,
            {"OK"}});
}

}  // namespace keldane
