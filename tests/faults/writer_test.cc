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
#include "tests/faults/two_volumes.h"
#include "tests/support/soak.h"
#include "tests/support/temporary_folder.h"

// Programs that go on writing to files while these are moved to another volume, through descriptors
// that do not mind the files' names.
namespace tessary::test {
namespace {

namespace fs = std::filesystem;

constexpr unsigned kTimeoutSeconds = 60;  // seconds
constexpr uint64_t kFiles = 40;

std::string NameOf(uint64_t file) { return "file" + std::to_string(file) + ".log"; }

// One program that opens files of a folder, one after another, and keeps each open for a while.
class Writer {
 public:
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

  // The lines that the kernel has taken, each of its own.
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

std::set<std::string> LinesBelow(const std::string& folder) {
  std::set<std::string> lines;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    if (!entry.is_regular_file()) continue;
    std::istringstream text(ReadFile(entry.path()));
    for (std::string line; std::getline(text, line);) lines.insert(line);
  }
  return lines;
}

TEST(ARunAmongWriters, LosesNothingThatTheyWrite) {
  const std::string title = "writers, moving across volumes";
  SoakCount count(title, "lines written", {"lost", "hung"});
  const TwoVolumes volumes;
  if (!volumes.AreDifferent()) GTEST_SKIP() << "there are no two volumes to be had here";
  for (SoakRounds rounds(title, 10); rounds.Next();) {
    SCOPED_TRACE(rounds.Describe());
    const TemporaryFolder from(volumes.first());
    const TemporaryFolder to(volumes.second());
    for (uint64_t file = 0; file < kFiles; ++file) WriteFile(from / NameOf(file), "begun\n");
    const ChildSetup setup = {.environment = {{"XDG_CONFIG_HOME", to / "config"}}};
    Writer first(from.path(), "first ", rounds.random().Next());
    Writer second(from.path(), "second ", rounds.random().Next());
    // What was being written the first time is moved once it is not.
    for (int run = 0; run < 3; ++run) {
      ChildProcess child({"aggregate", "--move", "--kind=extension", from.path(), to.path()},
                         setup);
      if (!child.Wait(kTimeoutSeconds)) count.AddViolation("hung", "the run");
    }
    first.Stop();
    second.Stop();
    std::set<std::string> found = LinesBelow(from.path());
    found.merge(LinesBelow(to.path()));
    for (const Writer* writer : {&first, &second}) {
      count.AddTries(writer->Lines().size());
      for (const std::string& line : writer->Lines()) {
        if (!found.contains(line)) count.AddViolation("lost", line);
      }
    }
  }
}

}  // namespace
}  // namespace tessary::test
