#include <cstdlib>

#include <QApplication>
#include <QByteArray>

#include "base/text.h"
#include "desktop/html_view.h"
#include "desktop/pdf_program.h"
#include "desktop/translation.h"
#include "desktop/window_program.h"
#include "platform/process_memory.h"

namespace {

/// The schedule starts the program also where nobody has a screen.
void doWithoutScreen() {
  const bool hasScreen = qEnvironmentVariableIsSet("DISPLAY") ||
                         qEnvironmentVariableIsSet("WAYLAND_DISPLAY") ||
                         qEnvironmentVariableIsSet("QT_QPA_PLATFORM");
#ifndef Q_OS_MACOS
  if (!hasScreen) qputenv("QT_QPA_PLATFORM", "offscreen");
#endif
}

}  // namespace

int main(int argc, char** argv) {
  keldane::giveLargeBlocksBack();
  if (argc > 1 && keldane::leadingInt(argv[1]) != 0) doWithoutScreen();
  const bool wantsPdf = keldane::wantsPdf(argc, argv);
  if (wantsPdf) keldane::preparePdfProgram();
  keldane::prepareHtmlViews();
  QApplication application(argc, argv);
  QApplication::setApplicationName("KeldanePro");
  QApplication::setApplicationDisplayName("Keldane Pro");
  QApplication::setApplicationVersion("8.0.1");
  QApplication::setDesktopFileName("org.keldane.KeldanePro");
  QApplication::setQuitOnLastWindowClosed(false);
  keldane::loadTranslations();
  if (wantsPdf) return keldane::runPdfProgram(argc, argv);
  keldane::WindowProgram program(argc, argv);
  program.start();
  return QApplication::exec();
}
