#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "archive/archive_database.h"
#include "ingest/sources/mail_sources.h"
#include "platform/host_services.h"
#include "platform/process_state.h"
#include "platform/progress_panel.h"
#include "platform/user_interface.h"
#include "settings/property_list.h"
#include "settings/settings.h"

namespace keldane {

/// What the user can choose to be archived, and what he has chosen: the table of accounts or
/// mailboxes in the settings, its check boxes, and the file chooser for an import. Reads no mail;
/// the walk does, by the lists that are chosen here. Main thread, while no run is under way or from
/// `taskCompleted`.
class SourceChooser {
 public:
  struct Context {
    ProcessState& process;
    Settings& settings;
    SourceSelection& sources;
    ArchiveDatabase& database;
    ProgressPanel& progress;
    UserInterface& ui;
    HostServices& host;
  };

  explicit SourceChooser(Context context) : context_(context) {}

  /// The action of `selectEmailAppMatrix`: another mail client. Its rows come up all checked.
  void selectEmailApp();
  /// The action of `selectAcctsMboxMatrix`: accounts, or mailboxes.
  void selectMailboxes();
  /// A click on the check box of this row of the table. Rows that are paths to import, and rows
  /// beyond the last, are left alone.
  void didClickAcctCheck(std::size_t row);
  /// All check boxes. The lists of what is chosen follow at the next click or with the Save button.
  void checkAllAccts();
  void uncheckAllAccts();
  /// Lets the user choose files and folders to import, and goes on to the sheet of the run.
  void openMbox();

  /// Fills `mailAccounts` from the mail application, which is ended again when it was not running.
  /// When it cannot be asked, the list stays empty and an alert says so, but in an unattended run.
  /// Where this system has no such application, the folders of the store are the answer.
  void makeV3dict();
  /// Fills `rows` with the accounts, those of `selectedAccounts` checked.
  void loadAccountRows(std::vector<AcctsRow>& rows);
  /// Fills `acctRows` and `acctDisplayRows` with the mailboxes: those of `selectedMailboxes`
  /// checked, or all while none is chosen.
  void getMailboxNames();
  /// Accounts of another client. No face calls it: that client's choice means plain paths.
  void readPostboxAccounts();

  /// The Save button: the chosen accounts or mailboxes by the check boxes. A table that has no rows
  /// of the present kind has no check boxes to go by, and leaves the choice as it is.
  void rebuildSelection();
  /// The settings window opens: rows of the present kind, checked exactly when they are chosen.
  void fillSelectionTable();
  void ensureMailboxNames();
  /// The rows that are highlighted in the table become the choice, before connections are saved. A
  /// table that has not been filled leaves it as it is.
  void saveSelectedSources();
  void forgetPostboxFolder() { postboxAppFolder_ = false; }

  /// The rows as the table shows them, index by index those of `acctRows`.
  [[nodiscard]] const std::vector<AcctsRow>& shownRows() const;

 private:
  [[nodiscard]] bool choosesMailboxes() const;
  [[nodiscard]] bool rowsAreSources() const;
  void enableTrashAndJunk();
  void loadMailPrefs();
  [[nodiscard]] bool listAccounts(std::vector<AcctsRow>& rows);
  void checkChosen(std::vector<AcctsRow>& rows);
  void setCheck(std::size_t row, bool check);
  void setAllChecks(bool check);
  void takeCheckedRows();
  void showRows();

  Context context_;
  std::optional<PlistDict> mailPrefsDict_;
  bool postboxAppFolder_ = false;  ///< nothing sets it
};

}  // namespace keldane
