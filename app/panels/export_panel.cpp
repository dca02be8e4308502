#include "app/panels/export_panel.h"

#include <functional>

#include "output/mbox_exports.h"
#include "output/table_exports.h"

namespace keldane {

/// What the exports differ in.
struct ExportPanel::Action {
  SaveChooser chooser;
  const char* notified;  ///< title of the notification
  const char* done;      ///< title of the alert
  const char* sentence;  ///< before the path
  std::function<Result<OutputReport>(const OutputContext&, const MessageList&, const std::string&)>
      write;
};

void ExportPanel::run(const Action& action) {
  exportFilePath = frame_.ui().chooseSaveFile(action.chooser);
  if (exportFilePath.empty() || !frame_.canWrite(exportFilePath)) return;
  frame_.begin("Exporting...");
  EndablePanelProgress progress(frame_.progress(), frame_.ui());
  const auto written = action.write(frame_.output(progress), frame_.allMessages(), exportFilePath);
  frame_.end();
  if (!written) return frame_.showFailure(written.error());
  if (written->cancelled) return;
  const std::string text = action.sentence + exportFilePath + ".";
  frame_.host().notify(action.notified, text);
  frame_.ui().alert({action.done, text});
}

void ExportPanel::exportTab() {
  run({{.title = "Save Exported Tab-Delimited File",
        .message = "This will export all of the email in the list to a tab-delimited text file.",
        .prompt = "Export"},
       // Kept: the notification of this export alone speaks of archiving.
       "Done Archiving Email",
       "Done Exporting",
       "The data has been exported to the tab-delimited text file ",
       [this](const auto& context, const auto& list, const auto& path) {
         return keldane::exportTab(context, list, path, frame_.settings().archive.origState != 0);
       }});
}

void ExportPanel::exportComma() {
  run({{.title = "Save Exported Comma-Delimited File",
        .message = "This will export all of the email in the list to a comma-delimited text file.",
        .fileType = "csv",
        .prompt = "Export"},
       "Done Exporting Email",
       "Done Exporting",
       "The data has been exported to the comma-delimited text file ",
       [this](const auto& context, const auto& list, const auto& path) {
         return keldane::exportComma(context, list, path, frame_.settings().archive.origState != 0);
       }});
}

void ExportPanel::exportMbox() {
  run({{.title = "Save Exported Mbox File",
        .message = "This will export all of the email in the list to an mbox format text file.",
        .fileType = "mbox",
        .prompt = "Export"},
       "Done Exporting Email",
       "Done exporting",
       "The data has been exported to the mbox file ",
       keldane::exportMbox});
}

void ExportPanel::exportAddresses() { frame_.ui().showPanel("addressesPanel"); }

void ExportPanel::saveAddresses() {
  if (!form.fromAddsCheck && !form.toAddsCheck) {
    frame_.ui().alert(
        {"Choose address", "Either FROM or TO email addresses, or both, must be chosen."});
    return;
  }
  frame_.ui().closePanel("addressesPanel");
  run({{.title = "Save Exported Email Address List",
        .message = "This will export all of the email addresses in the list to a text file.",
        .fileType = "txt",
        .prompt = "Save"},
       "Done Exporting Addresses",
       "Done exporting",
       "The email addresses have been exported to the email list text file ",
       [this](const auto& context, const auto& list, const auto& path) {
         return keldane::exportAddresses(context, list, path, form.fromAddsCheck, form.toAddsCheck);
       }});
}

}  // namespace keldane
