#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "app/server_session.h"
#include "base/spooled_text.h"
#include "ingest/current_message.h"
#include "ingest/run_counters.h"
#include "ingest/run_ledger.h"
#include "ingest/statement_text.h"
#include "ingest/store_errors.h"
#include "ingest/store_log.h"
#include "ingest/tag_rules.h"

namespace keldane {

class CutOffRepair;

/// Settles the fate of the message at hand: excluded by a rule, known already, or new. The one
/// place that writes `email`, `origemail`, `attachments` and, during a run, `tags`. Each statement
/// stands on its own; a failed step leaves what is written so far, a line in the log, and the
/// outcome in the ledger. Worker thread only.
class MessageStore {
 public:
  struct Context {
    ServerSession& session;
    CurrentMessage& message;
    RunCounters& counters;
    RunLedger& ledger;
    StoreLog& storeLog;
    const std::vector<TagRule>& tagRulesList;
    const int& skipDupsState;
    const int& origState;
    SpooledText& duplicateLogText;
    /// The full reconnect, on the main thread. False: there is nobody left to do it.
    std::function<bool()> doConnect;
    /// Told the client's text when the link turns out to be lost; may be empty.
    std::function<void(const std::string& error)> serverLost = {};
    /// Told of duplicates that may be halves; may be null.
    CutOffRepair* repair = nullptr;
  };

  explicit MessageStore(Context context);

  /// Stores the message at hand, which has `partCount` parts. Of its fields, mailbox and answer
  /// address are as before when it returns; the others are left as the step needed them.
  void storeEmail(int partCount);

  /// 1 when the last message was stored, 2 when it was known already, as the last one of those was.
  [[nodiscard]] int storeOutcome() const { return storeOutcome_; }

 private:
  class Fields;

  void storeKnown(std::uint32_t id);
  void storeNew(Fields& fields, int partCount);
  [[nodiscard]] std::uint32_t findKnown(const Fields& fields, int partCount);
  [[nodiscard]] RuleVerdict checkRules();
  [[nodiscard]] bool updateMailbox(std::uint32_t id);
  void tagKnown(std::uint32_t id);
  [[nodiscard]] std::optional<std::uint32_t> insertRow(const MessageMark& mark, int numAttach);
  [[nodiscard]] std::optional<std::uint32_t> insertAsText(int numAttach);
  [[nodiscard]] bool insertTags(std::uint32_t id);
  [[nodiscard]] bool insertSource(std::uint32_t id);
  void updateHeadings(std::uint32_t id);
  void storeParts(std::uint32_t id, int partCount);
  void updateAttachmentInformation(std::uint32_t id);
  [[nodiscard]] MessageMark makeMark(const Fields& fields, int partCount) const;
  [[nodiscard]] int numAttachOf(int partCount) const;
  [[nodiscard]] bool reconnect();
  void closeFailed(std::optional<std::uint32_t> id);
  [[nodiscard]] bool staysOpen() const;
  void countNewRow(std::uint32_t id);

  Context context_;
  StoreErrors errors_;
  StatementText sql_;
  int storeOutcome_ = 0;
  unsigned attempt_ = 1;
};

}  // namespace keldane
