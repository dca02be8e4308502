#pragma once

#include <array>
#include <string>
#include <vector>

#include "query/search_builder.h"

namespace keldane {

/// The controls of the search form. Menus hold the title of their selected item.
struct SearchForm {
  std::array<std::string, kSearchRows> fieldButton = searchFieldTitles();
  std::array<std::string, kSearchRows> searchTextField;
  /// [0] to [7] join the rows; [8] joins the attachment types.
  std::array<std::string, kSearchRows + 1> opsButton = {"AND", "OR",  "AND", "AND", "AND",
                                                        "AND", "AND", "AND", "AND"};
  std::string entireMsgTextField;
  DateMenus dates;
  bool onlyAttachCheck = false;
  std::array<bool, kAttachTypes> typeCheck{};
  std::string searchCatButton = "None";
  std::string searchKeywordsTextField;
  std::string searchNotesTextField;
  bool priorityCheck = false;
  std::string searchPriorityButton = "None";
  std::string tagsAndButton = "AND";
  std::string catAndButton = "AND";
  std::string keywordsAndButton = "AND";
  std::string priorityAndButton = "AND";
  bool withTagsCheck = false;
  bool withoutTagsCheck = false;
  std::vector<std::string> mailboxesButton;
  std::vector<std::string> keywordsButton;
  std::string beginSqlTextField;
  std::string whereTextField;
  std::string searchNameTextField;
  std::string savedSearchTextField;
};

/// The form as it is when nothing is asked for; the operator of the first row, the tag block's
/// first operator and the notes keep what they have.
void resetRetrieve(SearchForm& form);
void resetTagSearch(SearchForm& form);

/// The two check boxes that exclude each other.
void checkWithTags(SearchForm& form, bool on);
void checkWithoutTags(SearchForm& form, bool on);

/// What the form asks for. A phrase for the entire message is first spread over the rows, which
/// changes the form.
[[nodiscard]] SearchRequest requestOf(SearchForm& form);

}  // namespace keldane
