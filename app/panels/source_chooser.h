#pragma once

#include <cstddef>

#include "app/panels/progress_panel.h"
#include "app/panels/settings_form.h"
#include "app/user_interface.h"
#include "archive/archive_database.h"
#include "ingest/sources/mail_sources.h"
#include "platform/process_state.h"
#include "settings/settings.h"

namespace keldane {

/// The table of accounts or mailboxes in the settings window, its check boxes, and the file chooser
/// for an import. What it shows and chooses is held by `MailSources`. Main thread, while no run is
/// under way or at a run's end.
class SourceChooser {
 public:
  struct Context {
    ProcessState& process;
    Settings& settings;
    SettingsForm& form;  ///< of the settings window
    MailSources& sources;
    ArchiveDatabase& database;
    ProgressPanel& progress;
    UserInterface& ui;
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
  /// The next run reads these files and folders.
  void choosePaths(const std::vector<std::string>& paths);

  /// These two fill the rows, and tell the user when the mail application cannot be asked for its
  /// accounts, but in an unattended run.
  void loadAccountRows();
  void getMailboxNames();
  /// Accounts of another client. Nothing calls it: that client's choice means plain paths.
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

 private:
  void enableTrashAndJunk();
  void tellOfMailApplication(bool answered);
  void setAllChecks(bool check);
  void showRows();

  Context context_;
  bool postboxAppFolder_ = false;  ///< nothing sets it
};

}  // namespace keldane
