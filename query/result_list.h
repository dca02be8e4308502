#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "archive/server_session.h"
#include "platform/process_state.h"
#include "platform/progress_panel.h"
#include "platform/user_interface.h"
#include "query/emailrow.h"

namespace keldane {

/// The list that the user works with: runs a statement, keeps one row per message, and leaves a
/// view of the list's ids on the server so that a later search can run inside it. Bodies never come
/// along. Main thread only.
class ResultList {
 public:
  struct Callbacks {
    std::function<DateStyle()> dateStyle;
    std::function<std::string()> dbPath;
    std::function<void(const std::string& line)> storeLog;  ///< the run's log
    std::function<void()> clearMessageViews;
  };

  ResultList(ServerSession& session, ProgressPanel& progress, UserInterface& ui,
             ProcessState& process);
  void setCallbacks(Callbacks callbacks) { callbacks_ = std::move(callbacks); }

  /// Runs `currentSql`, replacing the list.
  void retrieve();
  /// Lists by length of the raw source, the longest first; `limit` is empty or " LIMIT n".
  void retrieveBySize(const std::string& limit);
  /// The list shown at the start: the 200 newest messages.
  void get500emails();
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
  /// What the table shows in a cell: the id as digits, or the field that the identifier names;
  /// nullopt past the end and for any other identifier.
  [[nodiscard]] std::optional<std::string> objectValueForTableColumn(std::string_view identifier,
                                                                     std::size_t row) const;
  [[nodiscard]] std::size_t numberOfRows() const { return emailRows.size(); }
  /// Name of the image that marks the order in a column's head; empty for a column not sorted by.
  [[nodiscard]] std::string_view sortIndicator(std::string_view identifier) const;

  std::string currentSql;
  std::vector<Emailrow> emailRows;
  std::vector<std::string> emailIds;  ///< in the server's order, never sorted
  int rowCount = 0;
  std::uint64_t receivedCount = 0;  ///< rows the server gave, with those that a tag filter left out
  std::uint64_t archiveCount = 0;   ///< messages of the archive; 0 when they could not be counted
  int listViewCount = 0;
  bool reverseList = false;
  // Filters of the next `retrieve`, and of that alone.
  bool withTagsCheck = false;
  bool withoutTagsCheck = false;
  bool onlyAttach = false;
  bool listSearchButtonEnabled = true;
  /// Dates stay as the server writes them, whatever the date style.
  bool keepsServerDates = false;
  /// Off in a program that ends after one list: it leaves no view on the server.
  bool makesListViews = true;
  bool messageButtonsEnabled = false;  ///< reply, forward, text, tag
  std::string sortColumn;
  std::string dbCountTextField;
  std::string listCountTextField;

 private:
  void showRetrieving();
  void getResults();
  void loadEmailRows();
  /// Which of the rows have tags, learnt with one statement; nullopt when it was refused.
  [[nodiscard]] std::optional<std::unordered_set<std::uint32_t>> findTaggedIds(
      const std::vector<Emailrow>& rows);
  /// The same for one row; nullopt, and a line on standard error, when it was refused.
  [[nodiscard]] std::optional<bool> askForTags(std::uint32_t id);
  void makeListView();
  void printSqlError() const;

  ServerSession& session_;
  ProgressPanel& progress_;
  UserInterface& ui_;
  ProcessState& process_;
  Callbacks callbacks_;
  bool withTags_ = false;
  bool withoutTags_ = false;
  bool resultIsLatin1_ = false;
};

}  // namespace keldane
