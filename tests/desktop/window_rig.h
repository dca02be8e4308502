#pragma once

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include <QApplication>
#include <QTimer>
#include <QWidget>

#include "desktop/main_window.h"
#include "desktop/window_program.h"
#include "tests/support/temporary_folder.h"

namespace keldane {

/// The real window program, without a screen, in a home folder of its own with its own private
/// server. Alerts are answered and written down. A QApplication must stand.
class WindowRig {
 public:
  WindowRig();
  ~WindowRig();
  WindowRig(const WindowRig&) = delete;
  WindowRig& operator=(const WindowRig&) = delete;

  /// Starts the program and waits until it is connected.
  void start();
  /// Ends the program and starts it anew, in the same home folder.
  void restart();
  /// Archives this file or folder and waits for the end of the run.
  void archive(const std::string& path);
  /// Lets the event loop run until this holds. False after a long while.
  [[nodiscard]] static bool waitFor(const std::function<bool()>& holds);

  KeldaneController& controller() { return program_->controller(); }
  MainWindow& window() { return program_->mainWindow(); }
  WindowProgram& program() { return *program_; }
  /// The control of this given name, in whatever window it stands. Fails the test without one.
  template <typename Control>
  Control& control(const char* name) {
    auto* found = qobject_cast<Control*>(find(name));
    if (found == nullptr) missing(name);
    return *found;
  }
  /// Clicks the button, or chooses the menu item, of this name.
  void click(const char* name);
  void selectRow(int row);

  const TemporaryFolder folder;
  std::vector<QString> alerts;  ///< title and text of each
  /// Words of the buttons to press in the alerts that come; the first button when none is left.
  std::deque<QString> answers;
  /// Paths for the file choosers that come, which are cancelled when none is left.
  std::deque<std::string> files;

 private:
  [[nodiscard]] static QObject* find(const char* name);
  [[noreturn]] static void missing(const char* name);
  void answerAlert();

  std::unique_ptr<WindowProgram> program_;
  QTimer answering_;
};

}  // namespace keldane
