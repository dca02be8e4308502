#pragma once

#include <map>
#include <string>
#include <vector>

#include <QString>

#include "app/user_interface.h"

class QEventLoop;
class QWidget;

namespace keldane {

class PanelView;
class ProgressWindow;
class TextWindow;

/// The face over Qt's widgets: alerts, choosers of files, the progress panel, and the panels by the
/// names that were given to their windows. A panel that was not added is one that this face does
/// without. Main thread.
class QtUserInterface : public UserInterface {
 public:
  /// The panel, which must outlive this object, under its window's object name.
  void addPanel(PanelView& panel);
  /// Over which sheets and alerts appear.
  void setMainWindow(QWidget& window) { mainWindow_ = &window; }
  void setProgressWindow(ProgressWindow& window) { progress_ = &window; }
  void setTextWindow(TextWindow& window) { text_ = &window; }

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
  [[nodiscard]] bool goesOn() override;
  void readingProgress(const ReadingProgress& progress, std::string_view detail) override;
  void notice(std::string_view line) override;
  void showText(std::string_view title, std::string_view text) override;

 private:
  [[nodiscard]] PanelView* find(std::string_view panel) const;
  [[nodiscard]] bool asksForFolder(const FileChooser& chooser, bool& cancelled) const;

  std::map<QString, PanelView*> panels_;
  std::vector<QEventLoop*> modal_;
  QWidget* mainWindow_ = nullptr;
  ProgressWindow* progress_ = nullptr;
  TextWindow* text_ = nullptr;
};

}  // namespace keldane
