#pragma once

#include <memory>
#include <string>

#include "archive/server_session.h"
#include "find/index_feed.h"
#include "find/message_terms.h"
#include "ingest/message_feed.h"
#include "platform/environment.h"
#include "platform/process_state.h"
#include "settings/settings.h"

namespace keldane {

/// How the word index is to read the messages of the archive at hand. `documents` may be null.
[[nodiscard]] MessageTextReader::Options indexReaderOptions(const Settings& settings,
                                                            AttachmentText* documents);

/// Brings what a run stores into the word index of its archive. The worker hands the messages on;
/// the index itself belongs to the thread of `IndexFeed`.
class RunIndex : public MessageFeed {
 public:
  struct Context {
    ServerSession& session;
    const ProcessState& process;
    const Environment& environment;
    const Settings& settings;
  };

  explicit RunIndex(Context context) : context_(context) {}
  ~RunIndex() override;

  void begin() override;
  void stored(std::uint32_t id, const CurrentMessage& message, const TagRow& tags,
              bool withSource) override;
  void completed(std::uint32_t id) override;
  void moved(std::uint32_t id, const std::string& mailbox) override;
  void drain(const std::function<bool()>& isCancelled) override;
  [[nodiscard]] std::string end() override;

 private:
  Context context_;
  std::string trouble_;
  std::unique_ptr<AttachmentText> documents_;
  std::unique_ptr<MessageTextReader> reader_;
  std::unique_ptr<IndexFeed> feed_;
};

}  // namespace keldane
