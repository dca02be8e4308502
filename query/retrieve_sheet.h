#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "platform/environment.h"
#include "platform/process_state.h"
#include "platform/user_interface.h"
#include "query/result_list.h"
#include "query/search_builder.h"
#include "query/search_form.h"

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
  struct Callbacks {
    std::function<void()> doConnect;
    std::function<void()> openDatabase;
    std::function<std::string()> dbPath;
    std::function<bool()> isArchiving;  ///< a run is counting messages
    /// The settings that the statement depends on; the list's part of it is filled in here.
    std::function<SearchContext()> settings;
  };

  RetrieveSheet(ResultList& list, ProcessState& process, Environment& environment,
                UserInterface& ui);
  void setCallbacks(Callbacks callbacks) { callbacks_ = std::move(callbacks); }

  /// Opens the sheet for the whole archive; drops the list views.
  void retrieveFromDB();
  /// Opens the sheet for the list shown.
  void retrieveFromList();
  void retrieveFromDBorList();
  /// The sheet's search button.
  void retrieveEmails();
  void cancelRetrieve();

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
  /// Order and limit that are asked for in place of those of the settings.
  std::optional<SearchContext> orderAndLimit;
  int listMode = 0;  ///< 1: the next search runs inside the list
  std::string beginSql;
  std::string whereSql;
  std::string fromTables;

 private:
  [[nodiscard]] std::string localDay(std::int64_t secondsAgo) const;
  void showSavedSearchesButton(bool shown);

  ResultList& list_;
  ProcessState& process_;
  Environment& environment_;
  UserInterface& ui_;
  Callbacks callbacks_;
};

}  // namespace keldane
