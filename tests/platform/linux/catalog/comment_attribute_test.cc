#include "platform/linux/catalog/comment_attribute.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/catalog/attribute_names.h"
#include "platform/linux/mac_formats/comment_forms.h"
#include "platform/linux/mac_formats/comment_plist.h"
#include "platform/managers/text.h"
#include "tests/platform/linux/mac_formats/recorded_attributes.h"
#include "tests/support/fault_injection/injected_errors.h"
#include "tests/support/file_operations.h"
#include "tests/support/mac_test_data.h"
#include "tests/support/ordinary_user.h"
#include "tests/support/temporary_folder.h"

// Comments written by a Mac, and their relation to those of Linux programs.
namespace tessary::test {
namespace {

constexpr char kComment[] = "ask K\u00e4the";
constexpr char kProperty[] = "com.apple.metadata:kMDItemFinderComment";
constexpr char kUserProperty[] = "user.com.apple.metadata:kMDItemFinderComment";

std::string SidecarWith(const std::string& property) {
  return MakeSidecar("TEXTttxt" + std::string(24, '\0'), {{kProperty, property}}, "the fork");
}

class MacComments : public testing::Test {
 protected:
  void SetUp() override {
    WriteFile(path_);
    if (!SetAttribute(path_, "user.test", "")) GTEST_SKIP() << "no attributes here";
  }

  // The place as it is after a listing of the folder.
  Place FilePlace() const {
    Place place = PlaceAt(path_);
    place.mayHaveSidecar = true;
    return place;
  }

  std::string Read(std::string* origin = nullptr) const {
    std::optional<std::string> comment;
    EXPECT_EQ(noErr, ReadComment(FilePlace(), &comment, origin));
    return comment.value_or("(none)");
  }

  // The comment that a Mac reads from an attribute.
  std::string ReadAsMac(const std::string& attribute) const {
    const CommentForm* form = FindCommentForm(attribute);
    const auto text = form->read(AttributeAt(path_, attribute));
    return text ? Utf8FromUtf16(*text) : "(none)";
  }

  const TemporaryFolder folder_;
  const std::string path_ = folder_ / "file";
  const std::string sidecar_ = folder_ / "._file";
};

TEST_F(MacComments, ReadFromEveryForm) {
  const std::vector<std::pair<std::string, std::string>> attributes = {
      {kUserProperty, FromHex(kPropertyUtf16)},
      {"user.DosStream.com.apple.metadata:kMDItemFinderComment:$DATA",
       FromHex(kCommentOfSambaNetatalk)},
      {"user.DosStream.com.apple.metadata\uF022kMDItemFinderComment:$DATA",
       FromHex(kCommentOfSambaStream)},
  };
  EXPECT_EQ("(none)", Read());
  for (const auto& [name, value] : attributes) {
    ASSERT_TRUE(SetAttribute(path_, name, value));
    std::string origin;
    EXPECT_EQ(kComment, Read(&origin)) << name;
    EXPECT_EQ(name, origin);
    ASSERT_EQ(0, removexattr(path_.c_str(), name.c_str()));
  }
  WriteFile(sidecar_, SidecarWith(FromHex(kPropertyUtf16)));
  std::string origin;
  EXPECT_EQ(kComment, Read(&origin));
  EXPECT_EQ("._file", origin);
}

TEST_F(MacComments, LinuxCommentComesFirst) {
  ASSERT_TRUE(SetAttribute(path_, kUserProperty, FromHex(kPropertyUtf16)));
  ASSERT_TRUE(SetAttribute(path_, kCommentAttribute, "of Linux"));
  EXPECT_EQ("of Linux", Read());
  ASSERT_TRUE(SetAttribute(path_, kCommentAttribute, ""));
  EXPECT_EQ("", Read());
}

TEST_F(MacComments, EmptyOrBrokenIsNone) {
  ASSERT_TRUE(SetAttribute(path_, kUserProperty, FromHex(kPropertyEmpty)));
  EXPECT_EQ("(none)", Read());
  ASSERT_TRUE(SetAttribute(path_, kUserProperty, "bplist00"));
  EXPECT_EQ("(none)", Read());
  WriteFile(sidecar_, SidecarWith(FromHex(kPropertyAscii)));
  EXPECT_EQ("to be checked", Read()) << "the next form";
}

TEST_F(MacComments, EveryExistingFormIsUpdated) {
  const std::string stream = "user.DosStream.com.apple.metadata:kMDItemFinderComment:$DATA";
  ASSERT_TRUE(SetAttribute(path_, kUserProperty, FromHex(kPropertyUtf16)));
  ASSERT_TRUE(SetAttribute(path_, stream, FromHex(kCommentOfSambaNetatalk)));
  WriteFile(sidecar_, SidecarWith(FromHex(kPropertyUtf16)));
  for (const std::string comment : {"new \xE4\xB8\xAD", "of ASCII", "", "again"}) {
    ASSERT_EQ(noErr, WriteComment(FilePlace(), comment));
    EXPECT_EQ(comment, Read());
    EXPECT_EQ(comment, AttributeAt(path_, kCommentAttribute));
    const std::string seen = comment.empty() ? "(none)" : comment;
    EXPECT_EQ(seen, ReadAsMac(kUserProperty));
    EXPECT_EQ(seen, ReadAsMac(stream));
    EXPECT_EQ('\0', AttributeAt(path_, stream).back());
    const auto beside = ReadAppleDoubleComment(ReadFile(sidecar_));
    EXPECT_EQ(seen, beside ? Utf8FromUtf16(*beside) : "(none)");
    EXPECT_TRUE(ReadFile(sidecar_).ends_with("the fork"));
  }
}

TEST_F(MacComments, NoFormIsCreated) {
  WriteFile(sidecar_, MakeSidecar(std::string(32, '1'), {}, "fork"));
  const std::string before = ReadFile(sidecar_);
  ASSERT_TRUE(SetAttribute(path_, "user.org.netatalk.Metadata", FromHex(kNetatalkOfSambaNetatalk)));
  ASSERT_EQ(noErr, WriteComment(FilePlace(), "new"));
  EXPECT_EQ("(none)", AttributeAt(path_, kUserProperty));
  EXPECT_EQ(FromHex(kNetatalkOfSambaNetatalk), AttributeAt(path_, "user.org.netatalk.Metadata"));
  EXPECT_EQ(before, ReadFile(sidecar_));
}

TEST_F(MacComments, OwnerWritesProtectedFile) {
  ASSERT_TRUE(SetAttribute(path_, kUserProperty, FromHex(kPropertyUtf16)));
  ASSERT_EQ(0, chmod(folder_.path().c_str(), 0777));
  if (geteuid() == 0) {
    ASSERT_EQ(0, chown(path_.c_str(), 65534, 65534));
  }
  ASSERT_EQ(0, chmod(path_.c_str(), 0444));
  WriteFile(sidecar_, SidecarWith(FromHex(kPropertyUtf16)));
  if (geteuid() == 0) {
    ASSERT_EQ(0, chown(sidecar_.c_str(), 65534, 65534));
  }
  ASSERT_EQ(0, chmod(sidecar_.c_str(), 0400));
  EXPECT_TRUE(RunAsOrdinaryUser([&] { EXPECT_EQ(noErr, WriteComment(FilePlace(), "new")); }));
  EXPECT_EQ("new", ReadAsMac(kUserProperty));
  EXPECT_EQ(0444U, LstatAt(path_).st_mode & 07777);
  EXPECT_EQ(u"new", ReadAppleDoubleComment(ReadFile(sidecar_)));
  EXPECT_EQ(0400U, LstatAt(sidecar_).st_mode & 07777);
}

TEST_F(MacComments, SidecarWithoutAttributes) {
  WriteFile(sidecar_, SidecarWith(FromHex(kPropertyUtf16)));
  EXPECT_TRUE(
      RunWithInjectedErrors({{SYS_lsetxattr, ENOTSUP, 0, 0}, {SYS_llistxattr, ENOTSUP, 0, 0}}, [&] {
        EXPECT_EQ(kComment, Read());
        EXPECT_EQ(noErr, WriteComment(FilePlace(), "new"));
        EXPECT_EQ("new", Read());
        ASSERT_EQ(0, unlink(sidecar_.c_str()));
        EXPECT_EQ(paramErr, WriteComment(FilePlace(), "new"));
      }));
}

TEST_F(MacComments, CopyHasEmptyForms) {
  ASSERT_TRUE(SetAttribute(path_, kUserProperty, FromHex(kPropertyUtf16)));
  ASSERT_TRUE(SetAttribute(path_, kCommentAttribute, kComment));
  ASSERT_EQ(noErr, CopyAt(path_, folder_ / "copy"));
  const Place copy = PlaceAt(folder_ / "copy");
  std::optional<std::string> comment;
  ASSERT_EQ(noErr, ReadComment(copy, &comment));
  EXPECT_FALSE(comment);
  EXPECT_EQ(FromHex(kPropertyEmpty), AttributeAt(folder_ / "copy", kUserProperty));
  ASSERT_EQ(noErr, WriteComment(copy, kComment));
  EXPECT_EQ(FromHex(kPropertyUtf16), AttributeAt(folder_ / "copy", kUserProperty));
  EXPECT_EQ(FromHex(kPropertyUtf16), AttributeAt(path_, kUserProperty));
}

}  // namespace
}  // namespace tessary::test
