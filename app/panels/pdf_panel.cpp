#include "app/panels/pdf_panel.h"

#include "base/shown_text.h"

namespace keldane {

void PdfPanel::savePdf() {
  const MessageList list = frame_.selectedMessages();
  if (list.size == 0) return;
  const Result<ListedMessage> first = list.row(0);
  const bool isOne = list.size == 1;
  const std::string name = isOne && first ? first->subject : "";
  write(list, isOne && !viewer_.views.htmlShowing,
        safeFileName(name.empty() ? "email" : name) + ".pdf");
}

void PdfPanel::exportPdf() { write(frame_.allMessages(), false, "email.pdf"); }

void PdfPanel::write(const MessageList& list, bool asText, const std::string& name) {
  if (!layouts || list.size == 0) return;
  const std::string path = frame_.ui().chooseSaveFile(
      {.title = "Save as PDF", .fileType = "pdf", .prompt = "Save", .name = name});
  if (path.empty() || !frame_.canWrite(path)) return;
  frame_.begin("Saving...");
  // Each message takes its time.
  EndablePanelProgress progress(frame_.progress(), frame_.ui(), 1);
  layouts(asText, [&](const PdfLayout& layOut) {
    const auto written = keldane::exportPdf(frame_.output(progress), list, layOut, path);
    frame_.end();
    if (!written) return frame_.showFailure(written.error());
    if (written->cancelled) return;
    frame_.ui().alert({"PDF has been saved", "The email has been saved to the PDF " + path + "."});
  });
}

}  // namespace keldane
