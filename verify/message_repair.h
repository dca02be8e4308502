#pragma once

#include <cstddef>
#include <string>

#include "archive/server_session.h"
#include "base/result.h"
#include "verify/message_check.h"

namespace keldane {

/// Writes anew what the source of a message can mend: its row, columns, attachments, fingerprint,
/// and the source itself where its bytes were kept. All of one message in one step: a link that is
/// cut, or a refusal, leaves it as it was. No row of a message is deleted. One thread at a time.
class MessageRepair {
 public:
  explicit MessageRepair(ServerSession& session) : session_(session) {}

  /// Mends the findings of the message that was checked last, those that can be. Fails with the
  /// server's words.
  [[nodiscard]] Result<void> mend(const MessageCheck& check);

 private:
  [[nodiscard]] Result<void> mendAll(const MessageCheck& check);
  [[nodiscard]] Result<void> mendOne(const MessageCheck& check, const Finding& finding);
  [[nodiscard]] Result<void> insertRow(const MessageCheck& check);
  [[nodiscard]] Result<void> writeAttachment(const MessageCheck& check, const Finding& finding);
  [[nodiscard]] Result<void> replaceAttachment(std::uint32_t id, const MessagePart& part,
                                               const StoredMessage::Attachment& row);
  [[nodiscard]] Result<void> writeFingerprint(const MessageCheck& check);
  [[nodiscard]] Result<void> execute(const std::string& sql, const std::vector<BoundValue>& values);
  [[nodiscard]] Result<void> send(const std::string& sql);

  ServerSession& session_;
};

}  // namespace keldane
