#pragma once

#include <deque>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "app/user_interface.h"

namespace keldane {

/// A face that writes down every call as one line, such as
///   alert [SQL Error] SQL error: no such table\n        (line ends shown as \n, "critical" if so)
///   show storePanel | close storePanel | sheet storeDatePanel | modal connectPanel | endModal
///   choose [Open Saved Settings] Open | save [Enter SQL Filename] Backup
///   changed databasesPullDown | title settingsPanel General
///   progress Indexing... | count 20 detail | progress end | text [Log] ...
/// and answers from what the test has laid out. Main thread, or one thread at a time.
class RecordingUserInterface : public UserInterface {
 public:
  int alert(const Alert& alert) override;
  void showPanel(std::string_view panel) override;
  void closePanel(std::string_view panel) override;
  void openSheet(std::string_view panel) override;
  void runModal(std::string_view panel) override;
  void endModal() override;
  [[nodiscard]] bool isPanelVisible(std::string_view panel) const override;
  [[nodiscard]] std::vector<std::string> chooseFiles(const FileChooser& chooser) override;
  [[nodiscard]] std::string chooseSaveFile(const SaveChooser& chooser) override;
  void changed(std::string_view control) override;
  void setWindowTitle(std::string_view panel, std::string_view title) override;
  void progressStarted(std::string_view title) override;
  void progressChanged(int count, std::string_view detail) override;
  void progressEnded() override;
  [[nodiscard]] bool goesOn() override { return !ends; }
  void showText(std::string_view title, std::string_view text) override;

  /// Lines that begin with `kind`, in order.
  [[nodiscard]] std::vector<std::string> lines(std::string_view kind) const;
  [[nodiscard]] std::vector<std::string> alertLines() const { return lines("alert"); }

  std::vector<std::string> calls;
  std::vector<Alert> alerts;
  std::vector<FileChooser> choosers;
  /// Answers to the alerts that ask, in order; the first button when none is left. Alerts with one
  /// button take none.
  std::deque<int> alertAnswers;
  /// What each file chooser gives, in order; nothing when none is left.
  std::deque<std::vector<std::string>> chosenFiles;
  std::vector<SaveChooser> saveChoosers;
  /// What each chooser of a new file gives, in order; nothing when none is left.
  std::deque<std::string> savedFiles;
  std::set<std::string, std::less<>> visiblePanels;
  bool ends = false;  ///< the user ends every task
  /// Stands in for the user while a panel runs modally; may be empty.
  std::function<void(std::string_view panel)> onModal;

 private:
  void note(std::string line) { calls.push_back(std::move(line)); }
};

}  // namespace keldane
