#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/panels/progress_panel.h"
#include "app/user_interface.h"
#include "archive/archive_database.h"
#include "archive/server_session.h"
#include "platform/process_state.h"
#include "query/search_result.h"
#include "settings/settings.h"

namespace keldane {

/// A list that stands aside while another is shown.
struct KeptList {
  std::vector<Emailrow> emailRows;
  std::vector<std::string> emailIds;
  int rowCount = 0;
  bool reverseList = false;
  std::string sortColumn;
  std::string listCountTextField;
};

/// The list of these messages, the newest first, as a statement for `ResultTable`.
[[nodiscard]] std::string listOfIdsSQL(const std::vector<std::uint32_t>& ids);

/// The list that the user works with: runs a statement, keeps one row per message, and leaves a
/// view of the list's ids on the server so that a later search can run inside it. Main thread.
class ResultTable {
 public:
  struct Context {
    ServerSession& session;
    const ArchiveDatabase& database;
    const UserSettings& settings;
    ProgressPanel& progress;
    UserInterface& ui;
    ProcessState& process;
    std::function<void(const std::string& line)> storeLog;  ///< the run's log
  };

  explicit ResultTable(Context context) : context_(std::move(context)) {}
  /// Empties what shows the message selected.
  std::function<void()> clearMessageViews;

  /// Runs `currentSql`, replacing the list.
  void retrieve();
  /// The same without the tag filters and with the editor's panel left open.
  void retrieveUnfiltered();
  /// The list shown at the start: the 200 newest messages.
  void get500emails();
  /// Lays the list aside, which leaves an empty one; shows it again. The view on the server stays
  /// that of the list laid aside.
  [[nodiscard]] KeptList takeList();
  void putBack(KeptList list);
  /// Shows the rows of these messages, behind which there may be `more`, without a view on the
  /// server and without a word in between. A statement that is refused leaves an empty list and a
  /// line on standard error.
  void showFound(const std::vector<std::uint32_t>& ids, bool more);
  /// Makes the newest list view anew. Another window may have put a list of its own in its place,
  /// or dropped it: the names are those of the database. A failure is the search's to meet.
  void renewListView();
  /// Empties rows, ids and the two count labels.
  void clear();
  /// Drops every list view. False after the first failure, which has been shown; the counters are
  /// then left alone.
  bool dropAllViews();
  /// The same at the end of the program: results are ignored.
  void dropAllViewsQuietly();
  /// Sorts by the column of this identifier ("emailDate", ...), or reverses the list when it is the
  /// column clicked last.
  void didClickTableColumn(const std::string& identifier);

  /// Index into `emailRows` of a row of the table; the row must be one of them.
  [[nodiscard]] std::size_t modelIndex(std::size_t row) const {
    return reverseList ? emailRows.size() - 1 - row : row;
  }
  /// The rows of the table that are selected, from the top, each once.
  [[nodiscard]] std::vector<std::size_t> selectedInOrder() const;
  /// What the table shows in a cell: the id as digits, or the field that the identifier names;
  /// nullopt past the end and for any other identifier.
  [[nodiscard]] std::optional<std::string> objectValueForTableColumn(std::string_view identifier,
                                                                     std::size_t row) const;
  [[nodiscard]] std::size_t numberOfRows() const { return emailRows.size(); }
  /// Name of the image that marks the order in a column's head; empty for a column not sorted by.
  [[nodiscard]] std::string_view sortIndicator(std::string_view identifier) const;

  std::string currentSql;
  /// Rows of the table, in any order; the one selected last is the last.
  std::vector<std::size_t> selectedRows;
  std::vector<Emailrow> emailRows;
  std::vector<std::string> emailIds;  ///< in the server's order, never sorted
  int rowCount = 0;
  int listViewCount = 0;
  bool reverseList = false;
  // Filters of the next `retrieve`, and of that alone.
  bool withTagsCheck = false;
  bool withoutTagsCheck = false;
  bool onlyAttach = false;
  bool listSearchButtonEnabled = true;
  bool messageButtonsEnabled = false;  ///< reply, forward, text, tag
  std::string sortColumn;
  bool archiveIsEmpty = false;  ///< as of the last list
  std::string dbCountTextField;
  std::string listCountTextField;

 private:
  void showRetrieving();
  void getResults(const SearchOptions& filter);
  void makeListView();
  void printSqlError() const;

  Context context_;
  std::vector<std::uint32_t> viewIds_;  ///< what the newest list view holds
  bool resultIsLatin1_ = false;
};

}  // namespace keldane
