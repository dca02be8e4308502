#include "app/panels/search_form.h"

#include "archive/tag_row.h"

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

void checkWithTags(SearchForm& form, bool on) {
  form.withTagsCheck = on;
  if (on) form.withoutTagsCheck = false;
}

void checkWithoutTags(SearchForm& form, bool on) {
  form.withoutTagsCheck = on;
  if (on) form.withTagsCheck = false;
}

SearchRequest requestOf(SearchForm& form) {
  if (!form.entireMsgTextField.empty()) {
    form.fieldButton = searchFieldTitles();
    for (std::size_t row = 0; row < kSearchRows; ++row) {
      const bool isPlace = !kSearchFields[row].phrasePlace.empty();
      form.searchTextField[row] = isPlace ? form.entireMsgTextField : "";
      form.opsButton[row] = row == 0 ? "AND" : "OR";
    }
  }
  SearchRequest request;
  for (std::size_t row = 0; row < kSearchRows; ++row) {
    if (form.searchTextField[row].empty()) continue;
    request.conditions.push_back({columnForField(form.fieldButton[row]), form.searchTextField[row],
                                  joinerOf(form.opsButton[row])});
  }
  request.dates = dateRange(form.dates);
  request.onlyAttach = form.onlyAttachCheck;
  request.types = form.typeCheck;
  request.typesJoiner = joinerOf(form.opsButton[kSearchRows]);
  if (form.searchCatButton != "None") request.category = form.searchCatButton;
  request.keywords = form.searchKeywordsTextField;
  request.notes = form.searchNotesTextField;
  if (form.priorityCheck && !form.searchPriorityButton.empty()) {
    request.priority = priorityOfTitle(form.searchPriorityButton);
  }
  request.tagJoiners = {joinerOf(form.tagsAndButton), joinerOf(form.catAndButton),
                        joinerOf(form.keywordsAndButton), joinerOf(form.priorityAndButton)};
  return request;
}

}  // namespace keldane
