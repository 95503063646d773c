#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/faults/errors/real_limits.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/volumes.h"

// Runs to, within and from filesystems of each kind.
namespace tessary::test {
namespace {

namespace fs = std::filesystem;

using testing::IsEmpty;

class EachFilesystem : public RealLimits, public testing::WithParamInterface<VolumeKind> {
 protected:
  EachFilesystem() : source_(scratch_ / "source"), volume_(GetParam()) {}

  void SetUp() override {
    if (!volume_.IsAvailable()) GTEST_SKIP() << volume_.UnavailableReason();
    MakeFolder(volume_ / "there");
    volume_.SealLowerLayer();
  }

  const std::string source_;
  ScratchVolume volume_;
};

TEST_P(EachFilesystem, CopyAndMove) {
  WriteFile(source_ + "/report.txt", "report");
  WriteFile(source_ + "/Makefile", "no key");
  WriteFile(source_ + "/large.bin", std::string(700'000, 'l'));
  WriteFile(source_ + "/below/other.txt", "other");
  WriteFile(source_ + "/below/Thing.app/Contents/a", "inside");
  (void)SetAttribute(source_ + "/report.txt", "user.note", "note");
  MakeFolder(volume_ / "within");
  MakeFolder(scratch_ / "back");
  EXPECT_EQ(0, Aggregate("--copy", source_, volume_ / "there").exitStatus);
  fs::remove_all(volume_ / "there");
  MakeFolder(volume_ / "there");
  // To the filesystem, by keys that may contain a "/", then within it, and back.
  EXPECT_EQ(0, Aggregate("--move", source_, volume_ / "there", "mime-type").exitStatus);
  EXPECT_EQ(0, Aggregate("--move", volume_ / "there", volume_ / "within").exitStatus);
  EXPECT_EQ(0, Aggregate("--move", volume_ / "within", scratch_ / "back").exitStatus);
  EXPECT_EQ(std::vector<std::string>(
                {"app/Thing.app/Contents/a", "bin/large.bin", "txt/other.txt", "txt/report.txt"}),
            FilesBelow(scratch_ / "back"));
}

TEST_P(EachFilesystem, UnusualNames) {
  const std::vector<std::string> names = {"what?.txt", "star*.txt",   "a:b.txt",  "bar|.txt",
                                          "q\"q.txt",  "back\\.txt",  "dot..txt", "caf\xe9.txt",
                                          "con.txt",   "line\n2.txt", "<a>.txt",  " blank.txt"};
  for (const std::string& name : names) WriteFile(source_ + "/" + name, name);
  const SupervisedResult result = Aggregate("--move", source_, volume_ / "there");
  EXPECT_EQ(0, result.exitStatus) << result.output;
  EXPECT_THAT(FilesBelow(source_), IsEmpty());
}

TEST_P(EachFilesystem, PackageWithLinks) {
  const std::string inside = source_ + "/Thing.app/Contents";
  WriteFile(inside + "/a", "linked");
  fs::create_hard_link(inside + "/a", inside + "/b");
  MakeLink("a", inside + "/current");
  WriteFile(source_ + "/plain.txt", "plain");
  const SupervisedResult result = Aggregate("--move", source_, volume_ / "there");
  EXPECT_EQ(volume_.Traits().hasSymbolicLinks ? 0 : 3, result.exitStatus) << result.output;
  EXPECT_TRUE(Exists(volume_ / "there/txt/plain.txt"));
}

INSTANTIATE_TEST_SUITE_P(Kinds, EachFilesystem, testing::ValuesIn(AllVolumeKinds()),
                         [](const auto& each) { return NameOf(each.param); });

}  // namespace
}  // namespace tessary::test
