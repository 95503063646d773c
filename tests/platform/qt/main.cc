#include <gtest/gtest.h>

#include <QApplication>

// The managers over Qt, on a screen that exists in memory only.
int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  qputenv("QT_QPA_PLATFORM", "offscreen");
  const QApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
