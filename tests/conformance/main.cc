#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tests/conformance/conformance_fixture.h"
#include "tests/support/cache_dropper.h"

// Prints the conformance table: one row per config and case, with its result.
//   conformance_tests [--drop-caches] [--gtest_filter=...]
// With --drop-caches, the kernel drops its caches of directory entries and inodes every 20 ms.
namespace tessary::test {
namespace {

// The exit status by which ctest recognises a skipped test.
constexpr int kAllSkipped = 77;

// Converts "ExistingTargetUntouched" to "existing target untouched".
std::string WordsOf(const std::string& camelCase) {
  std::string words;
  for (const char c : camelCase) {
    if (std::isupper(static_cast<unsigned char>(c)) != 0 && !words.empty()) words += ' ';
    words += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return words;
}

std::string FirstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

class TablePrinter : public testing::EmptyTestEventListener {
 public:
  void OnTestPartResult(const testing::TestPartResult& result) override {
    if (result.skipped()) reason_ = FirstLine(result.message());
    if (!result.failed()) return;
    std::printf("%s:%d: %s\n", result.file_name(), result.line_number(), result.message());
    (void)std::fflush(stdout);
  }

  void OnTestEnd(const testing::TestInfo& info) override {
    const testing::TestResult& result = *info.result();
    std::string verdict = "pass";
    if (result.Failed()) verdict = "FAIL";
    if (result.Skipped()) verdict = "skip: " + reason_;
    ++(result.Failed() ? failed_ : result.Skipped() ? skipped_ : passed_);
    std::printf("%s | %s | %s\n", ConfigOf(info).c_str(), CaseOf(info).c_str(), verdict.c_str());
    (void)std::fflush(stdout);
  }

  void OnTestProgramEnd(const testing::UnitTest&) override {
    std::printf("%d passed, %d failed, %d skipped\n", passed_, failed_, skipped_);
  }

  bool IsEverythingSkipped() const { return passed_ == 0 && failed_ == 0 && skipped_ > 0; }

 private:
  static std::string CaseOf(const testing::TestInfo& info) {
    const std::string name = info.name();
    return WordsOf(name.substr(0, name.find('/')));
  }

  static std::string ConfigOf(const testing::TestInfo& info) {
    const std::string name = info.name();
    const std::string parameter = name.substr(std::min(name.find('/') + 1, name.size()));
    for (const TransferConfig& config : AllTransferConfigs()) {
      if (NameOf(config) == parameter) return Describe(config);
    }
    return info.test_suite_name();
  }

  std::string reason_;
  int passed_ = 0;
  int failed_ = 0;
  int skipped_ = 0;
};

}  // namespace
}  // namespace tessary::test

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  testing::TestEventListeners& listeners = testing::UnitTest::GetInstance()->listeners();
  delete listeners.Release(listeners.default_result_printer());
  std::optional<tessary::test::CacheDropper> dropper;
  if (argc > 1 && std::string_view(argv[1]) == "--drop-caches") {
    dropper.emplace();
    if (!dropper->IsRunning()) {
      std::puts("skipped: only root can have the kernel drop its caches");
      return tessary::test::kAllSkipped;
    }
  }
  auto* printer = new tessary::test::TablePrinter;  // the listeners own it
  listeners.Append(printer);
  const int result = RUN_ALL_TESTS();
  tessary::test::ReleaseSharedVolumes();
  return result == 0 && printer->IsEverythingSkipped() ? tessary::test::kAllSkipped : result;
}
