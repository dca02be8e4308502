#pragma once

#include <string>

namespace keldane {

/// What a face prints with. Its pages have the margins below, in points; what is printed is fitted
/// to their width and not centred.
class PagePrinter {
 public:
  static constexpr int kMargin = 72;  ///< left, right and top
  static constexpr int kBottomMargin = 90;
  static constexpr int kTextWidth = 612;  ///< of the text that is laid out
  static constexpr int kTextHeight = 792;

  virtual ~PagePrinter() = default;
  /// Prints a text in the font of message texts, with the system's progress panel. `asks`: its
  /// print panel comes first; otherwise the text goes where the one before went. False when it
  /// failed or was cancelled.
  [[nodiscard]] virtual bool printText(const std::string& text, bool asks) = 0;
  /// Prints the report of the statistics, with the pictures that a face has of it.
  virtual void printReport(const std::string& text) { static_cast<void>(printText(text, true)); }
  /// Prints the document that the web view shows.
  virtual void printHtml() = 0;
  /// From now on what asks shows first what it would print, and leaves it at that unless the user
  /// prints it from there.
  virtual void setPreviews(bool /*previews*/) {}
};

}  // namespace keldane
