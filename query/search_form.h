#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "query/search_fields.h"

namespace keldane {

/// The six date menus; each "All" or a value.
struct DateMenus {
  std::string beginMo = "All";
  std::string beginDa = "All";
  std::string beginYr = "All";
  std::string endMo = "All";
  std::string endDa = "All";
  std::string endYr = "All";
  bool operator==(const DateMenus&) const = default;
};

/// The controls of the search form. Menus hold the title of their selected item. An operator title
/// means OR when it begins with "OR", else AND; it negates when it ends with "NOT".
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

/// Date shortcuts over a local day written "YYYY-MM-DD".
void doDay(DateMenus& dates, const std::string& today);
void doWeek(DateMenus& dates, const std::string& today, const std::string& sixDaysAgo);
void doMonth(DateMenus& dates, const std::string& today);
void doYear(DateMenus& dates, const std::string& today);

}  // namespace keldane
