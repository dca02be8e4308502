#include "app/panels/print_panel.h"

#include "base/shown_text.h"
#include "output/saved_text.h"

namespace keldane {

void PrintPanel::printSelected() {
  if (viewer_.views.htmlShowing) return printHTML();
  if (printer_ == nullptr) return;
  const MessageList list = frame_.selectedMessages();
  Progress unseen;
  for (std::size_t index = 0; index < list.size; ++index) {
    const Result<ListedMessage> row = list.row(index);
    const Result<std::string> text =
        row ? printedMessage(frame_.output(unseen), *row, frame_.textReader(), false)
            : Result<std::string>(Failure{row.error()});
    if (!text) return frame_.showFailure(text.error());
    viewer_.views.bodyTextView = shownText(*text);
    frame_.ui().changed("bodyTextView");
    if (!printer_->printText(viewer_.views.bodyTextView, index == 0)) return;
  }
}

void PrintPanel::printAll() {
  if (printer_ == nullptr) return;
  Progress unseen;
  const auto text =
      printedList(frame_.output(unseen), frame_.allMessages(), frame_.textReader(), false);
  if (!text) return frame_.showFailure(text.error());
  if (*text) static_cast<void>(printer_->printText(shownText(**text), true));
}

void PrintPanel::printStats() {
  if (printer_ != nullptr) static_cast<void>(printer_->printText(report_, true));
}

void PrintPanel::printHTML() {
  if (printer_ != nullptr) printer_->printHtml();
}

}  // namespace keldane
