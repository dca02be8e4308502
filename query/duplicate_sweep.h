#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <unordered_set>

#include "app/progress_panel.h"
#include "app/server_session.h"
#include "platform/user_interface.h"
#include "query/result_list.h"

namespace keldane {

/// Looks through the whole archive for messages stored twice, and lists or deletes them. Two rows
/// are duplicates when sender, recipients, day and time of day are equal and the subject matches;
/// unlike the test at the door, the body does not count. The row met first is kept. Main thread.
class DuplicateSweep {
 public:
  struct Callbacks {
    std::function<std::string()> dbPath;
    std::function<void(const std::string& line)> storeLog;
  };

  DuplicateSweep(ServerSession& session, ResultList& list, ProgressPanel& progress,
                 UserInterface& ui, Callbacks callbacks);

  /// `deleteDuplicates`: delete the copies and list what is kept; else list all of them.
  void checkDups(bool deleteDuplicates);

  [[nodiscard]] unsigned long deletedDuplicateCount() const { return deletedDuplicateCount_; }

 private:
  struct Row;
  int dupSweep();
  bool sweepRow(const Row& row);
  bool takeMatch(const Row& row, std::uint32_t match);
  bool firstId(const std::string& sql, std::uint32_t& id);
  bool tagMark(std::uint32_t id, std::string& date);
  bool deleteMessage(std::uint32_t id);
  void addRow(const Row& row, std::uint32_t id, std::string date, std::string mailbox);
  bool remember(std::uint32_t id);
  bool failed();

  ServerSession& session_;
  ResultList& list_;
  ProgressPanel& progress_;
  UserInterface& ui_;
  Callbacks callbacks_;
  std::unordered_set<std::uint32_t> handled_;  ///< the ids of the list, for a fast look-up
  bool deleteDuplicates_ = false;
  unsigned long deletedDuplicateCount_ = 0;
  int looked_ = 0;
  int listed_ = 0;
};

}  // namespace keldane
