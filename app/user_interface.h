#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "platform/progress.h"

namespace keldane {

enum class AlertStyle { informational = 1, critical = 2 };

/// What an operation asks the user, or tells him. `buttons` may be empty: one button "OK".
struct Alert {
  std::string title;
  std::string text;
  AlertStyle style = AlertStyle::informational;
  std::vector<std::string> buttons = {"OK"};
};

inline constexpr int kFirstButton = 1000;
inline constexpr int kSecondButton = 1001;

/// What a file chooser is opened with.
struct FileChooser {
  std::string title;
  std::string prompt;
  std::string startFolder = {};  ///< empty: wherever the system likes
  bool files = true;
  bool folders = false;
  bool several = false;
};

/// What a chooser for the name of a new file is opened with. Folders can be made in it.
struct SaveChooser {
  std::string title = {};
  std::string message = {};
  std::string fieldLabel = {};  ///< before the name; empty: the system's own
  std::string fileType = {};    ///< extension that the name gets, without its dot; empty: none
  std::string prompt = {};
  std::string name = {};  ///< proposed
};

/// The face of the program, as the operations see it. Panels and controls are named by the names
/// that the controller's state uses ("storePanel", "connectPanel", "storeTableView"); their values
/// are plain structs held by the components, so this port only says that something has changed.
///
/// Called on the main thread only; `progressChanged` and `readingProgress` get there through the
/// main queue. Nothing here throws.
class UserInterface {
 public:
  virtual ~UserInterface() = default;

  /// Shows the alert and waits. Returns kFirstButton or kSecondButton.
  virtual int alert(const Alert& alert) = 0;

  virtual void showPanel(std::string_view panel) = 0;
  virtual void closePanel(std::string_view panel) = 0;
  /// Opens a panel as a sheet on the main window.
  virtual void openSheet(std::string_view panel) = 0;
  /// Runs a panel until `endModal`. A face without panels may return at once.
  virtual void runModal(std::string_view panel) = 0;
  virtual void endModal() = 0;
  [[nodiscard]] virtual bool isPanelVisible(std::string_view panel) const = 0;

  /// Paths chosen by the user; empty when he cancelled.
  [[nodiscard]] virtual std::vector<std::string> chooseFiles(const FileChooser& chooser) = 0;
  /// Path of a file to write; empty when he cancelled.
  [[nodiscard]] virtual std::string chooseSaveFile(const SaveChooser& chooser) = 0;

  /// The rows of this table, or the value of this control or text view, have changed.
  virtual void changed(std::string_view control) = 0;
  virtual void setWindowTitle(std::string_view panel, std::string_view title) = 0;

  /// The progress panel: its title; then the running count and the text under it.
  virtual void progressStarted(std::string_view title) = 0;
  virtual void progressChanged(int count, std::string_view detail) = 0;
  virtual void progressEnded() = 0;
  /// Called now and then by a task that keeps the main thread busy, with the progress panel up: a
  /// face can show how far it is. False when the user wants it to end.
  [[nodiscard]] virtual bool goesOn() { return true; }
  /// The same of an archive run, in more detail; a face that shows the count may leave it out.
  virtual void readingProgress(const ReadingProgress&, std::string_view /*detail*/) {}

  /// A sentence that the user should see and that stops nothing.
  virtual void notice(std::string_view /*line*/) {}

  /// Shows a text (a log, a raw source) in the viewer window.
  virtual void showText(std::string_view title, std::string_view text) = 0;
};

}  // namespace keldane
