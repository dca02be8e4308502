#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <thread>

#include "base/ahead_queue.h"
#include "base/result.h"
#include "ingest/reading/mbox_reader.h"
#include "ingest/reading/message_preparer.h"
#include "ingest/reading/resting_file.h"

/// Reading ahead: while one message is being stored, which is mostly waiting for the server, a
/// thread prepares those behind it. All that depends on the archive, or is told to somebody, waits
/// for the turn of its message on the thread that stores.
namespace keldane {

/// What is read ahead takes so much memory together.
inline constexpr std::size_t kAheadBytes = 4U << 20U;

/// Reads the files of one message in a list before their turn. A file that is large, has just been
/// changed or cannot be read is left to whoever comes to it, and so is everything else that is not
/// plainly one message. Used by one thread, which goes through the list in its order.
class FilesAhead {
 public:
  /// A file that may be read ahead.
  struct Candidate {
    std::string path;
    bool hasEnvelopeLine = false;  ///< see `MessagePreparer`
  };
  struct Context {
    MessagePreparer::Context preparer;
    std::size_t files = 0;
    /// The file of that number in the list; absent: it is not to be read ahead. On the other
    /// thread.
    std::function<std::optional<Candidate>(std::size_t file)> candidate;
  };

  explicit FilesAhead(Context context);
  /// What has not been taken is forgotten.
  ~FilesAhead();
  FilesAhead(const FilesAhead&) = delete;
  FilesAhead& operator=(const FilesAhead&) = delete;

  /// The turn of the next file of the list has come.
  void next() { current_ = queue_.take().value_or(File{}); }
  /// The file at hand has been read while it was in this state, as now, and is no packed file and
  /// nothing foreign.
  [[nodiscard]] bool holds(const std::string& path, const FileState& state) const {
    return current_.prepared && current_.path == path && current_.state == state;
  }
  /// What it gave; once. Absent, too, when it was read in the other way.
  [[nodiscard]] std::optional<PreparedMessage> take(const std::string& path, const FileState& state,
                                                    bool hasEnvelopeLine);

 private:
  struct File {
    std::string path;
    FileState state;
    bool hasEnvelopeLine = false;
    std::optional<PreparedMessage> prepared;
  };

  void readAll();
  [[nodiscard]] File read(const Candidate& candidate);

  Context context_;
  MessagePreparer preparer_;  ///< of the other thread
  AheadQueue<File> queue_{kAheadBytes};
  File current_;
  std::thread thread_;
};

/// Reads the messages of a file of many before their turn.
class PiecesAhead {
 public:
  struct Piece {
    std::uint64_t offsetBytes = 0;
    bool isTooLong = false;
    bool isAtEnd = false;  ///< nothing is left behind it
    PreparedMessage prepared;
  };

  /// `mbox` is open and lives as long; nobody else uses it meanwhile.
  PiecesAhead(MboxReader& mbox, std::string path, MessagePreparer::Context context);
  ~PiecesAhead();
  PiecesAhead(const PiecesAhead&) = delete;
  PiecesAhead& operator=(const PiecesAhead&) = delete;

  /// The next message; absent behind the last and where reading fails, which `failure` then tells.
  /// Throws what the reading of the file has thrown.
  [[nodiscard]] std::optional<Piece> next();
  [[nodiscard]] const std::string& failure() const { return failure_; }

 private:
  struct Item {
    MessagePiece large;  ///< not yet prepared
    bool isLarge = false;
    Piece piece;
  };

  void readAll();
  [[nodiscard]] std::optional<Item> read();
  [[nodiscard]] PreparedMessage prepare(MessagePiece piece);

  MboxReader& mbox_;
  const std::string path_;
  MessagePreparer preparer_;  ///< of the other thread, but while that waits behind a large message
  bool isFirst_ = true;       ///< as that
  AheadQueue<Item> queue_{kAheadBytes};
  std::exception_ptr thrown_;  ///< set before the queue ends
  std::string failure_;
  std::thread thread_;
};

}  // namespace keldane
