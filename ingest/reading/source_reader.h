#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "base/result.h"
#include "ingest/ledger/ledger_entries.h"
#include "ingest/pass_plan.h"
#include "ingest/reading/current_message.h"
#include "ingest/reading/partial_file.h"
#include "mime/mail_source.h"
#include "platform/environment.h"

namespace keldane {

/// Makes of a message's source all that the archive keeps of it: the one reading by which a run
/// fills the rows and by which they are checked later. One thread at a time.
class SourceReader {
 public:
  struct Context {
    CurrentMessage& message;  ///< its source, origin and tags are there before `fill`
    const PassPlan& plan;
    Environment& environment;
    PartialFile& partial;  ///< has the parts for attachments that the source only names
    /// UTF-16 units of the longest source that goes further.
    std::size_t mostUnits = 200000000;
    /// Told of a longer one. May be empty.
    std::function<void()> tooLarge = {};
    /// Told when date and subject are known, before the parts are read. May be empty.
    std::function<void()> dated = {};
  };
  /// Why a message goes no further.
  struct Refusal {
    LedgerOutcome outcome = LedgerOutcome::dropped;
    std::string reason;
  };

  explicit SourceReader(Context context) : context_(std::move(context)) {}

  /// Fills the other fields of the message. After a refusal they are of no use.
  /// `hasEnvelopeLine`: the source may begin with a line "From ", which is no header.
  [[nodiscard]] std::optional<Refusal> fill(const std::string& mailbox, bool hasEnvelopeLine);
  /// Gives back the engine's tree of a huge message, which is still there when it was refused.
  void releaseTree();
  /// Empties a huge message, which would otherwise lie beside the next one while that is read.
  void releaseLarge();

 private:
  [[nodiscard]] Result<void> loadEmail(
      const std::function<void(const mime::PartView& part)>& visitPart);
  void fillAddresses();
  [[nodiscard]] std::optional<std::string_view> fillDate();
  [[nodiscard]] bool fillBodies();
  void fillHeadings();
  [[nodiscard]] bool isLarge() const;

  Context context_;
  mime::MailSource source_;
  bool hasEnvelopeLine_ = false;
  std::string_view headings_;  ///< of the message at hand, in its source
};

}  // namespace keldane
