#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "archive/server_session.h"
#include "base/result.h"
#include "find/message_terms.h"
#include "find/server_position.h"
#include "find/word_index.h"
#include "platform/progress.h"

namespace keldane {

/// What it took to bring the index in step with the archive.
struct CatchUpOutcome {
  std::uint64_t added = 0;
  std::uint64_t removed = 0;
  std::uint64_t retagged = 0;
  std::uint64_t moved = 0;     ///< to another mailbox
  std::string rebuiltBecause;  ///< empty: it was not
  /// Another program writes the index: it was only read.
  bool isReader = false;
  std::uint64_t behind = 0;  ///< messages of the archive that the index has not, or has too many
  bool cancelled = false;
  /// The index has what the rows have, at this moment.
  bool inStep = false;
};

/// What tells the archive that the session has open from all others, for `WordIndex`. Fails with
/// the server's words.
[[nodiscard]] Result<std::string> archiveIdentity(ServerSession& session);
/// Folder of its index.
[[nodiscard]] std::string indexFolder(const std::string& supportFolder,
                                      const std::string& identity);

/// Keeps a word index in step with the archive, whoever changes that: new messages by their ids,
/// deleted ones by sums over all ids, changed tags and mailboxes by digests over all of them. These
/// grow with the archive; where the server's position proves that nothing has changed since the
/// last time, none of them is asked for. Commits in batches, so that a run that is ended goes on
/// there the next time. One thread at a time.
class IndexCatchUp {
 public:
  IndexCatchUp(ServerSession& session, WordIndex& index, MessageTextReader& reader)
      : session_(session), index_(index), reader_(reader) {}

  /// Opens the index, and makes an empty one, saying why, when there is none that can be used. It
  /// may be another program's for writing after that.
  [[nodiscard]] Result<std::string> open();
  /// Opens the index, builds it anew when there is none that can be used, and brings it in step.
  /// Progress counts messages read. Fails with the words of the server or of the disk; what was
  /// committed stays. An index that is proved to be in step may be open for reading alone after
  /// that; without `trustsProof` it is compared all the same.
  [[nodiscard]] Result<CatchUpOutcome> run(Progress& progress, bool trustsProof = true);
  /// The same from an empty index, see `WordIndex::create`.
  [[nodiscard]] Result<CatchUpOutcome> rebuild(Progress& progress,
                                               const std::string& stemLanguage = {});

  /// A message's rows; nullopt when it is gone.
  [[nodiscard]] Result<std::optional<ArchivedMessage>> load(std::uint32_t id);
  /// Those of several messages with one statement, ids ascending. As many as are gone are missing,
  /// and as many as would be too much to hold at once.
  [[nodiscard]] Result<std::vector<ArchivedMessage>> load(const std::vector<std::uint32_t>& ids);

 private:
  [[nodiscard]] bool isProvedInStep();
  [[nodiscard]] Result<void> follow(CatchUpOutcome& outcome, Progress& progress);
  [[nodiscard]] Result<void> noteProof(const std::optional<ServerPosition>& before);
  [[nodiscard]] Result<bool> isSameArchive();
  struct MessageSums {
    WordIndex::IdSums ids;
    std::string mailboxes;  ///< changes when a message moves
  };
  [[nodiscard]] Result<MessageSums> messageSums();
  [[nodiscard]] Result<std::uint64_t> behind();
  [[nodiscard]] Result<std::uint64_t> behind(const WordIndex::IdSums& stored);
  [[nodiscard]] Result<void> addAbove(std::uint32_t id, CatchUpOutcome& outcome,
                                      Progress& progress);
  [[nodiscard]] Result<void> mendRows(CatchUpOutcome& outcome, Progress& progress);
  [[nodiscard]] Result<void> addThese(const std::vector<std::uint32_t>& missing,
                                      CatchUpOutcome& outcome, Progress& progress);
  [[nodiscard]] Result<void> mendBare(CatchUpOutcome& outcome, Progress& progress);
  [[nodiscard]] Result<void> mendTags(CatchUpOutcome& outcome);
  [[nodiscard]] Result<void> mendMailboxes(CatchUpOutcome& outcome);
  using Mend = Result<void> (IndexCatchUp::*)(CatchUpOutcome&);
  [[nodiscard]] Result<void> mendWhenChanged(const char* note, const std::string& digest, Mend mend,
                                             CatchUpOutcome& outcome);
  [[nodiscard]] Result<void> add(std::vector<ArchivedMessage> rows, CatchUpOutcome& outcome,
                                 Progress& progress);
  [[nodiscard]] Result<std::vector<ArchivedMessage>> fetch(const std::string& condition);
  [[nodiscard]] Result<std::uint64_t> number(const std::string& sql);
  [[nodiscard]] Result<void> checkTables();
  [[nodiscard]] Result<void> commitWhenDue(bool now = false);

  ServerSession& session_;
  WordIndex& index_;
  MessageTextReader& reader_;
  bool hasFingerprints_ = false;
  bool isChecked_ = false;
  std::size_t uncommittedMessages_ = 0;
  std::size_t uncommittedBytes_ = 0;
};

}  // namespace keldane
