#include "app/panels/tag_panel.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "base/text.h"
#include "query/message_tags.h"

namespace keldane {
namespace {

std::string selectTagsSql(std::uint32_t id) {
  return fmt::format("SELECT cat_fld,key_fld,priority_fld,notes_fld FROM tags WHERE id={}", id);
}

void removeLeadingBlanks(std::string& text) {
  text.erase(0, std::min(text.find_first_not_of(' '), text.size()));
}

}  // namespace

TagPanel::TagPanel(ServerSession& session, ResultTable& list, Settings& settings,
                   ProgressPanel& progress, UserInterface& ui)
    : selectedRows(list.selectedRows),
      session_(session),
      list_(list),
      settings_(settings),
      progress_(progress),
      ui_(ui) {}

void TagPanel::tagEmail() {
  replacingTags_ = false;
  if (list_.selectedInOrder().empty()) return;
  setTags();
  ui_.showPanel("tagPanel");
}

void TagPanel::setTags() {
  setCatButton.selected = 0;
  form = {};
  if (!selectedRows.empty() && selectedRows.back() < list_.emailRows.size()) {
    const Emailrow& row = list_.emailRows[list_.modelIndex(selectedRows.back())];
    if (!session_.query(selectTagsSql(row.emailID))) {
      ui_.alert({"SQL Error",
                 fmt::format("SQL error: {}", session_.error()),
                 AlertStyle::critical,
                 {"OK"}});
    } else if (const auto rows = session_.storeResult()) {
      const auto cell = [&rows](std::size_t column) {
        return toUtf8(rows->cell(column).value_or(std::string_view()));
      };
      while (rows->next()) {
        form.catTextField = cell(0);
        form.keywordsTextField = cell(1);
        form.priorityButton =
            static_cast<std::size_t>(priorityOfTitle(priorityTitle(leadingInt(cell(2)))));
        form.notesTextField = cell(3);
      }
    }
  }
  ui_.changed("tagPanel");
}

void TagPanel::chooseSetCat() {
  form.catTextField = setCatButton.category();
  ui_.changed("catTextField");
}

bool TagPanel::replaceTags() {
  replacingTags_ = true;
  const bool done = addTags();
  replacingTags_ = false;
  return done;
}

bool TagPanel::addTags() {
  TagRow tags;
  tags.category = takeCategory();
  tags.keywords = form.keywordsTextField;
  tags.notes = form.notesTextField;
  tags.priority =
      form.priorityButton < kPriorityTitles.size() ? static_cast<int>(form.priorityButton) : 0;
  if (!replacingTags_) {
    // The fields of the form are all that is added, so there is nothing to put blanks in front of.
    for (std::string* text : {&tags.category, &tags.keywords, &tags.notes}) {
      removeLeadingBlanks(*text);
    }
  }
  ui_.progressChanged(0, "");
  progress_.doProgressPanel("Add tags to email...");
  tagged_ = 0;
  const bool done = tagRows(tags);
  ui_.changed("storeTableView");
  if (tagsChanged) tagsChanged();
  progress_.close();
  ui_.alert({"Done", "Done tagging email"});
  sqlText = tagged_ == 1 ? std::string("1 email has been tagged.")
                         : fmt::format("{} emails have been tagged.", tagged_);
  setTags();
  return done;
}

/// The form's category, without the words that stand for none. A new one joins the lists.
std::string TagPanel::takeCategory() {
  const std::string& category = form.catTextField;
  if (category.empty() || category == "None" || category == "none") return {};
  std::vector<std::string>& known = settings_.categoryList;
  if (std::find(known.begin(), known.end(), category) == known.end()) {
    known.push_back(category);
    setCatButton.titles.push_back(category);
    ui_.changed("searchCatButton");
    ui_.changed("setCatButton");
  }
  return category;
}

/// The selected rows that are in the list, the lowest first.
bool TagPanel::tagRows(const TagRow& tags) {
  const std::vector<std::size_t> rows = list_.selectedInOrder();
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (!tagRow(list_.emailRows[list_.modelIndex(rows[i])], tags)) {
      ui_.alert({"SQL Error",
                 fmt::format("SQL error: {}", session_.error()),
                 AlertStyle::critical,
                 {"OK"}});
      return false;
    }
    // The number shown is that of the row to come.
    if (i + 1 < rows.size()) progress_.doProgressCount(static_cast<int>(rows[i + 1]), 10);
    ++tagged_;
  }
  return true;
}

bool TagPanel::tagRow(Emailrow& row, TagRow tags) {
  if (!replacingTags_ && !forgetOldTags(row.emailID)) return false;
  tags.id = row.emailID;
  if (!writeTags(session_, storedForm(tags))) return false;
  row.emailDate = plainDate(row) + (hasTags(tags) ? "*" : "");
  return true;
}

/// Reads the tags that a row has so far: their category goes once more into the list of categories,
/// as it always has, and nothing of them into the row that is written next.
bool TagPanel::forgetOldTags(std::uint32_t id) {
  if (!session_.query(selectTagsSql(id))) return false;
  const std::unique_ptr<ResultRows> rows = session_.storeResult();
  while (rows && rows->next()) {
    const std::optional<std::string_view> cell = rows->cell(0);
    if (cell && !cell->empty()) settings_.categoryList.push_back(toUtf8(*cell));
  }
  return true;
}

}  // namespace keldane
