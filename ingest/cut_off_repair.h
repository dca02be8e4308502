#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "app/server_session.h"
#include "ingest/message_fingerprint.h"
#include "ingest/run_ledger.h"
#include "ingest/store_log.h"

namespace keldane {

/// Puts right what a run that was cut off in the middle has left: a message half stored would be
/// passed over by the duplicate test for ever. It takes out such a row with the four statements
/// that delete a message, so that the message is read anew. Rows without a source exist by right,
/// and other programs write to the same database: a row that cannot be shown to be that message's
/// half is left alone and named in the log.
///
/// Worker thread only, before and during the walk; `finish` after it.
class CutOffRepair {
 public:
  /// `database` as it was told to the ledger.
  CutOffRepair(ServerSession& session, RunLedger& ledger, StoreLog& storeLog, std::string database);

  /// Settles the open entries of this database. To be called before the first message. An entry
  /// stays open when the server refuses a statement.
  void run();

  /// The row may be the half of a message whose line the ledger lost. Costs nothing when the run
  /// before came to its end.
  [[nodiscard]] bool isSuspect(std::uint32_t id) const;
  /// The duplicate test has found a suspect: takes the row out when all its values equal those of
  /// the message at hand and it is not whole. True: the row is gone, the message is to be stored.
  [[nodiscard]] bool takeOutSuspect(std::uint32_t id, const MessageMark& mark,
                                    const std::string& path);
  /// Which attempt it is to store the message with this fingerprint: 1, or more when what earlier
  /// runs had stored of it has been taken out.
  [[nodiscard]] unsigned attemptFor(const std::string& fingerprint) const;
  /// Settles those cut-off runs that left nothing in doubt. To be called when the run ends.
  void finish();

 private:
  struct Row;
  using Rows = std::optional<std::vector<Row>>;  ///< nullopt: the server refused
  struct SuspectRange {
    CutRun run;
    std::set<std::uint32_t> byRight;
    std::set<std::uint32_t> withoutSource;
  };

  /// Each of these answers whether the entry has been dealt with.
  bool repair(const OpenEntry& entry);
  bool repairKnown(const OpenEntry& entry, std::uint32_t id);
  bool repairUnknown(const OpenEntry& entry);
  bool takeOut(const OpenEntry& entry, std::uint32_t id);

  [[nodiscard]] Rows readRows(const std::string& condition);
  [[nodiscard]] std::optional<bool> isWhole(const Row& row, const MessageMark& mark,
                                            Likeness likeness);
  [[nodiscard]] std::optional<std::uint64_t> countRows(std::string_view table, std::uint32_t id);
  [[nodiscard]] bool deleteRows(std::uint32_t id);
  void collectSuspects(const CutRun& run);
  void reportTakenOut(std::uint32_t id, const std::string& path);
  void reportLeftAlone(std::uint32_t id, const std::string& path);
  void reportError(const std::string& path);

  ServerSession& session_;
  RunLedger& ledger_;
  StoreLog& storeLog_;
  std::string database_;
  std::vector<SuspectRange> suspects_;
  std::map<std::string, unsigned> earlierAttempts_;  ///< by fingerprint
};

}  // namespace keldane
