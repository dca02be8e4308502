#pragma once

#include <functional>
#include <string>
#include <vector>

#include "app/archiver.h"
#include "app/panels/progress_panel.h"
#include "app/panels/result_table.h"
#include "app/panels/settings_panel.h"
#include "app/panels/source_chooser.h"
#include "app/panels/store_date_sheet.h"
#include "app/user_interface.h"
#include "ingest/archive_run.h"

namespace keldane {

/// The window's side of an archive run: the sheet with its date range, its progress, its alerts,
/// the list of what it has stored, and the logs. Main thread.
class ArchivePanel : public RunObserver {
 public:
  struct Context {
    Archiver& archiver;
    SettingsPanel& settings;
    SourceChooser& chooser;
    ResultTable& resultTable;
    ProgressPanel& progress;
    UserInterface& ui;
    std::function<void()> terminate;
  };

  explicit ArchivePanel(Context context) : context_(std::move(context)) {}

  /// Prepares the date range and opens the sheet, or starts at once when nobody is there.
  void setStoreDate();
  /// Starts the run. Whatever prevents it has been shown as an alert when it returns.
  void parseEmail();
  /// Starts a run over these files and folders, whatever their dates.
  void archivePaths(const std::vector<std::string>& paths);
  void cancelStore();
  void cancelParse();
  void viewLogFile();
  void viewDuplicateLog();

  /// A run is about to start; what it needs for itself is to be let go.
  std::function<void()> runBegins;
  StoreDateForm form;
  /// "Going on with the unfinished run of ...", when `setStoreDate` has made the range begin where
  /// that run began; else empty.
  [[nodiscard]] const std::string& goingOn() const { return goingOn_; }
  /// The files and folders that have been chosen for the next run; empty: it reads the accounts or
  /// mailboxes of the settings.
  [[nodiscard]] std::vector<std::string> chosenPaths() const;
  /// What the run is about to do, in a sentence or two. Composed at its start and shown nowhere.
  [[nodiscard]] const std::string& confirmationText() const { return confirmationText_; }

  void failed(const Faults& faults) override;
  void passBegins() override;
  void passEnds() override;
  void messageTooLarge() override;
  void savesSettings() override;
  void stored(const RunReport& report) override;
  void logged(const RunReport& report) override;
  void ended() override;

 private:
  [[nodiscard]] bool isUnattended() const;
  void composeConfirmation();
  void clearResults();
  void tell(const NotStarted& failure);
  void tellWhatIsLeft(const RunReport& report);

  Context context_;
  std::string goingOn_;
  std::string proposedStart_;  ///< where the sheet begins unless the user says otherwise
  std::string confirmationText_;
};

}  // namespace keldane
