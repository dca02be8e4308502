#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ingest/ledger/run_ledger.h"
#include "ingest/pass_plan.h"
#include "ingest/reading/message_reader.h"
#include "ingest/reading/read_ahead.h"
#include "ingest/run_logs.h"
#include "ingest/run_watch.h"
#include "ingest/sources/file_list.h"
#include "ingest/sources/folder_layout.h"
#include "ingest/sources/import_folder.h"
#include "ingest/sources/walk_filter.h"
#include "ingest/storing/known_files.h"
#include "platform/environment.h"
#include "platform/process_state.h"
#include "platform/progress.h"

namespace keldane {

/// Goes through the files of the selection and hands each one that may be mail to the reader, under
/// the name of its mailbox. Files that stay out or are in the archive already, and folders that
/// cannot be read, get their line in the ledger. The files are listed before the first one is read;
/// those that have just been changed come last, since the reader waits for them. Worker thread
/// only.
class MailWalk {
 public:
  struct Context {
    ProcessState& process;
    const PassPlan& plan;
    MessageReader& reader;
    RunLedger& ledger;
    RunWatch& watch;
    ServerSession& session;
    Environment& environment;
    const Progress& progress;
    /// Told of files and folders that cannot be read.
    StoreLog& storeLog;
    /// Which files need not be read; null: all are.
    KnownFiles* knownFiles = nullptr;
    /// True stops the walk before the next file, and nothing is removed. May be empty.
    std::function<bool()> isAbandoned = {};
    /// Lets some seconds go by, for a server that writes to disk in its own time. May be empty.
    std::function<void(int seconds)> pause = {};
  };

  explicit MailWalk(Context context) : context_(std::move(context)) {}

  /// Returns when the walk has ended: true when all is read, false when it was stopped or
  /// `cancelFlag` was set (it is then 0 again). The import folder is emptied only when the walk
  /// came to its end, and `left` is then what it keeps. What the caller owes the run then is
  /// `taskCompleted`. Throws only what the reader's callbacks throw.
  bool getEmailPaths(std::optional<LeftInFolder>& left);

 private:
  /// Of the folders that are kept as sources, with the number of the first file behind each.
  using Layouts = std::vector<std::pair<FolderLayout, std::size_t>>;

  [[nodiscard]] static FolderLayout* layoutOf(Layouts& layouts, std::size_t file);
  [[nodiscard]] FilesAhead::Context aheadContext(const FileList& files,
                                                 const WalkFilter& filter) const;
  [[nodiscard]] WalkFilter walkFilter() const;
  [[nodiscard]] std::string pathOf(const std::string& selected) const;
  [[nodiscard]] bool mustStop();
  void addSelected(FileList& files, const std::string& path);
  [[nodiscard]] bool readAll(const FileList& files);
  /// All but the young ones, whose numbers it answers; absent: the walk is to end.
  [[nodiscard]] std::optional<std::vector<std::size_t>> readRested(const FileList& files);
  /// The file has just been changed.
  [[nodiscard]] bool isYoung(const std::string& path) const;
  /// `layout`: of the kept folder that it lies in; nullptr: it lies in none.
  void readFile(const std::string& path, FolderLayout* layout);
  void readKept(const std::string& path, FolderLayout& layout);
  void readOne(const std::string& path, const FileState& state, const std::string& mailbox);
  [[nodiscard]] bool passOver(const std::string& path, const Result<FileState>& state);
  void skip(const std::string& path, std::string_view reason);

  Context context_;
  Layouts layouts_;
  std::optional<ImportFolder> importFolder_;  ///< to be emptied
};

}  // namespace keldane
