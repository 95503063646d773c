#include <gtest/gtest.h>

#include <QCoreApplication>

// What the tests use of Qt, programs run beside them and the session bus, needs an application.
int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  const QCoreApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
