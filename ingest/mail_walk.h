#pragma once

#include <functional>
#include <string>
#include <vector>

#include "app/process_state.h"
#include "app/settings.h"
#include "ingest/mail_sources.h"
#include "ingest/message_reader.h"
#include "ingest/run_ledger.h"

namespace keldane {

/// Goes through the files of the selection and hands each one that may be mail to the reader, under
/// the name of its mailbox. Files that stay out get their line in the ledger. The files are listed
/// before the first one is read; folders behind symbolic links are not entered. Worker thread only.
class MailWalk {
 public:
  struct Context {
    ProcessState& process;
    const Settings& settings;
    SourceSelection& sources;
    MessageReader& reader;
    RunLedger& ledger;
    /// Lists the mailboxes of the store; needed when no one has done so before.
    std::function<void()> getMailboxNames = {};
    /// A line for the run's log: a folder that cannot be read. May be empty.
    std::function<void(const std::string& line)> storeLog = {};
    /// The program ends: true stops the walk before the next file, and nothing is removed. May be
    /// empty.
    std::function<bool()> isLetGo = {};
  };

  explicit MailWalk(Context context) : context_(std::move(context)) {}

  /// Returns when the walk has ended: all is read, or `cancelFlag` was set (it is then 0 again).
  /// The import folder is emptied only when the walk came to its end. What the caller owes the run
  /// then is `taskCompleted`. Throws only what the reader's callbacks throw.
  void getEmailPaths();

 private:
  [[nodiscard]] std::vector<std::string> selection();
  [[nodiscard]] std::string pathOf(const std::string& selected) const;
  [[nodiscard]] bool mustStop();
  void readOne(const std::string& path, const std::string& mailbox);
  void emptyImportFolder();

  Context context_;
};

}  // namespace keldane
