#include <cstdlib>

#include <gtest/gtest.h>
#include <QApplication>

int main(int argc, char** argv) {
  ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
  QApplication application(argc, argv);
  QApplication::setQuitOnLastWindowClosed(false);
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
