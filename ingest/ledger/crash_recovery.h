#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "archive/server_session.h"
#include "ingest/ledger/run_ledger.h"
#include "ingest/run_logs.h"
#include "ingest/storing/message_fingerprint.h"

namespace keldane {

/// Finds what a run that was cut off, or refused by the server, has left half stored: the duplicate
/// test would pass over such a message for ever. Its row stays where it is until the message itself
/// comes by, and is then completed in place by the store: nothing is deleted that this run does not
/// write again at once, and what the user has made of the row since is kept. Rows without a source
/// exist by right, and other programs write to the same database: a row that cannot be shown to be
/// that message's half is left alone and named in the log.
///
/// Worker thread only, before and during the walk; `finish` after it.
class CrashRecovery {
 public:
  /// `database` as it was told to the ledger.
  CrashRecovery(ServerSession& session, RunLedger& ledger, StoreLog& storeLog,
                std::string database);

  /// Looks at the open entries of this database: settles those of messages that are whole, or gone,
  /// and keeps the others for the message to come by. To be called before the first message. An
  /// entry stays open when the server refuses a statement.
  void run();

  /// What has arrived of a message in whose middle this run has lost its server.
  enum class Arrived { refused, nothing, half, whole };
  /// Looks at the suspended entry of the message at hand, on another host: settles it, unless a
  /// half is there for the store to complete. `id` gets the row of a whole one.
  [[nodiscard]] Arrived lookAgain(OpenEntry entry, std::uint32_t& id);

  /// Something was left half stored.
  [[nodiscard]] bool hasHalves() const { return !halves_.empty(); }
  /// The half of the message with these values; 0: there is none; nullopt: refused.
  [[nodiscard]] std::optional<std::uint32_t> halfOf(const EmailValues& values,
                                                    const ExpectedRows& mark);
  /// The row may be a half. Costs nothing when the run before came to its end.
  [[nodiscard]] bool isSuspect(std::uint32_t id) const;
  /// Whether the row is a half of the message with these values, whatever the mailbox.
  /// nullopt: refused.
  [[nodiscard]] std::optional<bool> isHalf(std::uint32_t id, const EmailValues& values,
                                           const ExpectedRows& mark);
  /// Which attempt it is to store the message whose half this row is.
  [[nodiscard]] unsigned attemptAt(std::uint32_t id) const;
  /// The ledger has a new entry for the half, which is being completed: takes the place of the
  /// older ones.
  void takeOver(std::uint32_t id, const std::string& path);
  /// Clears what a half has of the rows that are written anew. False: refused.
  [[nodiscard]] bool clearParts(std::uint32_t id);
  /// Settles those cut-off runs that left nothing in doubt. To be called when the run ends.
  void finish();

 private:
  struct Row;
  using Rows = std::optional<std::vector<Row>>;  ///< nullopt: the server refused
  struct SuspectRange {
    InterruptedRun run;
    std::set<std::uint32_t> sourcelessIds;
    std::set<std::uint32_t> withoutSource;
  };

  [[nodiscard]] bool comeBehind();
  /// Each of these answers whether the entry has been dealt with.
  bool look(const OpenEntry& entry);
  bool lookAtKnown(const OpenEntry& entry, std::uint32_t id);
  bool lookAtUnknown(const OpenEntry& entry);
  bool keepHalf(const OpenEntry& entry, std::uint32_t id);

  [[nodiscard]] Rows readRows(const std::string& condition);
  [[nodiscard]] std::optional<bool> isWhole(const Row& row, const ExpectedRows& mark,
                                            MatchLevel matchLevel);
  [[nodiscard]] std::optional<std::uint64_t> countRows(std::string_view table, std::uint32_t id);
  void collectSuspects(const InterruptedRun& run);
  void reportLeftAlone(std::uint32_t id, const std::string& path);
  void reportError(const std::string& path);

  ServerSession& session_;
  RunLedger& ledger_;
  StoreLog& storeLog_;
  std::string database_;
  std::vector<SuspectRange> suspects_;
  std::deque<OpenEntry> own_;  ///< of this run; `halves_` points into it
  std::uint32_t wholeId_ = 0;  ///< of the entry looked at last; 0: no whole row
  std::multimap<std::uint32_t, const OpenEntry*> halves_;  ///< by row
  std::multimap<std::string, std::uint32_t> halfIds_;      ///< by fingerprint
};

}  // namespace keldane
