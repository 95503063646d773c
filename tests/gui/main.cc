#include <gtest/gtest.h>
#include <unistd.h>

#include <QCoreApplication>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr char kAttempt[] = "TESSARY_GUI_TEST_ATTEMPT";
constexpr int kMaxAttempts = 3;

// Repeats a failed test in a fresh process if it is the only test of this one. Synthetic keys and
// drags can be lost on a busy machine. Returns if there are no attempts left.
void Retry(std::vector<std::string> arguments) {
  const char* attempt = std::getenv(kAttempt);
  const int next = attempt == nullptr ? 2 : std::atoi(attempt) + 1;
  if (next > kMaxAttempts || testing::UnitTest::GetInstance()->test_to_run_count() != 1) return;
  (void)std::fprintf(stderr, "Failed. Attempt %d of %d follows.\n", next, kMaxAttempts);
  setenv(kAttempt, std::to_string(next).c_str(), 1);
  std::vector<char*> argv;
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  execv("/proc/self/exe", argv.data());
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv, argv + argc);
  testing::InitGoogleTest(&argc, argv);
  int result = 0;
  {
    // QProcess and D-Bus need an application object.
    const QCoreApplication application(argc, argv);
    result = RUN_ALL_TESTS();
  }
  if (result != 0) Retry(arguments);
  return result;
}
