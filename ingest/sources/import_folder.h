#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "archive/server_session.h"
#include "base/result.h"
#include "ingest/ledger/ledger_entries.h"
#include "ingest/reading/resting_file.h"

namespace keldane {

/// What a run has left in the import folder, and why.
struct LeftInFolder {
  struct Entry {
    std::string name;
    std::string reason;
  };
  std::size_t count = 0;
  std::vector<Entry> entries;  ///< the first of them
  std::string reason;          ///< for all of them, when it is one and the same
};

/// Empties the import folder of what is safely in the archive, and of nothing else. It follows the
/// files of the folder through a walk. An entry at the top of the folder goes only when every
/// message in it is stored (or kept out by a rule of the user), when nothing else lies in it, and
/// when its files are those that were read, unchanged; the rows were then asked for once more,
/// behind a flush of the server's log. Links are removed, never what they lead to.
///
/// Keeps some fifty bytes a file. Worker thread only.
class ImportFolder {
 public:
  explicit ImportFolder(std::string folder);

  /// A file is about to be read that was in this state.
  void beginFile(const std::string& path, const FileState& state);
  /// What became of a message of that file, or of the file. `detail` as the ledger has it.
  void outcome(LedgerOutcome outcome, std::string_view detail);
  void endFile();
  /// The file or folder stays, and with it the entry that it lies in. Paths elsewhere do not count.
  void keep(const std::string& path, std::string_view reason);

  /// To be called when the walk has come to its end. `homePath` is never emptied, nor is a folder
  /// above it. `pause` lets some seconds go by.
  [[nodiscard]] LeftInFolder empty(ServerSession& session, const std::string& homePath,
                                   const std::function<void(int seconds)>& pause);

  [[nodiscard]] static LeftInFolder leaveAll(std::string reason);

 private:
  struct Settled {
    FileState state;
    bool inArchive = true;
  };
  enum class Pass { look, remove };

  [[nodiscard]] std::string_view entryOf(std::string_view path) const;
  [[nodiscard]] bool askForRows(ServerSession& session);
  /// Each of these answers why the entry stays; empty: it may go, or is gone.
  [[nodiscard]] std::string visit(int folder, const std::string& name, Pass pass) const;
  [[nodiscard]] std::string visitFolder(int folder, const std::string& name, Pass pass) const;
  [[nodiscard]] std::string visitFile(int folder, const std::string& name) const;

  std::string folder_;                                    ///< without a slash behind
  std::map<std::string, std::string, std::less<>> kept_;  ///< entries, with the first reason
  std::vector<Settled> settled_;
  std::vector<std::pair<std::uint32_t, std::uint32_t>> rows_;  ///< id, index in `settled_`
  std::string path_;                                           ///< being read; empty: none
  FileState before_;
  std::vector<std::uint32_t> ids_;
  bool hasMessage_ = false;
};

}  // namespace keldane
