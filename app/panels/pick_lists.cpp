#include "app/panels/pick_lists.h"

#include <cstdio>
#include <utility>

#include <fmt/format.h>

#include "base/text.h"
#include "query/search_result.h"

namespace keldane {
PickLists::PickLists(ServerSession& session, ProgressPanel& progress, UserInterface& ui)
    : session_(session), progress_(progress), ui_(ui) {}

bool PickLists::fill(const char* text, const char* title, ReadTexts read,
                     std::vector<std::string>& items) {
  progress_.doProgressPanel(title);
  ui_.progressChanged(0, text);
  Result<std::vector<std::string>> found = read(session_);
  if (!found) {
    // Kept: the panel stays.
    const std::string line = "SQL error: " + found.error();
    std::fputs((line + "\n").c_str(), stderr);
    ui_.notice(line);
    return false;
  }
  items = std::move(*found);
  progress_.close();
  return true;
}

void PickLists::setMailboxField(SearchForm& form) {
  if (!mailboxesFilled_) {
    mailboxesFilled_ = fill("Populating mailboxes dropdown", "Getting list of mailboxes...",
                            readMailboxes, form.mailboxesButton);
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
  if (!fill("Populating keywords dropdown", "Getting lists of key words...", readKeywords,
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
