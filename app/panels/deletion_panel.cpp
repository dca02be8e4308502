#include "app/panels/deletion_panel.h"

#include <algorithm>
#include <cstdio>
#include <numeric>
#include <unordered_set>
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

void DeletionPanel::deleteFromList() { takeFromList(frame_.table().selectedInOrder()); }

void DeletionPanel::takeFromList(const std::vector<std::size_t>& rows) {
  removeRows(rows);
  const Result<std::string> count = countMessages(frame_.session());
  if (!count) frame_.log(fmt::format("SQL error: {}\n", count.error()));
  showCounts(count ? *count : "0");
}

/// In one pass: the list and the selection may have a hundred thousand rows each.
void DeletionPanel::removeRows(const std::vector<std::size_t>& rows) {
  ResultTable& table = frame_.table();
  std::vector<bool> isGone(table.emailRows.size());
  std::unordered_set<std::string> ids;
  for (const std::size_t row : rows) {
    const std::size_t place = table.modelIndex(row);
    isGone[place] = true;
    ids.insert(fmt::format("{}", table.emailRows[place].emailID));
  }
  std::erase_if(table.emailIds, [&ids](const std::string& id) { return ids.count(id) != 0; });
  std::size_t place = 0;
  std::erase_if(table.emailRows,
                [&isGone, &place](const Emailrow&) -> bool { return isGone[place++]; });
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

std::optional<std::size_t> DeletionPanel::deleteMessages(const MessageList& list) {
  frame_.begin("Deleting from database...");
  EndablePanelProgress progress(frame_.progress(), frame_.ui());
  IndexForgetter words(frame_.session(), supportFolder(process_));
  const DeletionReport report = keldane::deleteMessages(
      frame_.output(progress), list, [&words](std::uint32_t id) { words.forget(id); });
  if (report.error.empty()) return report.messages;
  frame_.showFailure(report.error);
  return std::nullopt;
}

void DeletionPanel::deleteSelected() {
  if (!confirm("Delete this email from database",
               "Do you want to delete the selected email from the database?")) {
    return;
  }
  const auto deleted = deleteMessages(frame_.selectedMessages());
  if (!deleted) return;
  std::vector<std::size_t> rows = frame_.table().selectedInOrder();
  rows.resize(std::min(rows.size(), *deleted));
  takeFromList(rows);
  frame_.end();
}

void DeletionPanel::deleteAll() {
  if (!confirm(kAllTitle, kAllText)) return;
  const auto deleted = deleteMessages(frame_.allMessages());
  if (!deleted) return;
  ResultTable& table = frame_.table();
  std::vector<std::size_t> rows(std::min(table.emailRows.size(), *deleted));
  std::iota(rows.begin(), rows.end(), std::size_t{0});
  removeRows(rows);
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
  EndablePanelProgress progress(frame_.progress(), frame_.ui());
  const DeletionReport report =
      keldane::deleteAttachments(frame_.output(progress), frame_.selectedMessages());
  if (!report.error.empty()) return frame_.showFailure(report.error);
  frame_.end();
  frame_.ui().alert({"Duplicates were deleted",
                     "The attachments have been deleted from the database for the selected email "
                     "in the list."});
}

}  // namespace keldane
