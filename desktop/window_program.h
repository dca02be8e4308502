#pragma once

#include <memory>
#include <string>
#include <vector>

#include <QCoreApplication>
#include <QSettings>

#include "app/keldane_controller.h"
#include "app/patient_session.h"
#include "desktop/qt_main_queue.h"
#include "desktop/qt_user_interface.h"
#include "platform/desktop_host_services.h"
#include "platform/process_tool_runner.h"
#include "platform/system_environment.h"

class QWidget;

namespace keldane {

class MainWindow;
class PanelView;
class ProgressWindow;
class QtPagePrinter;
class TextWindow;

/// The program with a window: the ports over Qt and this system, the controller, and its panels.
/// Made after the QApplication. Main thread.
class WindowProgram {
  Q_DECLARE_TR_FUNCTIONS(WindowProgram)

 public:
  WindowProgram(int argc, char** argv);
  ~WindowProgram();

  /// The start sequence, once the event loop runs.
  void start();
  /// Archives what was dropped on the window, after a question.
  void archiveDropped(const std::vector<std::string>& paths);

  KeldaneController& controller() { return *controller_; }
  QtUserInterface& userInterface() { return ui_; }
  MainWindow& mainWindow() { return *mainWindow_; }
  QtPagePrinter& printer() { return *printer_; }

 private:
  void makePanels();
  void makePrinter();
  [[nodiscard]] std::unique_ptr<ServerSession> makeSession();
  void savePlaces();
  /// What a call does that lasts: it shows the progress panel, with this title if nothing else is
  /// under way.
  [[nodiscard]] PatientSession::Waiting waiting(const QString& title);
  /// Adds a panel that the program owns from now on.
  void add(std::unique_ptr<PanelView> panel);

  QtMainQueue queue_;
  ProcessToolRunner tools_;
  SystemEnvironment environment_;
  DesktopHostServices host_;
  QtUserInterface ui_;
  ProgressWindow* progress_ = nullptr;
  PatientSession* session_ = nullptr;  ///< the controller's
  std::unique_ptr<KeldaneController> controller_;
  std::unique_ptr<QSettings> state_;
  std::unique_ptr<MainWindow> mainWindow_;
  std::unique_ptr<QtPagePrinter> printer_;
  std::vector<std::unique_ptr<PanelView>> panels_;
};

}  // namespace keldane
