#include "app/panels/archive_panel.h"

#include <cstdio>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include "app/panels/fault_alerts.h"
#include "base/files.h"
#include "base/text.h"

namespace keldane {
namespace {

std::string textOf(const std::string& path) {
  const Result<std::string> text = readFile(path);
  return text ? toUtf8(*text) : std::string();
}

}  // namespace

bool ArchivePanel::isUnattended() const { return context_.archiver.process().unattendedRun != 0; }

void ArchivePanel::setStoreDate() {
  goingOn_.clear();
  context_.ui.changed("progressLabels");
  context_.progress.doProgressPanel("Finding date of last email stored...");
  ArchiveRequest request;
  request.range = rangeOf(form);
  const Result<RunBeginning> beginning =
      context_.archiver.archiveRun().findBeginning(request, *this);
  if (!beginning && !beginning.error().empty()) {
    // Kept: the panel stays.
    const std::string text = "SQL error: " + printable(beginning.error());
    std::fprintf(stderr, "%s\n", text.c_str());
    context_.ui.notice(text);
    return;
  }
  context_.progress.close();
  if (!beginning) return;
  goingOn_ = beginning->goingOn;
  beginAt(form, beginning->rangeStartText);
  proposedStart_ = rangeOf(form).rangeStartText;
  if (isUnattended()) {
    parseEmail();
  } else {
    context_.ui.openSheet("storeDatePanel");
  }
}

std::vector<std::string> ArchivePanel::chosenPaths() const {
  std::vector<std::string> paths;
  const MailSources& sources = context_.archiver.sources();
  if (!sources.importMode) return paths;
  for (const AcctsRow& row : sources.acctRows) paths.push_back(row.acctDesc);
  return paths;
}

void ArchivePanel::archivePaths(const std::vector<std::string>& paths) {
  if (paths.empty() || context_.archiver.archiveRun().isRunning()) return;
  context_.chooser.choosePaths(paths);
  resetAll(form);
  parseEmail();
}

void ArchivePanel::cancelStore() { context_.ui.closePanel("storeDatePanel"); }

void ArchivePanel::cancelParse() { context_.archiver.archiveRun().cancel(); }

void ArchivePanel::parseEmail() {
  ArchiveRun& run = context_.archiver.archiveRun();
  if (run.isRunning()) return;
  if (runBegins) runBegins();
  if (!isUnattended()) context_.ui.closePanel("storeDatePanel");
  MailSources& sources = context_.archiver.sources();
  ArchiveRequest request;
  request.range = request.foldersRange = rangeOf(form);
  if (request.range.rangeStartText == proposedStart_) {
    request.foldersRange.rangeStartText = RunRange().rangeStartText;
  }
  request.paths = chosenPaths();
  if (!sources.importMode) {
    if (!sources.choosesMailboxes()) {
      context_.chooser.loadAccountRows();
    } else if (!sources.mailboxNamesLoaded) {
      context_.chooser.getMailboxNames();
    }
  }
  if (!isUnattended()) composeConfirmation();
  const std::optional<NotStarted> failure = run.start(std::move(request), *this);
  const bool nothingSelected = failure && (failure->reason == NotStarted::Reason::noMailboxes ||
                                           failure->reason == NotStarted::Reason::noAccounts);
  if (!nothingSelected) clearResults();
  if (failure) tell(*failure);
}

void ArchivePanel::tell(const NotStarted& failure) {
  switch (failure.reason) {
    case NotStarted::Reason::noMailboxes:
      context_.ui.alert({"No mailboxes selected",
                         "You have not selected any mailboxes to archive in the database.  Click "
                         "on the Settings button to select your mailboxes."});
      break;
    case NotStarted::Reason::noAccounts:
      context_.ui.alert({"No accounts selected",
                         "You have not selected any email accounts to archive in the database.  "
                         "Click on the Settings button to select your mailboxes."});
      break;
    case NotStarted::Reason::sqlError:
      context_.ui.alert(
          {"SQL Error", "SQL error: " + printable(failure.text), AlertStyle::critical});
      break;
    case NotStarted::Reason::noLedger:
      context_.ui.alert({"No ledger",
                         "The run has not been started, because its ledger cannot be kept. " +
                             printable(failure.text),
                         AlertStyle::critical});
      break;
    case NotStarted::Reason::isRunning:
    case NotStarted::Reason::noDatabase:
      break;
  }
}

void ArchivePanel::composeConfirmation() {
  const ArchiveSettings& archive = context_.archiver.settings().archive;
  const std::string& database = context_.archiver.database().dbPath;
  const std::string_view attachments = archive.attachState != 0 ? "and attachments " : "";
  std::string& text = confirmationText_;
  text.clear();
  if (context_.archiver.sources().importMode) {
    text = fmt::format(
        "Keldane Pro Pro will archive and index the email in the selected mbox files, into the {} "
        "database.",
        database);
  } else if (archive.mailboxesState != 0) {
    text = fmt::format(
        "Keldane Pro will archive and index the text {}of all emails in your selected email "
        "mailboxes, into the {} database.",
        attachments, database);
  } else if (archive.postbox < 1) {
    text = fmt::format(
        "Keldane Pro will archive and index the text {}of all emails in the In boxes and Sent "
        "boxes of your selected email accounts, into the {} database.",
        attachments, database);
  }
  if (archive.trashState != 0) text += " The Trash mailboxes will also be archived.";
  if (archive.junkState != 0) text += " The Junk mailboxes will also be archived.";
  if (archive.importFolderState == 0) return;
  text += fmt::format("\n\nThe email files in the {} folder will also be archived.",
                      archive.importFolderPath);
  if (archive.deleteFolderState == 0) return;
  text += fmt::format(
      " After the email files have been archived, they will be deleted from the {} folder.",
      archive.importFolderPath);
}

void ArchivePanel::clearResults() {
  context_.resultTable.clear();
  for (const char* control :
       {"dbCountTextField", "listCountTextField", "bodyTextView", "origTextView"}) {
    context_.ui.changed(control);
  }
}

void ArchivePanel::failed(const Faults& faults) {
  showFaults(faults, context_.archiver.process(), context_.ui);
}

void ArchivePanel::passBegins() {
  context_.progress.doProgressPanel("Looking for email files...");
  if (!isUnattended()) context_.ui.openSheet("ProgressPanel");
}

void ArchivePanel::passEnds() {
  context_.progress.close();
  if (!isUnattended()) context_.ui.closePanel("ProgressPanel");
}

void ArchivePanel::messageTooLarge() {
  context_.ui.alert(
      {.title = "Max Size Exceeded",
       .text = "This email exceeds the MySQL maximum allowed size and will be skipped.",
       .buttons = {"Continue"}});
}

void ArchivePanel::savesSettings() { context_.settings.readControls(); }

void ArchivePanel::stored(const RunReport& report) {
  context_.settings.showSettings();
  MailSources& sources = context_.archiver.sources();
  sources.importMode = false;
  if (sources.choosesMailboxes() && !sources.mailboxNamesLoaded) context_.chooser.getMailboxNames();
  context_.resultTable.currentSql = fmt::format(
      "SELECT id,date_fld,from_fld,to_fld,subj_fld,mailbox,numAttach FROM email WHERE "
      "id>={} AND id<={} ORDER BY date_fld DESC",
      report.firstStoredId, report.lastStoredId);
  context_.resultTable.retrieve();
}

/// A run that has not come to its end says so, before it says that it is over.
void ArchivePanel::tellWhatIsLeft(const RunReport& report) {
  const bool isLost = !report.lostServer.empty();
  if (!isLost && report.stoppedBy.empty()) return;
  const std::string text =
      isLost ? "The server went away during the run: " + printable(report.lostServer)
             : "The run has been stopped: " + printable(report.stoppedBy);
  context_.ui.alert({"Not all has been archived",
                     text + "\nWhat was stored before is safe. Archive once more: that run goes on "
                            "where this one was cut off.",
                     AlertStyle::critical});
}

void ArchivePanel::logged(const RunReport& report) {
  context_.ui.setWindowTitle("storePanel",
                             "done storing email in " + context_.archiver.database().dbPath);
  if (isUnattended()) return;
  tellWhatIsLeft(report);
  const int button = context_.ui.alert(
      {"Archive Log", "Done Archiving Email", AlertStyle::informational, {"OK", "View Log File"}});
  if (button == kSecondButton) {
    context_.ui.showText("Archive Log", textOf(context_.archiver.process().storeLogPath));
  }
}

void ArchivePanel::ended() {
  if (isUnattended() && context_.terminate) context_.terminate();
}

void ArchivePanel::viewLogFile() {
  context_.ui.showText("Archive Log", textOf(pathForLogFile(context_.archiver.process(), kRunLog)));
}

void ArchivePanel::viewDuplicateLog() {
  context_.ui.showText("Duplicates Log",
                       textOf(pathForLogFile(context_.archiver.process(), kDuplicatesLog)));
}

}  // namespace keldane
