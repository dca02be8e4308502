#include "tests/desktop/window_rig.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include <QAction>
#include <QElapsedTimer>
#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTreeView>

#include "tests/support/test_server.h"

namespace keldane {
namespace {

constexpr int kLongMs = 60000;

}  // namespace

WindowRig::WindowRig() {
  ::setenv("HOME", folder.path().c_str(), 1);
  layDataFolder(quickServerOptions(folder / "Library/Application Support/Keldane/Server"));
  QObject::connect(&answering_, &QTimer::timeout, [this] { answerAlert(); });
  answering_.start(10);
}

WindowRig::~WindowRig() {
  const int server = program_ ? controller().localServer().status().processId : 0;
  program_.reset();
  if (server > 0) ::kill(server, SIGKILL);
}

void WindowRig::start() {
  static char name[] = "KeldanePro";
  static char* arguments[] = {name, nullptr};
  program_ = std::make_unique<WindowProgram>(1, arguments);
  program_->start();
  if (!waitFor([this] { return !window().windowTitle().startsWith("Keldane"); })) {
    std::fprintf(stderr, "the window did not connect\n");
    std::abort();
  }
  QApplication::processEvents();
}

void WindowRig::restart() {
  program_.reset();
  start();
}

void WindowRig::archive(const std::string& path) {
  controller().archivePanel().archivePaths({path});
  if (!waitFor([this] { return !controller().archiveRun().isRunning(); })) std::abort();
}

bool WindowRig::waitFor(const std::function<bool()>& holds) {
  return QTest::qWaitFor(holds, kLongMs);
}

QObject* WindowRig::find(const char* name) {
  for (QWidget* top : QApplication::topLevelWidgets()) {
    if (top->objectName() == QLatin1String(name)) return top;
    if (auto* inside = top->findChild<QObject*>(QLatin1String(name))) return inside;
  }
  return nullptr;
}

void WindowRig::missing(const char* name) {
  std::fprintf(stderr, "no control %s of this kind\n", name);
  std::abort();
}

void WindowRig::click(const char* name) {
  QObject* found = find(name);
  if (auto* action = qobject_cast<QAction*>(found)) {
    action->trigger();
  } else if (auto* button = qobject_cast<QAbstractButton*>(found)) {
    button->click();
  } else {
    missing(name);
  }
  QApplication::processEvents();
}

void WindowRig::selectRow(int row) {
  auto& list = control<QTreeView>("storeTableView");
  list.setCurrentIndex(list.model()->index(row, 0));
  QApplication::processEvents();
}

void WindowRig::answerAlert() {
  if (auto* chooser = qobject_cast<QFileDialog*>(QApplication::activeModalWidget())) {
    if (files.empty()) return chooser->reject();
    chooser->findChild<QLineEdit*>("fileNameEdit")->setText(QString::fromStdString(files.front()));
    files.pop_front();
    QMetaObject::invokeMethod(chooser, "accept");
    return;
  }
  auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
  if (box == nullptr || !box->isVisible()) return;
  alerts.push_back(box->text() + ": " + box->informativeText());
  QAbstractButton* chosen = box->buttons().front();
  if (!answers.empty()) {
    for (QAbstractButton* button : box->buttons()) {
      if (button->text() == answers.front()) chosen = button;
    }
    answers.pop_front();
  }
  chosen->click();
}

}  // namespace keldane
