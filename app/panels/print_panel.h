#pragma once

#include <string>

#include "app/panels/message_viewer.h"
#include "app/panels/output_frame.h"
#include "app/panels/page_printer.h"

namespace keldane {

/// The print commands of the menu. Main thread.
class PrintPanel {
 public:
  /// `report`: the text of the statistics.
  PrintPanel(const OutputFrame& frame, MessageViewer& viewer, const std::string& report)
      : frame_(frame), viewer_(viewer), report_(report) {}
  /// Null: there is none, and nothing is printed.
  void setPrinter(PagePrinter* printer) { printer_ = printer; }

  /// The selected messages, each by itself; or what the web view shows, while it does.
  void printSelected();
  /// The same out of a preview.
  void previewSelected();
  /// All messages of the list, one behind the other.
  void printAll();
  void printStats();
  void printHTML();

 private:
  [[nodiscard]] Result<void> printEach(const MessageList& list);

  const OutputFrame& frame_;
  MessageViewer& viewer_;
  const std::string& report_;
  PagePrinter* printer_ = nullptr;
};

}  // namespace keldane
