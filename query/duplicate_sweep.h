#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

#include "archive/fingerprints.h"
#include "archive/server_session.h"
#include "platform/progress_panel.h"
#include "platform/user_interface.h"
#include "query/result_list.h"

namespace keldane {

/// Looks through the whole archive for messages stored twice, and lists or deletes them. Two rows
/// are taken together when sender, recipients, day and time of day are equal and the subject
/// matches; then what they say is compared. One that says the same as an earlier one is its copy;
/// one that does not is only similar, and is never deleted. The row met first is kept. Main thread.
class DuplicateSweep {
 public:
  struct Callbacks {
    std::function<std::string()> dbPath;
    std::function<void(const std::string& line)> storeLog;
    std::function<void()> clearMessageViews;
    /// See Fingerprints::Context.
    std::function<void(std::string& source)> stripPlist = {};
    std::function<bool()> declaredCharsets = {};
  };
  /// What a sweep came to.
  struct Outcome {
    bool complete = false;     ///< no statement was refused; else the alert has told of it
    unsigned long copies = 0;  ///< of messages that stay; these are deleted, or would be
    unsigned long similar = 0;
    unsigned long deleted = 0;
  };
  enum class Relation { none, kept, copy, similar };

  DuplicateSweep(ServerSession& session, ResultList& list, ProgressPanel& progress,
                 UserInterface& ui, Callbacks callbacks);

  /// `deleteDuplicates`: delete the copies and list what stays; else list all of them, and count
  /// what would be deleted. A failure ends the sweep; what is deleted by then stays deleted.
  Outcome checkDups(bool deleteDuplicates);
  /// The message that one of the list repeats or is similar to; its own id for one that is kept, 0
  /// for an id that the sweep has not met as a duplicate.
  [[nodiscard]] std::uint32_t keptOf(std::uint32_t id) const;
  [[nodiscard]] Relation relationOf(std::uint32_t id) const;

 private:
  struct Row;
  struct Handled {
    std::uint32_t group = 0;  ///< the row met first of those taken together
    std::uint32_t of = 0;     ///< the message that this one repeats or is similar to
    Relation relation = Relation::kept;
  };

  int dupSweep();
  bool sweepRow(const Row& row);
  bool takeMatch(const Row& row, std::uint32_t match, std::uint32_t group);
  bool relate(std::uint32_t id, std::uint32_t group, Handled& handled);
  bool take(const Row& row, std::uint32_t id, const Handled& handled, std::string date,
            std::string mailbox);
  bool firstId(const std::string& sql, std::uint32_t& id);
  bool tagMark(std::uint32_t id, std::string& date);
  bool deleteMessage(std::uint32_t id);
  void addRow(const Row& row, std::uint32_t id, std::string date, std::string mailbox);
  [[nodiscard]] std::uint32_t groupOf(std::uint32_t id) const;
  [[nodiscard]] bool isDeleted(std::uint32_t id) const;
  bool failed();

  ServerSession& session_;
  ResultList& list_;
  ProgressPanel& progress_;
  UserInterface& ui_;
  Callbacks callbacks_;
  Fingerprints fingerprints_;
  /// The ids of `emailIds`.
  std::unordered_map<std::uint32_t, Handled> handled_;
  /// For each group, those of its messages that say something different.
  std::unordered_map<std::uint32_t, std::vector<Fingerprints::Stored>> distinct_;
  bool deleteDuplicates_ = false;
  unsigned long deletedDuplicateCount_ = 0;
  Outcome outcome_;
  int looked_ = 0;
  int listed_ = 0;
};

}  // namespace keldane
