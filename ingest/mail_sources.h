#pragma once

#include <string>
#include <vector>

#include "platform/host_services.h"

namespace keldane {

/// One row of the source selection.
struct AcctsRow {
  bool acctCheck = true;
  std::string acctDesc;
};

/// What a run reads: the selection, and the rows it was made from.
struct SourceSelection {
  bool importMode = false;         ///< rows are plain paths of files and folders
  bool deleteImportFiles = false;  ///< empty the import folder after the walk
  std::vector<AcctsRow> acctRows;
  std::vector<AcctsRow> acctDisplayRows;
  std::vector<AcctsRow> allAcctRows;
  std::vector<MailAccount> mailAccounts;
  bool acctRowsLoaded = false;
  bool mailboxNamesLoaded = false;
};

}  // namespace keldane
