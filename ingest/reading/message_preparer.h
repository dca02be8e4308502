#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>

#include "archive/source_origin.h"
#include "ingest/pass_plan.h"
#include "ingest/reading/current_message.h"
#include "ingest/reading/message_file.h"
#include "ingest/reading/partial_file.h"
#include "ingest/reading/source_reader.h"
#include "mime/mail_source.h"
#include "platform/environment.h"

namespace keldane {

/// UTF-16 units of the longest source that goes further.
inline constexpr std::size_t kMostUnits = 200000000;
/// A source longer than this is prepared alone: the message and the one before it are then not in
/// memory together.
inline constexpr std::size_t kLargeSourceBytes = 1U << 20U;

/// What reading alone makes of a message: nobody has been told of it yet, and the archive has not
/// been asked.
struct PreparedMessage {
  CurrentMessage message;   ///< without mailbox and path
  bool isTooLarge = false;  ///< the user is to be told so
  bool isDated = false;     ///< date and subject were found
  std::optional<SourceReader::Refusal> refusal;
  std::exception_ptr thrown;  ///< by the reading, which then came to no end

  /// Of its texts together.
  [[nodiscard]] std::size_t sizeBytes() const;
};

/// The text of one message, and the bytes that it was made from.
struct MessageSource {
  std::string text;
  SourceOrigin origin;
};
[[nodiscard]] MessageSource makeMessageSource(std::string bytes, mime::SourceEncoding encoding,
                                              const std::string& path,
                                              std::optional<std::uint64_t> offsetBytes);

/// Reads messages out of their bytes, so that it can be done before their turn and on a thread of
/// its own: it asks no server, writes no line and tells nobody. Nothing throws; what went wrong
/// comes with the message. One thread at a time.
class MessagePreparer {
 public:
  struct Context {
    const PassPlan& plan;
    Environment& environment;
    std::size_t mostUnits = kMostUnits;
  };
  explicit MessagePreparer(Context context);
  MessagePreparer(const MessagePreparer&) = delete;
  MessagePreparer& operator=(const MessagePreparer&) = delete;

  /// `hasEnvelopeLine`: the source may begin with a line "From ", which is no header.
  [[nodiscard]] PreparedMessage prepare(MessageSource source, bool hasEnvelopeLine);
  /// One message of a file of many, not too long; its encoding is judged by its own bytes if none
  /// is given.
  [[nodiscard]] PreparedMessage preparePiece(MessagePiece piece, bool isFirst,
                                             const std::string& path,
                                             std::optional<mime::SourceEncoding> encoding);

  /// Has the parts for attachments that the next source only names.
  PartialFile partial;

 private:
  void fill(MessageSource source, bool hasEnvelopeLine, PreparedMessage& prepared);

  const PassPlan& plan_;
  CurrentMessage message_;
  PreparedMessage* prepared_ = nullptr;  ///< while one is read
  SourceReader content_;
};

}  // namespace keldane
