// A source that another process changes while it is moved or copied: the target is one complete
// version of it, and the last version is not lost.

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

constexpr size_t kFileSize = 1 << 20;

// Repeats an action in a thread until it is stopped.
class BackgroundLoop {
 public:
  explicit BackgroundLoop(std::function<void()> action)
      : thread_([this, action = std::move(action)] {
          while (!isStopped_) action();
        }) {}
  ~BackgroundLoop() {
    isStopped_ = true;
    thread_.join();
  }
  BackgroundLoop(const BackgroundLoop&) = delete;
  BackgroundLoop& operator=(const BackgroundLoop&) = delete;

 private:
  std::atomic<bool> isStopped_ = false;
  std::thread thread_;
};

// Returns the byte of which the contents consist, or 0 if they are empty or have different bytes.
char UniformByte(const std::string& contents) {
  if (contents.empty()) return 0;
  const bool isUniform = contents.find_first_not_of(contents[0]) == std::string::npos;
  return isUniform ? contents[0] : '\0';
}

// Returns true if the folder contains a "file" under the name that it gets for its deletion.
bool HasDisplacedFile(const std::string& folder) {
  const auto names = std::filesystem::directory_iterator(folder);
  return std::any_of(begin(names), end(names), [](const auto& entry) {
    return entry.path().filename().string().starts_with("file - ");
  });
}

TEST_P(Conformance, GrowingFileIsConsistent) {
  WriteFile(From("log"), std::string(kFileSize, 'a'));
  SealTestData();
  Status status = noErr;
  {
    const BackgroundLoop writer([this] {
      // Without O_CREAT, so that the file is not created again after a move.
      const UniqueFd file(open(From("log").c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
      if (file && write(file.get(), "aaaaaaaa", 8) != 8) return;
    });
    status = Transfer("log");
  }
  if (status != noErr) {
    // An overlay gives a file of its lower layer another identity when it is first written to.
    EXPECT_TRUE(status == fBsyErr || (status == fnfErr && IsSourceInLowerLayer())) << status;
    EXPECT_FALSE(Exists(To("log")));
    EXPECT_GE(ReadFile(From("log")).size(), kFileSize);
    return;
  }
  const std::string transferred = ReadFile(To("log"));
  EXPECT_GE(transferred.size(), kFileSize);
  EXPECT_EQ('a', UniformByte(transferred));
  EXPECT_EQ(IsCopy(), Exists(From("log")));
}

TEST_P(Conformance, ShrinkingFileIsConsistent) {
  WriteFile(From("file"), std::string(kFileSize, 'a'));
  SealTestData();
  // Fails if the file has already been moved.
  std::thread writer([this] { (void)!truncate(From("file").c_str(), kFileSize / 2); });
  Status status = Transfer("file");
  writer.join();
  // An overlay gives a file of its lower layer another identity when it is first written to.
  if (status == fBsyErr || (status == fnfErr && IsSourceInLowerLayer())) status = Transfer("file");
  ASSERT_EQ(noErr, status);
  const std::string transferred = ReadFile(To("file"));
  EXPECT_TRUE(transferred.size() == kFileSize || transferred.size() == kFileSize / 2)
      << transferred.size();
  EXPECT_EQ('a', UniformByte(transferred))
      << transferred.find_first_not_of('a') << " of " << transferred.size();
}

TEST_P(Conformance, ReplacedFileIsConsistent) {
  WriteFile(From("file"), std::string(kFileSize, 'a'));
  SealTestData();
  Status status = noErr;
  char version = 'a';
  {
    // Saves like an editor: writes a new file and renames it onto the old one.
    const BackgroundLoop writer([this, &version] {
      if (version == 'z' || !Exists(From("file"))) return;
      ++version;
      WriteFile(From("new"), std::string(kFileSize / 4, version));
      EXPECT_EQ(0, rename(From("new").c_str(), From("file").c_str()));
    });
    status = Transfer("file");
  }
  char last = 0;
  for (const std::string& path : {From("file"), To("file")}) {
    if (!Exists(path)) continue;
    const char found = UniformByte(ReadFile(path));
    EXPECT_NE(0, found) << path << " contains parts of two versions";
    last = std::max(last, found);
  }
  EXPECT_EQ(version, last) << "the last version is lost; status " << status;
  // A version that was staged for its deletion and could not get its name back stays beside the
  // file, and the copy stays, too.
  const bool isCopyExpected = status == noErr || HasDisplacedFile(FromFolder());
  EXPECT_EQ(isCopyExpected, Exists(To("file"))) << status;
}

TEST_P(Conformance, FinalNameShowsCompleteFile) {
  if (!SharedVolume(GetParam().to).Traits().hasHardLinks) {
    GTEST_SKIP() << "without hard links, an empty placeholder has the name for a moment";
  }
  WriteFile(From("file"), std::string(kFileSize, 'a'));
  SealTestData();
  std::atomic<off_t> smallest = kFileSize;
  {
    const BackgroundLoop reader([this, &smallest] {
      struct stat info = {};
      if (lstat(To("file").c_str(), &info) == 0) smallest = std::min(smallest.load(), info.st_size);
    });
    ASSERT_EQ(noErr, Transfer("file"));
  }
  EXPECT_EQ(static_cast<off_t>(kFileSize), smallest);
}

TEST_P(Conformance, PrivateFileNeverReadableByOthers) {
  if (!Traits().hasModes)
    GTEST_SKIP() << "this filesystem stores no modes: the mount decides who may read";
  WriteFile(From("secret"), std::string(kFileSize, 'a'));
  WriteFile(From("Secret.app/inner"), std::string(kFileSize, 'a'));
  ASSERT_EQ(0, chmod(From("secret").c_str(), 0600));
  ASSERT_EQ(0, chmod(From("Secret.app").c_str(), 0700));
  SealTestData();
  std::atomic<unsigned> open = 0;
  {
    const BackgroundLoop reader([this, &open] {
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
