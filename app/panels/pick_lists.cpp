#include "app/panels/pick_lists.h"

#include <cstdio>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include "base/text.h"

namespace keldane {
namespace {

// The names of message files are no mailboxes; the last pattern holds a real line feed.
constexpr const char* kMailboxesSql =
    "SELECT  mailbox FROM email WHERE mailbox NOT LIKE '%.emlx%' AND mailbox NOT LIKE '%.eml%' AND "
    "mailbox NOT LIKE '%\n' GROUP BY mailbox";
constexpr const char* kKeywordsSql = "SELECT DISTINCT key_fld FROM tags ORDER BY key_fld";

}  // namespace

PickLists::PickLists(ServerSession& session, ProgressPanel& progress, UserInterface& ui)
    : session_(session), progress_(progress), ui_(ui) {}

bool PickLists::fill(const char* text, const char* title, const char* sql,
                     std::vector<std::string>& items) {
  progress_.doProgressPanel(title);
  ui_.progressChanged(0, text);
  if (!session_.query(sql)) {
    std::fputs(fmt::format("SQL error: {}, {}\n", session_.error(), sql).c_str(), stderr);
    return false;
  }
  items.clear();
  const auto rows = session_.storeResult();
  while (rows && rows->next()) {
    const std::optional<std::string_view> cell = rows->cell(0);
    if (cell && !cell->empty()) items.push_back(toUtf8(*cell));
  }
  progress_.close();
  return true;
}

void PickLists::setMailboxField(SearchForm& form) {
  if (!mailboxesFilled_) {
    mailboxesFilled_ = fill("Populating mailboxes dropdown", "Getting list of mailboxes...",
                            kMailboxesSql, form.mailboxesButton);
    if (!mailboxesFilled_) return;
  }
  ui_.showPanel("mailboxesButton");
}

void PickLists::chooseMailbox(SearchForm& form, const std::string& mailbox) {
  for (std::size_t row = 0; row < kSearchRows; ++row) {
    if (form.fieldButton[row] != "Mailbox" || !form.searchTextField[row].empty()) continue;
    form.searchTextField[row] = mailbox;
    ui_.changed(fmt::format("searchTextField{}", row + 1));
    return;
  }
}

void PickLists::setKeywordsField(SearchForm& form) {
  if (!fill("Populating keywords dropdown", "Getting lists of key words...", kKeywordsSql,
            form.keywordsButton)) {
    return;
  }
  ui_.showPanel("keywordsButton");
}

void PickLists::chooseKeyword(SearchForm& form, const std::string& keyword) {
  if (form.keywordsButton.empty()) return;
  // What stands in this field becomes part of the statement as it is. A user may type SQL there,
  // but a keyword of the archive may have come with a message, and must stay a text.
  std::string quoted = keyword;
  replaceAll(quoted, "\\", "\\\\\\\\");  // escaped for the string, and again for the pattern
  replaceAll(quoted, "\"", "\"\"");
  form.searchKeywordsTextField = std::move(quoted);
  ui_.changed("searchKeywordsTextField");
}

}  // namespace keldane
