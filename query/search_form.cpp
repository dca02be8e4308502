#include "query/search_form.h"

namespace keldane {

void resetRetrieve(SearchForm& form) {
  const SearchForm fresh;
  form.dates = fresh.dates;
  for (std::size_t i = 1; i < form.opsButton.size(); ++i) form.opsButton[i] = fresh.opsButton[i];
  form.searchTextField = fresh.searchTextField;
  form.fieldButton = fresh.fieldButton;
  form.entireMsgTextField.clear();
  form.onlyAttachCheck = false;
  form.withTagsCheck = false;
  form.withoutTagsCheck = false;
  form.typeCheck = {};
  resetTagSearch(form);
}

void resetTagSearch(SearchForm& form) {
  form.catAndButton = "AND";
  form.keywordsAndButton = "AND";
  form.priorityAndButton = "AND";
  form.searchPriorityButton = "None";
  form.priorityCheck = false;
  form.searchCatButton = "None";
  // The notes stay: only the keywords are emptied.
  form.searchKeywordsTextField.clear();
  form.withTagsCheck = false;
  form.withoutTagsCheck = false;
}

namespace {

std::string year(const std::string& day) { return day.substr(0, 4); }
std::string month(const std::string& day) { return day.substr(5, 2); }
std::string dayOfMonth(const std::string& day) { return day.substr(8, 2); }

}  // namespace

void doDay(DateMenus& dates, const std::string& today) { doWeek(dates, today, today); }

void doWeek(DateMenus& dates, const std::string& today, const std::string& sixDaysAgo) {
  dates = {month(sixDaysAgo), dayOfMonth(sixDaysAgo), year(sixDaysAgo),
           month(today),      dayOfMonth(today),      year(today)};
}

void doMonth(DateMenus& dates, const std::string& today) {
  dates = {month(today), "All", year(today), month(today), "All", year(today)};
}

void doYear(DateMenus& dates, const std::string& today) {
  dates = {"All", "All", year(today), "All", "All", year(today)};
}

}  // namespace keldane
