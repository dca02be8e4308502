#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "app/panels/category_menu.h"
#include "app/panels/progress_panel.h"
#include "app/panels/result_table.h"
#include "app/user_interface.h"
#include "archive/server_session.h"
#include "archive/tag_row.h"
#include "settings/settings.h"

namespace keldane {

/// The controls of `tagPanel`, but for its menu of categories.
struct TagForm {
  std::string catTextField;
  std::string keywordsTextField;
  std::string notesTextField;
  std::size_t priorityButton = 0;  ///< index into kPriorityTitles
};

/// Tagging by hand: gives the tags of its form to the selected rows of the result list, or takes
/// them away when the form is empty. Each row is written on its own, and a failure leaves those
/// before it tagged. Main thread.
class TagPanel {
 public:
  TagPanel(ServerSession& session, ResultTable& list, Settings& settings, ProgressPanel& progress,
           UserInterface& ui);

  /// Opens the window on the tags of the selected row; nothing happens when there is none.
  void tagEmail();
  /// Shows the tags of the selected row.
  void setTags();
  /// Writes the form's tags to the selected rows. What a row had before goes: see `forgetOldTags`.
  /// False when a statement was refused; the alert has been shown, and the row at hand may have
  /// lost its tags.
  bool addTags();
  /// The same, with blanks in front of a value kept.
  bool replaceTags();
  /// The action of `setCatButton`.
  void chooseSetCat();

  TagForm form;
  /// Its titles are those of the search form's `searchCatButton` too.
  CategoryMenu setCatButton;
  /// Those of the list. The one selected last is the one that is shown.
  std::vector<std::size_t>& selectedRows;
  /// How many messages the last `addTags` has tagged, as a sentence. No face needs to show it.
  std::string sqlText;
  /// Called when the tags of the selected rows may have become others. May be empty.
  std::function<void()> tagsChanged;

 private:
  [[nodiscard]] std::string takeCategory();
  bool tagRows(const TagRow& tags);
  bool tagRow(Emailrow& row, TagRow tags);
  bool forgetOldTags(std::uint32_t id);

  ServerSession& session_;
  ResultTable& list_;
  Settings& settings_;
  ProgressPanel& progress_;
  UserInterface& ui_;
  bool replacingTags_ = false;
  int tagged_ = 0;
};

}  // namespace keldane
