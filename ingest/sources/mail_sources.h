#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "base/text.h"
#include "platform/host_services.h"

namespace keldane {

/// One row of the source selection.
struct AcctsRow {
  bool acctCheck = true;
  std::string acctDesc;
};

/// Order of two rows: negative, 0 or positive.
[[nodiscard]] inline int acctDescComparison(const AcctsRow& a, const AcctsRow& b) {
  return compareNoCase(a.acctDesc, b.acctDesc);
}

/// What the rows of the selection stand for.
enum class RowKind { none, accounts, mailboxes, paths };

/// What a run reads: the selection, and the rows it was made from. `acctRows` holds what the
/// program works with (folder ids of accounts, paths of mailboxes, paths to import); the other two
/// lists hold the same rows for the eye, index by index.
struct SourceSelection {
  bool importMode = false;         ///< rows are plain paths of files and folders
  bool deleteImportFiles = false;  ///< empty the import folder after the walk
  std::vector<AcctsRow> acctRows;
  std::vector<AcctsRow> acctDisplayRows;  ///< with an account's name in place of its folder id
  std::vector<AcctsRow> allAcctRows;      ///< of accounts: their names alone
  std::vector<MailAccount> mailAccounts;
  RowKind rowKind = RowKind::none;        ///< of `acctRows`
  std::vector<std::size_t> selectedRows;  ///< highlighted in the table, in ascending order
  bool acctRowsLoaded = false;
  bool mailboxNamesLoaded = false;
};

}  // namespace keldane
