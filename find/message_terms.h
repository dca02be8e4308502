#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "archive/tag_row.h"
#include "find/attachment_text.h"
#include "mime/mail_source.h"

namespace keldane {

/// Where a word of a message can stand.
enum class Field { subject, from, to, body, attachment, file, type, tag, mailbox };
inline constexpr std::size_t kFieldCount = 9;

/// The letter before each term of a field. Terms are folded, so that no term of another field can
/// begin with it.
[[nodiscard]] constexpr char fieldPrefix(Field field) {
  return "SFTBANYGM"[static_cast<int>(field)];
}

/// A message as its rows have it.
struct ArchivedMessage {
  std::uint32_t id = 0;
  std::string date;  ///< "YYYY-MM-DD HH:MM:SS"
  std::string from;
  std::string to;
  std::string subject;
  std::string mailbox;
  std::string body;
  std::string attachNames;
  std::string attachText;
  std::optional<std::string> source;  ///< as `origemail` holds it; absent when it has none
  mime::SourceEncoding encoding = mime::SourceEncoding::utf8;
  TagRow tags;
};

/// A text of a message, and where it stands.
struct FieldText {
  Field field = Field::body;
  std::string text;
  std::string partName = {};  ///< of an attachment's text: its name
};

/// An attachment whose text could not be had, or not all of it.
struct AttachmentFailure {
  std::string name;
  std::string reason;
};

struct MessageTexts {
  std::vector<FieldText> texts;
  std::vector<AttachmentFailure> failures;
  bool hasAttachment = false;
  std::size_t sizeBytes = 0;  ///< of the source; without one, of the stored body
};

/// The text of a message's tags, for `Field::tag`.
[[nodiscard]] std::string tagText(const TagRow& tags);

/// Changes with a message's tags; empty when it has none.
[[nodiscard]] std::string tagDigest(const TagRow& tags);

/// Changes with a mailbox; empty for none.
[[nodiscard]] std::string mailboxDigest(const std::string& mailbox);

/// Brings out all that a person can read in a message: of its source where there is one, each part
/// in its own charset; of its rows else. One thread at a time.
class MessageTextReader {
 public:
  struct Options {
    /// Takes what a mail client has added off a source; empty: nothing.
    std::function<void(std::string& source)> stripPlist = {};
    /// How a source that was read as ISO Latin 1 is given to the engine.
    bool declaredCharsets = true;
    /// Takes the text out of documents; null: documents give none. Must live as long as the reader.
    AttachmentText* documents = nullptr;
  };

  explicit MessageTextReader(Options options) : options_(std::move(options)) {}

  [[nodiscard]] MessageTexts read(ArchivedMessage message);

 private:
  void readSource(ArchivedMessage& message, MessageTexts& out);
  void addPart(const mime::PartView& part, MessageTexts& out);
  void addAttachedMessage(std::string_view source, MessageTexts& out);
  void addDocument(const mime::PartView& part, MessageTexts& out);

  Options options_;
  mime::MailSource source_;
  mime::MailSource attached_;  ///< the header of a message within
};

}  // namespace keldane
