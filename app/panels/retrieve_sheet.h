#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "app/panels/result_table.h"
#include "app/panels/search_form.h"
#include "app/user_interface.h"
#include "archive/archive_database.h"
#include "platform/environment.h"
#include "platform/process_state.h"
#include "query/search_builder.h"
#include "settings/preferences_file.h"
#include "settings/settings.h"

namespace keldane {

/// How the search sheet `retrievePanel` and what stands around it look.
struct RetrievePanel {
  std::string title;
  bool visible = false;
  bool attchTypeSheetVisible = false;
  bool savedSearchesButtonEnabled = true;
  bool savedSearchesButtonHidden = false;
};

/// The search sheet: holds the form, turns it into a statement and runs that, over the whole
/// archive or inside the list shown. There is no query language besides the form: the statement is
/// MySQL's, and the same text is what the user sees, edits and saves.
///
/// Main thread. While an archive run is under way nothing here reaches for the session, which
/// belongs to the run's worker then.
class RetrieveSheet {
 public:
  struct Context {
    ResultTable& table;
    const ArchiveDatabase& database;
    const PreferencesFile& prefs;
    Settings& settings;
    ProcessState& process;
    Environment& environment;
    UserInterface& ui;
    std::function<void()> doConnect;
    std::function<void()> openDatabase;
    std::function<bool()> isArchiving;  ///< a run is counting messages
    std::function<void()> savePreferences;
  };

  explicit RetrieveSheet(Context context) : context_(std::move(context)) {}

  /// Opens the sheet for the whole archive; drops the list views.
  void retrieveFromDB();
  /// Opens the sheet for the list shown.
  void retrieveFromList();
  void retrieveFromDBorList();
  /// The sheet's search button.
  void retrieveEmails();
  void cancelRetrieve();

  /// The Browse button: runs the saved search chosen for it, or lists the archive. A chosen search
  /// that is gone is forgotten.
  void browseDatabase();
  /// Lists by length of the raw source, the longest first, after a question.
  void browseBySize();

  /// Reads the form into `beginSql`, `whereSql` and `fromTables`, after opening the database.
  /// False, with nothing written, when that failed; `ProcessState::cancelFlag` is then set and the
  /// caller clears it.
  [[nodiscard]] bool makeSearchSQL();
  /// The same for callers that go on without a statement: both halves are emptied first, and a
  /// failed connect leaves them so.
  void makeSearchSQLOrEmpty();
  /// Closes the sheet and runs a statement.
  void run(std::string sql);
  /// Drops the views and leaves the list mode. False after a view that could not be dropped, which
  /// has been shown; everything stays then.
  bool leaveListMode();
  [[nodiscard]] bool isArchiving() const;
  void doConnect();
  void closePanel();

  // The sheet of the attachment types.
  void doAttchTypes();
  void setAttchTypes();
  void cancelAttchTypes();

  // Date shortcuts; they start no search.
  void doDay();
  void doWeek();
  void doMonth();
  void doYear();

  SearchForm form;
  RetrievePanel panel;
  int listMode = 0;  ///< 1: the next search runs inside the list
  std::string beginSql;
  std::string whereSql;
  std::string fromTables;

 private:
  [[nodiscard]] std::string localDay(std::int64_t secondsAgo) const;
  void showSavedSearchesButton(bool shown);

  Context context_;
};

}  // namespace keldane
