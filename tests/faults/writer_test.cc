#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <set>
#include <sstream>
#include <thread>

#include "platform/linux/descriptors/unique_fd.h"
#include "tests/faults/child_process.h"
#include "tests/faults/run_plan.h"
#include "tests/faults/two_filesystems.h"
#include "tests/support/soak.h"
#include "tests/support/temporary_folder.h"

// Moves across filesystems while other programs write to the files through open descriptors.
namespace tessary::test {
namespace {

namespace fs = std::filesystem;

const SoakSuite kWriterSuite("ConcurrentWriters");

constexpr uint64_t kFiles = 40;

std::string NameOf(uint64_t file) { return "file" + std::to_string(file) + ".log"; }

// A program that opens random files of a folder one after another and appends lines to each.
class Writer {
 public:
  // Each line begins with `sign`, so that no two lines are equal.
  Writer(std::string folder, std::string sign, uint64_t seed)
      : folder_(std::move(folder)), sign_(std::move(sign)), random_(seed), thread_([this] {
          while (!isStopped_) Write();
        }) {}
  ~Writer() { Stop(); }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  void Stop() {
    isStopped_ = true;
    if (thread_.joinable()) thread_.join();
  }

  // The lines written successfully.
  const std::set<std::string>& Lines() const { return lines_; }

 private:
  void Write() {
    const std::string path = folder_ + "/" + NameOf(random_.Below(kFiles));
    const UniqueFd file(open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
    if (!file) return;
    for (uint64_t times = random_.Below(20); times > 0 && !isStopped_; --times) {
      const std::string line = sign_ + std::to_string(lines_.size());
      const std::string text = line + "\n";
      const ssize_t written = write(file.get(), text.data(), text.size());
      if (written == static_cast<ssize_t>(text.size())) lines_.insert(line);
      std::this_thread::sleep_for(std::chrono::microseconds(random_.Below(200)));
    }
  }

  std::string folder_;
  std::string sign_;
  SoakRandom random_;
  std::set<std::string> lines_;
  std::atomic<bool> isStopped_ = false;
  std::thread thread_;
};

void AddLinesBelow(const std::string& folder, std::set<std::string>* lines) {
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    if (!entry.is_regular_file()) continue;
    std::istringstream text(ReadFile(entry.path()));
    for (std::string line; std::getline(text, line);) lines->insert(line);
  }
}

TEST(ConcurrentWriters, MoveAcrossFilesystems) {
  Soak soak("writers, moving across filesystems", "lines written", {"lost", "hung"});
  const auto round = [&soak](const TwoFolders& folders, SoakRandom& random) {
    const std::string& from = folders.first;
    const std::string& to = folders.second;
    for (uint64_t file = 0; file < kFiles; ++file) WriteFile(from + "/" + NameOf(file), "begun\n");
    Writer first(from, "first ", random.Next());
    Writer second(from, "second ", random.Next());
    const RunPlan plan = {.isMove = true, .isRecursing = false};
    // The first run skips the files that are being written; a later one moves them.
    for (int i = 0; i < 3; ++i) {
      ChildProcess run(plan.Arguments(from, to), SetupWith(to + "/config"));
      AwaitEnd(&run, "the run", &soak);
    }
    first.Stop();
    second.Stop();
    std::set<std::string> found;
    AddLinesBelow(from, &found);
    AddLinesBelow(to, &found);
    for (const Writer* writer : {&first, &second}) {
      soak.AddTries(writer->Lines().size());
      for (const std::string& line : writer->Lines()) {
        if (!found.contains(line)) soak.AddViolation("lost", line);
      }
    }
  };
  RunOnTwoFolders(&soak, 10, FolderPlacement::kTwoFilesystems, round);
}

}  // namespace
}  // namespace tessary::test
