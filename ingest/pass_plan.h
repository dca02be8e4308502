#pragma once

#include <string>
#include <vector>

#include "ingest/reading/message_date.h"
#include "ingest/storing/tag_rules.h"
#include "platform/host_services.h"
#include "settings/settings_values.h"

namespace keldane {

/// What one pass of a run goes by: copies, made when it begins, so that nobody changes under the
/// worker's hands what it reads.
struct PassPlan {
  /// Folder ids of accounts, mailboxes, or with `importMode` paths of files and folders.
  std::vector<std::string> selection;
  bool importMode = false;
  bool deleteImportFiles = false;  ///< empty the import folder after the walk
  RunRange range;
  double attachSizeBytes = 0;
  ArchiveSettings settings;
  bool keepDiffering = true;
  bool declaredCharsets = true;
  std::vector<TagRule> tagRulesList;
  std::vector<MailAccount> mailAccounts;
};

}  // namespace keldane
