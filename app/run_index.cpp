#include "app/run_index.h"

#include <chrono>
#include <utility>

#include <fmt/format.h>

#include "base/text.h"
#include "find/index_catch_up.h"
#include "ingest/reading/strip_plist.h"
#include "ingest/storing/statement_text.h"

namespace keldane {
namespace {

/// What has not come into the index by then is left to the next search.
constexpr std::chrono::seconds kLongestDrain{30};
/// A source shorter than this is none, see `IndexCatchUp`.
constexpr std::size_t kLeastSourceBytes = 3;

}  // namespace

MessageTextReader::Options indexReaderOptions(const Settings& settings, AttachmentText* documents) {
  MessageTextReader::Options options;
  options.stripPlist = [](std::string& source) {
    MessageTags tags;
    stripPlist(source, tags);
  };
  options.declaredCharsets = settings.user.declaredCharsets != 0;
  options.documents = documents;
  return options;
}

RunIndex::~RunIndex() = default;

void RunIndex::begin() {
  feed_.reset();
  trouble_.clear();
  if (context_.settings.user.indexRuns == 0) return;
  const Result<std::string> identity = archiveIdentity(context_.session);
  if (!identity) {
    trouble_ = identity.error();
    return;
  }
  documents_ = std::make_unique<AttachmentText>(context_.environment.temporaryFolder());
  reader_ =
      std::make_unique<MessageTextReader>(indexReaderOptions(context_.settings, documents_.get()));
  auto index = std::make_unique<WordIndex>(indexFolder(supportFolder(context_.process), *identity),
                                           *identity);
  const Result<std::string> opened = IndexCatchUp(context_.session, *index, *reader_).open();
  if (!opened) {
    trouble_ = opened.error();
    return;
  }
  feed_ = std::make_unique<IndexFeed>(std::move(index), *reader_);
}

void RunIndex::stored(std::uint32_t id, const CurrentMessage& message, const TagRow& tags,
                      bool withSource) {
  if (!feed_) return;
  ArchivedMessage archived;
  archived.id = id;
  archived.date = message.msgDate;
  archived.from = upToNul(message.msgFrom);
  archived.to = upToNul(message.msgTo);
  archived.subject = upToNul(message.msgSubject);
  archived.mailbox = upToNul(message.msgMailbox);
  archived.attachNames = message.msgAttachNames;
  archived.tags = tags;
  archived.encoding = message.origin.encoding;
  if (withSource && message.msgOriginal.size() >= kLeastSourceBytes) {
    archived.source = message.msgOriginal;
  } else {
    archived.body = upToNul(message.body());
    archived.attachText = message.msgAttachText;
  }
  feed_->put(std::move(archived));
}

void RunIndex::completed(std::uint32_t id) {
  if (feed_) feed_->forget(id);
}

void RunIndex::moved(std::uint32_t id, const std::string& mailbox) {
  if (feed_) feed_->move(id, std::string(upToNul(mailbox)));
}

void RunIndex::drain(const std::function<bool()>& isCancelled) {
  if (feed_) feed_->drain(kLongestDrain, isCancelled);
}

std::string RunIndex::end() {
  if (feed_) {
    const IndexFeed::Outcome outcome = feed_->finish();
    feed_.reset();
    trouble_ = outcome.trouble;
    if (trouble_.empty() && outcome.leftOut > 0) {
      return fmt::format("Word index: {} messages are left to the next search\n", outcome.leftOut);
    }
  }
  if (trouble_.empty()) return {};
  return "Word index: " + printable(trouble_) + "; it follows with the next search\n";
}

}  // namespace keldane
