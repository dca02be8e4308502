#pragma once

#include <string>
#include <vector>

#include "app/panels/progress_panel.h"
#include "app/panels/search_form.h"
#include "app/user_interface.h"
#include "archive/server_session.h"
#include "base/result.h"

namespace keldane {

/// The two hidden menus of the search form that are filled from the archive: its mailboxes, asked
/// for once in a process, and its keywords, asked for each time. A statement that fails leaves a
/// line on standard error and the progress panel up; the menu does not open. Main thread.
class PickLists {
 public:
  PickLists(ServerSession& session, ProgressPanel& progress, UserInterface& ui);

  /// Fills and opens `mailboxesButton`.
  void setMailboxField(SearchForm& form);
  /// Puts a mailbox into the first row that searches mailboxes and has no text; nothing happens
  /// when there is none.
  void chooseMailbox(SearchForm& form, const std::string& mailbox);
  /// Fills and opens `keywordsButton`.
  void setKeywordsField(SearchForm& form);
  /// Replaces the keywords searched for; nothing happens when the menu is empty.
  void chooseKeyword(SearchForm& form, const std::string& keyword);

 private:
  using ReadTexts = Result<std::vector<std::string>> (*)(ServerSession&);

  [[nodiscard]] bool fill(const char* text, const char* title, ReadTexts read,
                          std::vector<std::string>& items);

  ServerSession& session_;
  ProgressPanel& progress_;
  UserInterface& ui_;
  bool mailboxesFilled_ = false;
};

}  // namespace keldane
