#include "app/panels/deletion_panel.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include <fmt/format.h>

#include "find/index_forgetter.h"
#include "output/deletion.h"
#include "query/search_result.h"

namespace keldane {
namespace {

constexpr const char* kAllTitle = "Delete Email in Database";
constexpr const char* kAllText =
    "Do you want to delete all of the email in this list from the database?";

}  // namespace

bool DeletionPanel::confirm(const char* title, const char* text) const {
  return frame_.ui().alert({title, text, AlertStyle::informational, {"Delete", "Cancel"}}) ==
         kFirstButton;
}

void DeletionPanel::deleteFromList() {
  removeRows(frame_.table().selectedInOrder());
  const Result<std::string> count = countMessages(frame_.session());
  if (!count) frame_.log(fmt::format("SQL error: {}\n", count.error()));
  showCounts(count ? *count : "0");
}

void DeletionPanel::removeRows(const std::vector<std::size_t>& rows) {
  ResultTable& table = frame_.table();
  std::vector<std::size_t> places;
  for (const std::size_t row : rows) places.push_back(table.modelIndex(row));
  std::sort(places.rbegin(), places.rend());
  for (const std::size_t place : places) {
    const std::string id = fmt::format("{}", table.emailRows[place].emailID);
    table.emailIds.erase(std::remove(table.emailIds.begin(), table.emailIds.end(), id),
                         table.emailIds.end());
    table.emailRows.erase(table.emailRows.begin() + static_cast<std::ptrdiff_t>(place));
  }
  table.selectedRows.clear();
  table.rowCount = static_cast<int>(table.emailRows.size());
  frame_.ui().changed("storeTableView");
}

void DeletionPanel::showCounts(const std::string& inDatabase) const {
  ResultTable& table = frame_.table();
  table.dbCountTextField = inDatabase + " emails in the database.";
  table.listCountTextField = fmt::format("{} emails in this list.", table.rowCount);
  frame_.ui().changed("dbCountTextField");
  frame_.ui().changed("listCountTextField");
}

bool DeletionPanel::deleteMessages(const MessageList& list) {
  frame_.begin("Deleting from database...");
  PanelProgress progress(frame_.progress());
  IndexForgetter words(frame_.session(), supportFolder(process_));
  const DeletionReport report = keldane::deleteMessages(
      frame_.output(progress), list, [&words](std::uint32_t id) { words.forget(id); });
  if (!report.error.empty()) frame_.showFailure(report.error);
  return report.error.empty();
}

void DeletionPanel::deleteSelected() {
  if (!confirm("Delete this email from database",
               "Do you want to delete the selected email from the database?")) {
    return;
  }
  if (!deleteMessages(frame_.selectedMessages())) return;
  deleteFromList();
  frame_.end();
}

void DeletionPanel::deleteAll() {
  if (!confirm(kAllTitle, kAllText) || !deleteMessages(frame_.allMessages())) return;
  ResultTable& table = frame_.table();
  table.emailIds.clear();
  table.emailRows.clear();
  table.selectedRows.clear();
  table.rowCount = 0;
  frame_.ui().changed("storeTableView");
  const Result<std::string> count = countMessages(frame_.session());
  if (!count) std::fputs(fmt::format("SQL error: {}\n", count.error()).c_str(), stderr);
  frame_.end();
  showCounts(count ? *count : "0");
  if (table.clearMessageViews) table.clearMessageViews();
}

void DeletionPanel::deleteAttachments() {
  // Kept: it asks in the words of the other deletion, and tells it is done in those of the copies.
  if (!confirm(kAllTitle, kAllText)) return;
  frame_.begin("Deleting attachments...");
  PanelProgress progress(frame_.progress());
  const DeletionReport report =
      keldane::deleteAttachments(frame_.output(progress), frame_.selectedMessages());
  if (!report.error.empty()) return frame_.showFailure(report.error);
  frame_.end();
  frame_.ui().alert({"Duplicates were deleted",
                     "The attachments have been deleted from the database for the selected email "
                     "in the list."});
}

}  // namespace keldane
