// A source that somebody works on while it is moved or copied: what arrives is one whole version of
// it, and the last version is somewhere.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <thread>

#include "tests/conformance/conformance_fixture.h"
#include "tests/support/file_operations.h"

namespace tessary::test {
namespace {

constexpr size_t kSize = 1 << 20;

// Does something over and over until it goes.
class BackgroundLoop {
 public:
  explicit BackgroundLoop(std::function<void()> action)
      : thread_([this, action = std::move(action)] {
          while (!isStopped_) action();
        }) {}
  ~BackgroundLoop() { Stop(); }
  BackgroundLoop(const BackgroundLoop&) = delete;
  BackgroundLoop& operator=(const BackgroundLoop&) = delete;

  void Stop() {
    isStopped_ = true;
    if (thread_.joinable()) thread_.join();
  }

 private:
  std::atomic<bool> isStopped_ = false;
  std::thread thread_;
};

// The only byte that the contents consist of; 0 where they hold several, or none.
char OnlyByteOf(const std::string& contents) {
  if (contents.empty()) return 0;
  const bool isUniform = contents.find_first_not_of(contents[0]) == std::string::npos;
  return isUniform ? contents[0] : '\0';
}

TEST_P(Conformance, FileThatGrowsArrivesWhole) {
  WriteFile(From("log"), std::string(kSize, 'a'));
  Status status = noErr;
  {
    BackgroundLoop growing([this] {
      // By its name each time, and never made anew.
      const UniqueFd file(open(From("log").c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
      if (file && write(file.get(), "aaaaaaaa", 8) != 8) return;
    });
    status = Transfer("log");
  }
  if (status != noErr) {
    EXPECT_EQ(fBsyErr, status);
    EXPECT_FALSE(Exists(To("log")));
    EXPECT_GE(ReadFile(From("log")).size(), kSize);
    return;
  }
  const std::string arrived = ReadFile(To("log"));
  EXPECT_GE(arrived.size(), kSize);
  EXPECT_EQ('a', OnlyByteOf(arrived));
  EXPECT_EQ(IsCopy(), Exists(From("log")));
}

TEST_P(Conformance, FileThatShrinksArrivesWhole) {
  WriteFile(From("file"), std::string(kSize, 'a'));
  // The other thread may come too late for a file that is gone.
  std::thread shrinking([this] { (void)!truncate(From("file").c_str(), kSize / 2); });
  Status status = Transfer("file");
  shrinking.join();
  if (status == fBsyErr) status = Transfer("file");
  ASSERT_EQ(noErr, status);
  const std::string arrived = ReadFile(To("file"));
  EXPECT_TRUE(arrived.size() == kSize || arrived.size() == kSize / 2) << arrived.size();
  EXPECT_EQ('a', OnlyByteOf(arrived)) << arrived.find_first_not_of('a') << " of " << arrived.size();
}

TEST_P(Conformance, FileThatIsReplacedArrivesInOneVersion) {
  WriteFile(From("file"), std::string(kSize, 'a'));
  Status status = noErr;
  char version = 'a';
  {
    // As an editor saves: whole, beside, and renamed onto the old one.
    BackgroundLoop saving([this, &version] {
      if (version == 'z' || !Exists(From("file"))) return;
      ++version;
      WriteFile(From("new"), std::string(kSize / 4, version));
      EXPECT_EQ(0, rename(From("new").c_str(), From("file").c_str()));
    });
    status = Transfer("file");
  }
  char last = 0;
  for (const std::string& path : {From("file"), To("file")}) {
    if (!Exists(path)) continue;
    const char found = OnlyByteOf(ReadFile(path));
    EXPECT_NE(0, found) << path << " holds parts of two versions";
    last = std::max(last, found);
  }
  EXPECT_EQ(version, last) << "the last version is gone; status " << status;
  EXPECT_EQ(status == noErr, Exists(To("file")));
}

TEST_P(Conformance, FinalNameNeverShowsAPart) {
  if (!SharedVolume(GetParam().to).Traits().hasHardLinks) {
    GTEST_SKIP() << "an empty file holds the name for a moment on this volume";
  }
  WriteFile(From("file"), std::string(kSize, 'a'));
  std::atomic<off_t> smallest = kSize;
  {
    BackgroundLoop looking([this, &smallest] {
      struct stat info = {};
      if (lstat(To("file").c_str(), &info) == 0) smallest = std::min(smallest.load(), info.st_size);
    });
    ASSERT_EQ(noErr, Transfer("file"));
  }
  EXPECT_EQ(static_cast<off_t>(kSize), smallest);
}

TEST_P(Conformance, NotReadableByOthersBeforeItIsFinished) {
  if (!Traits().hasModes) GTEST_SKIP() << "no modes on this volume";
  WriteFile(From("secret"), std::string(kSize, 'a'));
  WriteFile(From("Secret.app/inner"), std::string(kSize, 'a'));
  ASSERT_EQ(0, chmod(From("secret").c_str(), 0600));
  ASSERT_EQ(0, chmod(From("Secret.app").c_str(), 0700));
  std::atomic<unsigned> open = 0;
  {
    BackgroundLoop looking([this, &open] {
      std::error_code error;
      for (const auto& entry : std::filesystem::directory_iterator(ToFolder(), error)) {
        struct stat info = {};
        if (lstat(entry.path().c_str(), &info) == 0) open |= info.st_mode & 077U;
      }
    });
    EXPECT_EQ(noErr, Transfer("secret"));
    EXPECT_EQ(noErr, Transfer("Secret.app"));
  }
  EXPECT_EQ(0U, open);
}

}  // namespace
}  // namespace tessary::test
