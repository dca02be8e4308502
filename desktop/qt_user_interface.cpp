#include "desktop/qt_user_interface.h"

#include <utility>

#include <QEventLoop>
#include <QFileDialog>
#include <QGridLayout>
#include <QLabel>
#include <QMainWindow>
#include <QMessageBox>
#include <QPushButton>
#include <QStatusBar>

#include "desktop/panel_view.h"
#include "desktop/progress_window.h"
#include "desktop/qt_text.h"
#include "desktop/text_window.h"
#include "desktop/translation.h"

namespace keldane {
namespace {

/// What an alert says may come out of a message or from a server: never markup.
void setPlain(QMessageBox& box) {
  for (QLabel* label : box.findChildren<QLabel*>()) label->setTextFormat(Qt::PlainText);
}

/// What is about to be written, below the files. A desktop's own chooser has no place for it.
void addMessage(QFileDialog& dialog, const QString& message) {
  auto* rows = qobject_cast<QGridLayout*>(dialog.layout());
  if (message.isEmpty() || rows == nullptr) return;
  auto* label = new QLabel(message, &dialog);
  label->setObjectName("chooserMessage");
  label->setTextFormat(Qt::PlainText);
  label->setWordWrap(true);
  rows->addWidget(label, rows->rowCount(), 0, 1, -1);
}

}  // namespace

void QtUserInterface::addPanel(PanelView& panel) { panels_[panel.window().objectName()] = &panel; }

PanelView* QtUserInterface::find(std::string_view panel) const {
  const auto found = panels_.find(qtText(panel));
  return found == panels_.end() ? nullptr : found->second;
}

int QtUserInterface::alert(const Alert& alert) {
  QMessageBox box(mainWindow_ != nullptr && mainWindow_->isVisible() ? mainWindow_ : nullptr);
  box.setObjectName("alert");
  box.setWindowTitle(coreWords(alert.title));
  box.setIcon(alert.style == AlertStyle::critical ? QMessageBox::Critical
                                                  : QMessageBox::Information);
  box.setTextFormat(Qt::PlainText);
  box.setText(coreWords(alert.title));
  box.setInformativeText(coreWords(alert.text));
  std::vector<QPushButton*> buttons;
  const std::vector<std::string> titles =
      alert.buttons.empty() ? std::vector<std::string>{"OK"} : alert.buttons;
  for (const std::string& title : titles) {
    const QString words = QCoreApplication::translate("Alert", title.c_str());
    buttons.push_back(box.addButton(words, QMessageBox::ActionRole));
  }
  box.setDefaultButton(buttons.front());
  box.setEscapeButton(buttons.back());
  setPlain(box);
  box.exec();
  for (std::size_t i = 0; i < buttons.size(); ++i) {
    if (box.clickedButton() == buttons[i]) return kFirstButton + static_cast<int>(i);
  }
  return kFirstButton + static_cast<int>(buttons.size()) - 1;
}

void QtUserInterface::showPanel(std::string_view panel) {
  PanelView* view = find(panel);
  if (view == nullptr) return;
  view->refresh();
  QWidget& window = view->window();
  if (window.isMinimized()) window.showNormal();
  window.show();
  window.raise();
  window.activateWindow();
}

void QtUserInterface::closePanel(std::string_view panel) {
  if (PanelView* view = find(panel)) view->window().hide();
}

void QtUserInterface::openSheet(std::string_view panel) {
  if (PanelView* view = find(panel)) view->window().setWindowModality(Qt::WindowModal);
  showPanel(panel);
}

void QtUserInterface::runModal(std::string_view panel) {
  PanelView* view = find(panel);
  if (view == nullptr) return;
  view->window().setWindowModality(Qt::ApplicationModal);
  showPanel(panel);
  QEventLoop loop;
  modal_.push_back(&loop);
  loop.exec();
  std::erase(modal_, &loop);
}

void QtUserInterface::endModal() {
  if (modal_.empty()) return;
  modal_.back()->quit();
  modal_.pop_back();
}

bool QtUserInterface::isPanelVisible(std::string_view panel) const {
  PanelView* view = find(panel);
  return view != nullptr && view->window().isVisible();
}

/// The system's choosers take files or folders, not both.
bool QtUserInterface::asksForFolder(const FileChooser& chooser, bool& cancelled) const {
  if (!chooser.folders || !chooser.files) return chooser.folders;
  QMessageBox box(QMessageBox::Question, coreWords(chooser.title),
                  QCoreApplication::translate("FileChooser", "What do you want to open?"),
                  QMessageBox::Cancel, mainWindow_);
  box.setObjectName("alert");
  const auto* folder = box.addButton(QCoreApplication::translate("FileChooser", "A Folder..."),
                                     QMessageBox::AcceptRole);
  box.addButton(QCoreApplication::translate("FileChooser", "Files..."), QMessageBox::AcceptRole);
  box.exec();
  cancelled = box.clickedButton() == box.button(QMessageBox::Cancel);
  return box.clickedButton() == folder;
}

std::vector<std::string> QtUserInterface::chooseFiles(const FileChooser& chooser) {
  bool cancelled = false;
  const bool folder = asksForFolder(chooser, cancelled);
  if (cancelled) return {};
  QFileDialog dialog(mainWindow_, coreWords(chooser.title), userPath(chooser.startFolder));
  dialog.setObjectName("fileChooser");
  dialog.setFileMode(folder            ? QFileDialog::Directory
                     : chooser.several ? QFileDialog::ExistingFiles
                                       : QFileDialog::ExistingFile);
  dialog.setOption(QFileDialog::ShowDirsOnly, folder);
  dialog.setLabelText(QFileDialog::Accept, coreWords(chooser.prompt));
  if (dialog.exec() != QDialog::Accepted) return {};
  std::vector<std::string> paths;
  for (const QString& path : dialog.selectedFiles()) paths.push_back(systemPath(path));
  return paths;
}

std::string QtUserInterface::chooseSaveFile(const SaveChooser& chooser) {
  QFileDialog dialog(mainWindow_, coreWords(chooser.title));
  dialog.setObjectName("saveChooser");
  dialog.setAcceptMode(QFileDialog::AcceptSave);
  dialog.setFileMode(QFileDialog::AnyFile);
  if (!chooser.fileType.empty()) dialog.setDefaultSuffix(qtText(chooser.fileType));
  if (!chooser.fieldLabel.empty()) {
    dialog.setLabelText(QFileDialog::FileName, coreWords(chooser.fieldLabel));
  }
  if (!chooser.prompt.empty()) dialog.setLabelText(QFileDialog::Accept, coreWords(chooser.prompt));
  addMessage(dialog, coreWords(chooser.message));
  dialog.selectFile(qtText(safeFileName(chooser.name)));
  if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) return {};
  return systemPath(dialog.selectedFiles().front());
}

void QtUserInterface::changed(std::string_view control) {
  const QString name = qtText(control);
  for (const auto& [title, panel] : panels_) panel->controlChanged(name);
}

void QtUserInterface::setWindowTitle(std::string_view panel, std::string_view title) {
  PanelView* view = find(panel);
  if (view != nullptr) view->window().setWindowTitle(coreWords(shownLine(title)));
}

void QtUserInterface::progressStarted(std::string_view title) {
  if (progress_ != nullptr) progress_->start(coreWords(title));
}

void QtUserInterface::progressChanged(int count, std::string_view detail) {
  if (progress_ != nullptr) progress_->showCount(count, messageLine(detail));
}

void QtUserInterface::readingProgress(const ReadingProgress& progress, std::string_view detail) {
  if (progress_ != nullptr) progress_->showReading(progress, messageLine(detail));
}

bool QtUserInterface::goesOn() { return progress_ == nullptr || progress_->goesOn(); }

void QtUserInterface::progressEnded() {
  if (progress_ != nullptr) progress_->end();
}

void QtUserInterface::notice(std::string_view line) {
  constexpr int kShownMs = 30000;
  auto* window = qobject_cast<QMainWindow*>(mainWindow_);
  if (window != nullptr) window->statusBar()->showMessage(coreWords(shownLine(line)), kShownMs);
}

void QtUserInterface::showText(std::string_view title, std::string_view text) {
  if (text_ != nullptr) text_->showText(coreWords(title), qtText(shownText(text)));
}

}  // namespace keldane
