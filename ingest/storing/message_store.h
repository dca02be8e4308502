#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "archive/fingerprints.h"
#include "archive/server_session.h"
#include "base/spooled_text.h"
#include "ingest/ledger/crash_recovery.h"
#include "ingest/ledger/run_ledger.h"
#include "ingest/message_feed.h"
#include "ingest/pass_plan.h"
#include "ingest/reading/current_message.h"
#include "ingest/run_logs.h"
#include "ingest/storing/duplicate_check.h"
#include "ingest/storing/email_columns.h"
#include "ingest/storing/message_fingerprint.h"
#include "ingest/storing/statement_text.h"
#include "ingest/storing/store_errors.h"
#include "ingest/storing/tag_rules.h"

namespace keldane {

/// Settles the fate of the message at hand: excluded by a rule, known already, or new. The one
/// place that writes `email`, `origemail`, `attachments` and, during a run, `tags`. Each statement
/// stands on its own; a failed step leaves what is written so far, a line in the log, the outcome
/// in the ledger, and its entry there open, so that the next run completes the message. A message
/// that the duplicate test takes for another is compared with it before it is passed over. Worker
/// thread only.
class MessageStore {
 public:
  struct Context {
    ServerSession& session;
    CurrentMessage& message;
    RunCounters& counters;
    RunLedger& ledger;
    StoreLog& storeLog;
    const PassPlan& plan;
    SpooledText& duplicateLogText;
    /// The full reconnect, on the main thread. False: there is nobody left to do it.
    std::function<bool()> doConnect;
    /// Leaves a lost server for another one. False: there is none. Empty: it is not tried.
    std::function<bool()> moveOn = {};
    /// Told the client's text when the link turns out to be lost, and an empty one when another
    /// host has taken its place; may be empty.
    std::function<void(const std::string& error)> serverLost = {};
    /// Knows of messages that an earlier run has left half stored; may be null.
    CrashRecovery* repair = nullptr;
    /// Is told what is stored; may be null.
    MessageFeed* feed = nullptr;
    /// Set: nothing is written, and the ledger gets what would have become of the message.
    DryStore* dry = nullptr;
  };

  explicit MessageStore(Context context);

  /// Stores the message at hand, which has `partCount` parts. Of its fields, mailbox and answer
  /// address are as before when it returns; the others are left as the step needed them.
  void storeEmail(int partCount);

  /// 1 when the last message was stored, 2 when it was known already, as the last one of those was.
  [[nodiscard]] int storeOutcome() const { return storeOutcome_; }

 private:
  class Fields;
  /// What the archive holds of the message at hand.
  struct Known {
    std::uint32_t id = 0;           ///< its row; 0: none
    bool isHalf = false;            ///< and the row is not whole
    bool failed = false;            ///< it could not be found out
    std::uint32_t differsFrom = 0;  ///< another message, which the duplicate test takes for it
  };

  void storeOnce(int partCount);
  void storeOnHosts(int partCount);
  [[nodiscard]] CrashRecovery::Arrived lookOnHosts(const std::optional<OpenEntry>& entry);
  void beginPass();
  void tellKnown(const std::string& detail);
  void tellNew(Fields& fields, std::uint32_t differsFrom);
  void storeKnown(std::uint32_t id);
  [[nodiscard]] bool sourceFits();
  void storeNew(Fields& fields, int partCount, std::uint32_t differsFrom);
  void completeHalf(Fields& fields, int partCount, std::uint32_t id);
  void storeRest(std::uint32_t id, int partCount, bool wasHalf, std::uint32_t differsFrom);
  [[nodiscard]] Known findKnown(const Fields& fields, int partCount);
  [[nodiscard]] Known notFoundOut();
  [[nodiscard]] RuleVerdict checkRules();
  [[nodiscard]] bool updateMailbox(std::uint32_t id);
  void tagKnown(std::uint32_t id);
  [[nodiscard]] std::optional<std::uint32_t> insertRow(const ExpectedRows& mark, int numAttach);
  [[nodiscard]] std::optional<std::uint32_t> insertAsText(int numAttach);
  void noteRow(std::uint32_t id);
  [[nodiscard]] bool insertTags(std::uint32_t id, bool wasHalf);
  [[nodiscard]] bool insertSource(std::uint32_t id);
  void updateHeadings(std::uint32_t id);
  void storeParts(std::uint32_t id, int partCount);
  void updateAttachmentInformation(std::uint32_t id);
  void writeFingerprint(std::uint32_t id);
  void tellFeed(std::uint32_t id, bool wasHalf);
  [[nodiscard]] Fingerprint fingerprint() const;
  [[nodiscard]] ExpectedRows makeMark(const Fields& fields, int partCount) const;
  [[nodiscard]] EmailValues valuesOf(const Fields& fields, int partCount) const;
  [[nodiscard]] int numAttachOf(int partCount) const;
  [[nodiscard]] bool reconnect();
  void closeFailed(std::optional<std::uint32_t> id);
  [[nodiscard]] bool staysOpen() const;
  void countNewRow(std::uint32_t id);

  Context context_;
  StoreErrors errors_;
  StatementText sql_;
  Fingerprints fingerprints_;
  EmailColumns columns_;
  bool passBegun_ = false;
  bool keepsFingerprints_ = false;
  int storeOutcome_ = 0;
  // Of the message at hand.
  unsigned attempt_ = 1;
  bool hasRow_ = false;
  bool mayBegin_ = false;                   ///< anew, when the server is lost
  bool mustBegin_ = false;                  ///< it was, and the message has no outcome yet
  std::optional<std::uint32_t> failedRow_;  ///< its row, as far as it was known then
};

}  // namespace keldane
