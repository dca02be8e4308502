#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/result.h"
#include "find/message_terms.h"
#include "find/words.h"

namespace Xapian {
class Database;
class Document;
}  // namespace Xapian

namespace keldane {

/// Where a document of the index keeps what is compared and sorted by.
enum class IndexSlot : unsigned { date = 0, size = 1, id = 2, tagDigest = 3, mailbox = 4 };
/// The term of every message with an attachment.
inline constexpr std::string_view kAttachmentTerm = "Hattachment";

/// What the index keeps of a message.
struct IndexEntry {
  std::uint32_t id = 0;
  std::string date;           ///< "YYYY-MM-DD HH:MM:SS"
  std::string tagDigest;      ///< changes with the message's tags; empty: it has none
  std::string mailboxDigest;  ///< changes with its mailbox
  /// The archive has no source of the message, or not yet: another program may be storing it.
  bool isBare = false;
  MessageTexts texts;
};

/// All of the entry but the texts, which `MessageTextReader` has.
[[nodiscard]] IndexEntry entryOf(const ArchivedMessage& message);

/// The word index of one archive, a folder of files: for each message the words of its fields and
/// where they stand. It is a cache, made anew from the archive whenever it is missing, damaged or
/// another's, and nothing is lost with it. One program writes at a time, any number read. What was
/// written counts from `commit` on; a crash leaves the state of the last one. One thread at a time.
class WordIndex {
 public:
  enum class State {
    closed,
    writing,  ///< open, and nobody else writes
    reading,  ///< open, but nothing can be written
    unusable  ///< there is none, or it is damaged, or of another format or archive
  };

  /// `folder` is made when the index is; `identity` tells the archive from others.
  WordIndex(std::string folder, std::string identity);
  ~WordIndex();
  WordIndex(const WordIndex&) = delete;
  WordIndex& operator=(const WordIndex&) = delete;

  /// Opens what is there, for writing when nobody else does. `trouble` tells why it is unusable.
  State open();
  /// The same without writing, whoever else does.
  State openToRead();
  /// Begins an empty index in place of whatever is there, for writing. Fails when another program
  /// has it, or the disk refuses. With a language, English or "en", the words of texts are brought
  /// to their stems, and those that are looked for as well; empty: words stay as they are.
  [[nodiscard]] Result<void> create(const std::string& stemLanguage = {});
  /// Fails with the languages that there are for another one.
  [[nodiscard]] static Result<void> checkStemLanguage(const std::string& language);
  /// Of the index that is open, or that was found unusable.
  [[nodiscard]] const std::string& stemLanguage() const;
  /// A folded word as the index has it in that field.
  [[nodiscard]] std::string stemmed(Field field, const std::string& word) const;
  void close();
  [[nodiscard]] State state() const { return state_; }
  [[nodiscard]] const std::string& trouble() const { return trouble_; }
  [[nodiscard]] const std::string& folder() const { return folder_; }

  /// Adds the message, or replaces what the index has under its id.
  [[nodiscard]] Result<void> put(const IndexEntry& entry);
  /// Nothing is done for one that the index has not.
  [[nodiscard]] Result<void> remove(std::uint32_t id);
  /// Replaces the tags of a message that the index has.
  [[nodiscard]] Result<void> putTags(std::uint32_t id, const TagRow& tags,
                                     const std::string& digest);
  /// Replaces the mailbox of a message, and its digest; nothing is done for one that the index has
  /// not.
  [[nodiscard]] Result<void> putMailbox(std::uint32_t id, const std::string& mailbox);
  /// Writes what was done since the last commit to the disk, in one step.
  [[nodiscard]] Result<void> commit();

  [[nodiscard]] Result<std::uint32_t> count() const;
  /// Tells one set of ids from another, see `IndexCatchUp`.
  struct IdSums {
    std::uint64_t count = 0;
    std::uint64_t sum = 0;
    std::uint64_t squares = 0;  ///< of all ids, each put on by exclusive or
    bool operator==(const IdSums&) const = default;
  };
  [[nodiscard]] Result<IdSums> idSums() const;
  /// The greatest id; 0 in an empty index.
  [[nodiscard]] Result<std::uint32_t> highId() const;
  /// All ids, ascending.
  [[nodiscard]] Result<std::vector<std::uint32_t>> ids() const;
  /// The greatest ids of the messages that are `isBare`, ascending, so many at most.
  [[nodiscard]] Result<std::vector<std::uint32_t>> bareIds(std::size_t most) const;
  /// Id and digest of all messages that have tags, ids ascending.
  [[nodiscard]] Result<std::vector<std::pair<std::uint32_t, std::string>>> tagDigests() const;
  /// Id and digest of the mailbox of all messages, ids ascending.
  [[nodiscard]] Result<std::vector<std::pair<std::uint32_t, std::string>>> mailboxDigests() const;
  /// Id and date of up to `most` messages from all over the index.
  [[nodiscard]] Result<std::vector<std::pair<std::uint32_t, std::string>>> sample(
      std::size_t most) const;
  /// A note that is written with the next commit; empty when there is none of that name.
  [[nodiscard]] Result<std::string> note(const std::string& name) const;
  [[nodiscard]] Result<void> setNote(const std::string& name, const std::string& text);

  struct Failed {
    std::uint32_t id = 0;
    AttachmentFailure failure;
  };
  /// The attachments whose text could not be had, by message.
  [[nodiscard]] Result<std::vector<Failed>> failures() const;

  /// What queries are run against; open when `state` is writing or reading. After a failure that
  /// says that the index has changed beneath a reader, `reopen` and ask again.
  [[nodiscard]] const Xapian::Database& database() const;
  void reopen();
  /// Whether a failure of this index says that its files are damaged.
  [[nodiscard]] static bool isDamage(const std::string& failure);

 private:
  struct Files;
  State openAs(bool writes);
  void checkIdentity();
  [[nodiscard]] Result<std::vector<std::pair<std::uint32_t, std::string>>> digests(
      IndexSlot of) const;
  void replaceField(Xapian::Document& document, Field field, const std::string& text);

  const std::string folder_;
  const std::string identity_;
  State state_ = State::closed;
  std::string trouble_;
  std::unique_ptr<Files> files_;
  WordCutter cutter_;
};

}  // namespace keldane
