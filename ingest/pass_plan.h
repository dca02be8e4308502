#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "ingest/reading/message_date.h"
#include "ingest/storing/tag_rules.h"
#include "platform/host_services.h"
#include "settings/mail_folder.h"
#include "settings/settings_values.h"

namespace keldane {

/// The passes of a run that names no paths, in their order. One that names some has the first
/// alone.
enum class RunPass {
  chosen,       ///< accounts or mailboxes, or the paths of the run
  folders,      ///< the folders and files that the user keeps as sources
  importFolder  ///< may be emptied
};

/// What one pass of a run goes by: copies, made when it begins, so that nobody changes under the
/// worker's hands what it reads.
struct PassPlan {
  /// Folder ids of accounts, mailboxes, or with `importMode` paths of files and folders.
  std::vector<std::string> selection;
  /// Of a pass over folders that are kept as sources, in place of `selection`; with `importMode`.
  std::vector<MailFolder> folders;
  std::vector<MailFolder> missingFolders;  ///< of these, what is not there at the moment
  bool importMode = false;
  bool deleteImportFiles = false;  ///< empty the import folder after the walk
  /// A file that is as it was when all of it had come into the archive is passed over.
  bool skipsKnownFiles = false;
  bool readsAll = false;  ///< but not in this run, which notes what it reads all the same
  RunRange range;
  double attachSizeBytes = 0;
  ArchiveSettings settings;
  bool keepDiffering = true;
  bool declaredCharsets = true;
  bool leavesOutDeleted = false;  ///< what its mail program has marked as deleted
  bool gmailLabels = false;       ///< become keywords
  std::vector<TagRule> tagRulesList;
  std::vector<MailAccount> mailAccounts;
};

/// Counters of one run. The worker writes them; the main thread reads `processedCount` to know
/// whether a run is under way, hence the atomics.
struct RunCounters {
  std::atomic<int> processedCount = 0;
  std::atomic<int> archivedCount = 0;
  std::atomic<int> duplicateCount = 0;
  std::atomic<int> progressCount = 0;
  int parsedCount = 0;
  int invalidCount = 0;
  std::uint32_t firstStoredId = 9999999;
  std::uint32_t lastStoredId = 0;
  std::uint32_t lastInsertId = 0;  ///< newest id of the process; never reset
};

}  // namespace keldane
