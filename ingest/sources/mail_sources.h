#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "ingest/sources/mail_accounts.h"
#include "platform/host_services.h"
#include "platform/process_state.h"
#include "settings/property_list.h"
#include "settings/settings.h"

namespace keldane {

/// What the rows of the selection stand for.
enum class RowKind { none, accounts, mailboxes, paths };

/// Finds the accounts and mailboxes of the mail client, and holds which of them are chosen: the
/// lists `selectedAccounts` and `selectedMailboxes` of the settings, of which `mailboxesState` says
/// the one that runs go by. Reads no mail; the walk does. Main thread, while no run is under way.
class MailSources {
 public:
  MailSources(ProcessState& process, Settings& settings, HostServices& host)
      : process_(process), settings_(settings), host_(host) {}

  /// Fills `mailAccounts` from the mail application, which is ended again when it was not running.
  /// False when it cannot be asked; the list is then empty. Where this system has no such
  /// application, the folders of the store are the answer.
  bool makeV3dict();
  /// Fills `acctRows` and the lists beside it with the accounts, those of `selectedAccounts`
  /// checked. False as `makeV3dict`.
  bool loadAccountRows();
  /// Fills `acctRows` and `acctDisplayRows` with the mailboxes: those of `selectedMailboxes`
  /// checked, or all while none is chosen. False as `makeV3dict`.
  bool getMailboxNames();

  /// Runs go by mailboxes, not by accounts.
  [[nodiscard]] bool choosesMailboxes() const { return settings_.archive.mailboxesState != 0; }
  /// The list that runs go by.
  [[nodiscard]] std::vector<std::string>& chosen() {
    return choosesMailboxes() ? settings_.selectedMailboxes : settings_.selectedAccounts;
  }
  /// The rows are of the kind that runs go by.
  [[nodiscard]] bool rowsAreSources() const;
  /// The rows as the table shows them, index by index those of `acctRows`.
  [[nodiscard]] const std::vector<AcctsRow>& shownRows() const {
    return rowKind == RowKind::accounts ? allAcctRows : acctDisplayRows;
  }

  void setCheck(std::size_t row, bool check);
  void setAllChecks(bool check);
  /// Checks the rows that are chosen, and no others.
  void checkChosenRows();
  /// The checked rows become the choice, those of paths apart.
  void chooseCheckedRows();

  bool importMode = false;  ///< rows are plain paths of files and folders
  /// What the program works with: folder ids of accounts, paths of mailboxes, paths to import. The
  /// next two lists hold the same rows for the eye, index by index.
  std::vector<AcctsRow> acctRows;
  std::vector<AcctsRow> acctDisplayRows;  ///< with an account's name in place of its folder id
  std::vector<AcctsRow> allAcctRows;      ///< of accounts: their names alone
  std::vector<MailAccount> mailAccounts;
  RowKind rowKind = RowKind::none;        ///< of `acctRows`
  std::vector<std::size_t> selectedRows;  ///< highlighted in the table, in ascending order
  bool acctRowsLoaded = false;
  bool mailboxNamesLoaded = false;

 private:
  [[nodiscard]] bool loadMailPrefs();
  [[nodiscard]] bool listAccounts();

  ProcessState& process_;
  Settings& settings_;
  HostServices& host_;
  std::optional<PlistDict> mailPrefsDict_;
};

}  // namespace keldane
