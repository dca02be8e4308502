#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <unordered_map>

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
    std::function<void()> clearMessageViews;
  };
  /// What a sweep came to.
  struct Outcome {
    bool complete = false;  ///< no statement was refused; else the alert has told of it
    unsigned long deleted = 0;
  };

  DuplicateSweep(ServerSession& session, ResultList& list, ProgressPanel& progress,
                 UserInterface& ui, Callbacks callbacks);

  /// `deleteDuplicates`: delete the copies and list what is kept; else list all of them.
  /// A failure ends the sweep; what is deleted by then stays deleted.
  Outcome checkDups(bool deleteDuplicates);
  /// The message that one of the list repeats; its own id for one that is kept, 0 for an id that
  /// the sweep has not met as a duplicate.
  [[nodiscard]] std::uint32_t keptOf(std::uint32_t id) const;

 private:
  struct Row;
  int dupSweep();
  bool sweepRow(const Row& row);
  bool takeMatch(const Row& row, std::uint32_t match, std::uint32_t kept);
  bool firstId(const std::string& sql, std::uint32_t& id);
  bool tagMark(std::uint32_t id, std::string& date);
  bool deleteMessage(std::uint32_t id);
  void addRow(const Row& row, std::uint32_t id, std::string date, std::string mailbox);
  [[nodiscard]] bool isDeleted(std::uint32_t id) const;
  bool remember(std::uint32_t id, std::uint32_t kept);
  bool failed();

  ServerSession& session_;
  ResultList& list_;
  ProgressPanel& progress_;
  UserInterface& ui_;
  Callbacks callbacks_;
  /// The ids of `emailIds`, each with the message that it repeats.
  std::unordered_map<std::uint32_t, std::uint32_t> handled_;
  bool deleteDuplicates_ = false;
  unsigned long deletedDuplicateCount_ = 0;
  int looked_ = 0;
  int listed_ = 0;
};

}  // namespace keldane
