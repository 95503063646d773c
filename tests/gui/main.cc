#include <gtest/gtest.h>
#include <unistd.h>

#include <QCoreApplication>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr char kTry[] = "TESSARY_GUI_TEST_TRY";
constexpr int kTries = 3;

// A key or a drag that is sent to another program's window can be lost on a busy machine. So a
// single test may be tried again, in a fresh process, and says so.
void TryAgain(std::vector<std::string> arguments) {
  const char* tries = std::getenv(kTry);
  const int next = tries == nullptr ? 2 : std::atoi(tries) + 1;
  if (next > kTries || testing::UnitTest::GetInstance()->test_to_run_count() != 1) return;
  (void)std::fprintf(stderr, "Failed; try %d of %d follows.\n", next, kTries);
  setenv(kTry, std::to_string(next).c_str(), 1);
  std::vector<char*> argv;
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  execv("/proc/self/exe", argv.data());
}

}  // namespace

// What the tests use of Qt, programs run beside them and the session bus, needs an application.
int main(int argc, char** argv) {
  const std::vector<std::string> given(argv, argv + argc);
  testing::InitGoogleTest(&argc, argv);
  int result = 0;
  {
    const QCoreApplication application(argc, argv);
    result = RUN_ALL_TESTS();
  }
  if (result != 0) TryAgain(given);
  return result;
}
