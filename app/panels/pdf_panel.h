#pragma once

#include <functional>

#include "app/panels/message_viewer.h"
#include "app/panels/output_frame.h"
#include "output/pdf_export.h"

namespace keldane {

/// The commands that make PDFs of what the list holds. Main thread.
class PdfPanel {
 public:
  /// Makes the layout of a face; `asText`: also of messages that have HTML. `run` is called with it
  /// once, and it ends behind that.
  using Layouts =
      std::function<void(bool asText, const std::function<void(const PdfLayout& layOut)>& run)>;

  PdfPanel(const OutputFrame& frame, const MessageViewer& viewer)
      : frame_(frame), viewer_(viewer) {}

  /// The selected messages as one PDF. A single one is laid out as it is shown: its HTML, or its
  /// text while the view has that.
  void savePdf();
  /// All messages of the list as one PDF.
  void exportPdf();

  /// Empty: the face cannot lay out, and nothing happens.
  Layouts layouts;

 private:
  void write(const MessageList& list, bool asText, const std::string& name);

  const OutputFrame& frame_;
  const MessageViewer& viewer_;
};

}  // namespace keldane
