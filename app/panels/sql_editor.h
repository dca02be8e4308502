#pragma once

#include "app/panels/retrieve_sheet.h"
#include "app/user_interface.h"

namespace keldane {

/// The panel that shows the form's statement and lets its second half be edited. What the user
/// writes there goes to the server as it stands: nothing validates it. Main thread.
class SqlEditor {
 public:
  SqlEditor(RetrieveSheet& sheet, UserInterface& ui) : sheet_(sheet), ui_(ui) {}

  /// Shows the statement of the form in `SQLPanel`; both halves are empty when the database could
  /// not be opened.
  void editSqlString();
  /// Runs what the panel holds.
  void makeSQLString();

 private:
  RetrieveSheet& sheet_;
  UserInterface& ui_;
};

}  // namespace keldane
