#pragma once

#include <chrono>
#include <string>

#include "archive/fault.h"
#include "platform/user_interface.h"

namespace keldane {

/// "1,234 of 6,046 files, 20 %, about 3 min left": how far a run has come in so many seconds. A
/// single file shows its messages. No guess is made before there is something to go by.
[[nodiscard]] std::string readingLine(const ReadingProgress& progress, double seconds);

/// The face of the terminal program: alerts go to standard error as one sentence in the terminal's
/// own words and take their first button, the progress line is drawn there when it is a terminal,
/// and there are no panels.
class TerminalInterface : public UserInterface {
 public:
  TerminalInterface();

  int alert(const Alert& alert) override;
  void showPanel(std::string_view) override {}
  void closePanel(std::string_view) override {}
  void openSheet(std::string_view) override {}
  void runModal(std::string_view) override {}
  void endModal() override {}
  [[nodiscard]] bool isPanelVisible(std::string_view) const override { return false; }
  [[nodiscard]] std::vector<std::string> chooseFiles(const FileChooser&) override { return {}; }
  void changed(std::string_view) override {}
  void setWindowTitle(std::string_view, std::string_view) override {}
  void progressStarted(std::string_view title) override;
  void progressChanged(int count, std::string_view detail) override;
  void progressEnded() override;
  void readingProgress(const ReadingProgress& progress, std::string_view detail) override;
  void showText(std::string_view title, std::string_view text) override;

  /// What could not be done, as one sentence in the terminal's own words.
  void tell(const Fault& fault);
  /// A line on standard error, in place of the progress line.
  void notice(std::string_view line);

  /// Tells whether the user has interrupted the program: a failure to connect is then no news.
  bool (*isInterrupted)() = nullptr;
  /// No progress line, whatever standard error is.
  bool quiet = false;
  /// Shows alerts that only inform, too. Else they are left out: the command itself prints what
  /// came of it.
  bool showsInformation = false;

 private:
  void clearLine();
  void showLine(const std::string& line);

  const bool canShowProgress_;
  bool lineShown_ = false;
  bool readingShown_ = false;  ///< the line tells of a run's reading, which the count would cover
  std::chrono::steady_clock::time_point started_;
};

}  // namespace keldane
