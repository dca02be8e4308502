#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "base/result.h"
#include "ingest/ledger/run_ledger.h"
#include "ingest/pass_plan.h"
#include "ingest/reading/current_message.h"
#include "ingest/reading/mbox_reader.h"
#include "ingest/reading/message_file.h"
#include "ingest/reading/message_preparer.h"
#include "ingest/reading/packed_file.h"
#include "ingest/reading/read_ahead.h"
#include "ingest/reading/resting_file.h"
#include "ingest/reading/source_reader.h"
#include "ingest/run_logs.h"
#include "ingest/storing/known_files.h"
#include "platform/environment.h"
#include "platform/process_state.h"
#include "platform/progress.h"

namespace keldane {

/// Turns one file of the walk into messages ready to store: one `.emlx` or `.eml` file, or an mbox
/// cut piece by piece. Decides what is a message, which date it has and which attachments come
/// along, and tells the ledger of each message that goes no further. Worker thread only.
///
/// A file that has just been changed is left alone until it rests; one that changes while it is
/// read, or that cannot be read, is told to the ledger, and nothing of it is stored by half: of a
/// file of one message nothing, of an mbox not the last one.
///
/// In memory is one message at a time, beside what is read ahead (`kAheadBytes`); of a huge one,
/// its source, one tree of its parts, and what the store is to have of it.
class MessageReader {
 public:
  struct Context {
    ProcessState& process;
    const PassPlan& plan;
    CurrentMessage& message;
    RunCounters& counters;
    RunLedger& ledger;
    Environment& environment;
    Progress& progress;
    /// The run's log: a file or a piece of one cannot be read.
    StoreLog& storeLog;
    /// Gets the path of each file read, while `debugLogOn` is set.
    StoreLog& debugLog;
    /// Told of each file that is read to its end, and asked from where on an mbox is new; may be
    /// null.
    KnownFiles* knownFiles = nullptr;
    /// Stores the message at hand, which has this many parts.
    std::function<void(int partCount)> storeEmail;
    /// Runs the work on one message and deals with what it throws, the ledger's line included.
    /// Empty: the work is run as it is.
    std::function<void(const std::function<void()>& work)> guarded = {};
    /// The program ends: true stops a file of many messages before its next one. May be empty.
    std::function<bool()> isAbandoned = {};
    /// Told of a message that is longer than `mostUnits`. May be empty.
    std::function<void()> messageTooLarge = {};
    /// UTF-16 units of the longest source that goes further. Nothing is held that must be longer.
    std::size_t mostUnits = kMostUnits;
    /// How long a file has to be unchanged before it is read.
    std::int64_t restSeconds = kRestSeconds;
    /// Lets a moment go by, while a file comes to rest. Empty: a tenth of a second.
    std::function<void()> pause = {};
  };

  explicit MessageReader(Context context);
  /// Where the files that come are read ahead, from now on; null: nowhere.
  void readAhead(FilesAhead* ahead) { ahead_ = ahead; }
  /// The file, in this state, has been; it is then neither packed nor foreign.
  [[nodiscard]] bool isReadAhead(const std::string& path, const FileState& state) const {
    return ahead_ != nullptr && ahead_->holds(path, state);
  }
  MessageReader(const MessageReader&) = delete;
  MessageReader& operator=(const MessageReader&) = delete;

  /// Reads `currentEmailItem` (path, five colons, mailbox) as one message file. 0 when it is not a
  /// file to read, else 1.
  int doOneEmail(const std::string& currentEmailItem);
  /// The same for a file of many messages, or a Maildir's of one. They are stored under the file's
  /// path.
  int doMboxFile(const std::string& currentEmailItem);
  /// The same for a file of a folder that is kept as a source, under a mailbox of the caller's.
  /// `isOneMessage`: nothing in it is cut, whatever its lines say.
  void doKeptFile(const std::string& path, const std::string& mailbox, bool isOneMessage);
  /// The same for a packed file (see `PackedFile`): each file in it is read as if it lay in a
  /// folder of the packed file's name. What is no mail by its name or its first line is told to the
  /// ledger. Mailbox names are `mailbox` and the path inside.
  void doPackedFile(const std::string& path, const std::string& mailbox);

 private:
  /// Why a file is not read; without an outcome: the run ends.
  struct Unread {
    std::optional<LedgerOutcome> outcome;
    std::string reason;
  };

  void readOneMessage(const std::string& path, const std::string& mailbox);
  [[nodiscard]] std::optional<PreparedMessage> prepareFile(const std::string& path,
                                                           std::string bytes, bool isStub);
  void readUnlessForeign(const std::string& path, const std::string& mailbox, bool isOneMessage);
  void readSeveral(const EmailItem& item);
  void readLongFile(const std::string& path, const std::string& mailbox, const FileState& state);
  [[nodiscard]] bool readPieces(MboxReader& mbox, const std::string& path,
                                const std::string& mailbox,
                                const std::function<bool()>& hasChanged);
  void readPackedEntry(const PackedEntry& entry, const std::string& path,
                       const std::string& mailbox);
  void readPackedMessage(const PackedEntry& entry, const std::string& inside,
                         const std::string& mailbox);
  void deliver(PreparedMessage prepared, const std::string& mailbox);
  void showProgress();
  void tellTooLarge();
  void refuseTooLong();
  void refuse(const SourceReader::Refusal& refusal);
  [[nodiscard]] bool isDeletedInMaildir(const std::string& path) const;
  void leaveOutDeleted(const std::string& path);

  [[nodiscard]] bool isForeign(const std::string& path);
  [[nodiscard]] std::optional<FileState> rested(const std::string& path, Unread& why);
  [[nodiscard]] std::optional<std::string> readRested(const std::string& path,
                                                      const FileState& state, Unread& why);
  [[nodiscard]] Result<std::string> readPart(const std::string& path);
  void tell(const std::string& path, const Unread& why);
  void noteReadToEnd(const FileState& state, bool canGrow);
  void pause();
  void guarded(const std::function<void()>& work);
  [[nodiscard]] std::string accountMailbox(const std::string& mailbox) const;
  [[nodiscard]] bool mustStop() const;
  /// No text of so many bytes has few enough units.
  [[nodiscard]] std::uint64_t limitBytes() const { return 3 * std::uint64_t{context_.mostUnits}; }

  Context context_;
  MessagePreparer preparer_;
  FilesAhead* ahead_ = nullptr;
  bool hasEnvelopeLine_ = false;    ///< the file at hand may begin with "From ", which is no header
  std::int64_t waitedSeconds_ = 0;  ///< for files to rest, in this run
};

}  // namespace keldane
