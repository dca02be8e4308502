#include "app/panels/print_panel.h"

#include "base/shown_text.h"
#include "output/saved_text.h"

namespace keldane {

void PrintPanel::printSelected() {
  if (viewer_.views.htmlShowing) return printHTML();
  if (printer_ == nullptr) return;
  frame_.begin("Saving...");
  const Result<void> printed = printEach(frame_.selectedMessages());
  frame_.end();
  if (!printed) frame_.showFailure(printed.error());
}

Result<void> PrintPanel::printEach(const MessageList& list) {
  PanelProgress progress(frame_.progress());
  for (std::size_t index = 0; index < list.size; ++index) {
    const Result<ListedMessage> row = list.row(index);
    const Result<std::string> text =
        row ? printedMessage(frame_.output(progress), *row, frame_.textReader(), false)
            : Result<std::string>(Failure{row.error()});
    if (!text) return Failure{text.error()};
    viewer_.views.bodyTextView = shownText(*text);
    frame_.ui().changed("bodyTextView");
    if (!printer_->printText(viewer_.views.bodyTextView, index == 0)) break;
    progress.step(static_cast<int>(index + 1), {});
  }
  return {};
}

void PrintPanel::previewSelected() {
  if (printer_ == nullptr) return;
  printer_->setPreviews(true);
  printSelected();
  printer_->setPreviews(false);
}

void PrintPanel::printAll() {
  if (printer_ == nullptr) return;
  frame_.begin("Saving...");
  EndablePanelProgress progress(frame_.progress(), frame_.ui());
  const auto text =
      printedList(frame_.output(progress), frame_.allMessages(), frame_.textReader(), false);
  frame_.end();
  if (!text) return frame_.showFailure(text.error());
  if (*text) static_cast<void>(printer_->printText(shownText(**text), true));
}

void PrintPanel::printStats() {
  if (printer_ != nullptr) printer_->printReport(report_);
}

void PrintPanel::printHTML() {
  if (printer_ != nullptr) printer_->printHtml();
}

}  // namespace keldane
