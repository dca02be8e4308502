#pragma once

#include <chrono>
#include <string>

#include "platform/user_interface.h"

namespace keldane {

/// The face of the terminal program: alerts go to standard error and take their first button, the
/// progress line is drawn there when it is a terminal, and there are no panels.
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
  void showText(std::string_view title, std::string_view text) override;

  /// No progress line, whatever standard error is.
  bool quiet = false;
  /// Shows alerts that only inform, too. Else they are left out: the command itself prints what
  /// came of it.
  bool showsInformation = false;

 private:
  void clearLine();

  const bool canShowProgress_;
  bool lineShown_ = false;
  std::chrono::steady_clock::time_point started_;
};

}  // namespace keldane
