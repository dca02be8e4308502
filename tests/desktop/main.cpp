#include <cstdlib>

#include <gtest/gtest.h>

#include <QApplication>
#include "desktop/html_view.h"

int main(int argc, char** argv) {
  ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
  // The sandbox of the web engine refuses to run as root, and a test has no graphics.
  ::setenv("QTWEBENGINE_DISABLE_SANDBOX", "1", 1);
  ::setenv("QTWEBENGINE_CHROMIUM_FLAGS", "--no-sandbox --disable-gpu", 1);
  keldane::prepareHtmlViews();
  QApplication application(argc, argv);
  QApplication::setQuitOnLastWindowClosed(false);
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
