#include "platform/linux/apple_events/comment_agent.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <optional>
#include <string>

#include "platform/linux/catalog/hfs_path.h"
#include "platform/managers/apple_events.h"
#include "platform/managers/autorelease_pool.h"
#include "tests/support/apple_events.h"
#include "tests/support/fault_injection/failing_allocations.h"
#include "tests/support/memory_volume.h"
#include "tests/support/ordinary_user.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

constexpr uint32_t kAgentSignature = FourCharCode("MACS");
constexpr uint32_t kCommentProperty = FourCharCode("comt");
constexpr char kAttribute[] = "user.xdg.comment";

void SetStored(const std::string& path, const std::string& comment) {
  ASSERT_TRUE(SetAttribute(path, kAttribute, comment)) << path;
}

std::optional<std::string> Stored(const std::string& path) {
  std::string text(70000, '\0');
  const ssize_t size = lgetxattr(path.c_str(), kAttribute, text.data(), text.size());
  if (size < 0) return std::nullopt;
  text.resize(static_cast<size_t>(size));
  return text;
}

AEDesc Specifier(uint32_t desiredClass, uint32_t form, const AEDesc& data, const AEDesc& from) {
  AEDesc specifier;
  EXPECT_EQ(noErr, CreateObjSpecifier(desiredClass, from, form, data, &specifier));
  return specifier;
}

AEDesc ItemByHfsPath(std::u16string_view path) {
  return Specifier(path.ends_with(u':') ? cFolder : cFile, formName, MakeText(path), AEDesc());
}

AEDesc Item(const std::string& path, bool isFolder = false) {
  return ItemByHfsPath(HfsPath(path) + (isFolder ? u":" : u""));
}

AEDesc CommentOf(const AEDesc& item) {
  return Specifier(cProperty, formPropertyID, MakeCode(typeType, kCommentProperty), item);
}

// The reply of the agent: its error number and the description of its direct object.
struct Answer {
  Status error = noErr;
  std::string object = "missing";
};

AppleEvent MakeEvent(AEEventClass eventClass, AEEventID id) {
  AppleEvent event;
  EXPECT_EQ(noErr, AECreateAppleEvent(eventClass, id, MakeCode(typeApplSignature, kAgentSignature),
                                      kAutoGenerateReturnID, kAnyTransactionID, &event));
  return event;
}

class CommentAgent : public testing::Test {
 protected:
  CommentAgent() { RegisterCommentAgent(); }
  ~CommentAgent() override { RemoveAnsweringApplication(kAgentSignature); }

  static Answer Send(const AppleEvent& event) {
    AppleEvent reply;
    EXPECT_EQ(noErr, AESend(event, &reply, AESendMode::kAEWaitReply,
                            AESendPriority::kAENormalPriority, kNoTimeOut, nullptr, nullptr));
    Answer answer;
    int16_t number = 0;
    const Status status =
        AEGetParamPtr(reply, keyErrorNumber, typeSInt16, nullptr, &number, 2, nullptr);
    EXPECT_TRUE(status == noErr || status == errAEDescNotFound);
    answer.error = static_cast<Status>(number);
    AEDesc object;
    const Status found = AEGetParamDesc(reply, keyDirectObject, typeWildCard, &object);
    if (found == noErr) answer.object = Describe(object);
    return answer;
  }

  static Answer Get(const AEDesc& comment) {
    AppleEvent event = MakeEvent(kAECoreSuite, kAEGetData);
    EXPECT_EQ(noErr, AEPutParamDesc(&event, keyDirectObject, comment));
    return Send(event);
  }

  static Answer Set(const AEDesc& comment, const AEDesc& data) {
    AppleEvent event = MakeEvent(kAECoreSuite, kAESetData);
    EXPECT_EQ(noErr, AEPutParamDesc(&event, keyDirectObject, comment));
    EXPECT_EQ(noErr, AEPutParamDesc(&event, keyAEData, data));
    return Send(event);
  }

  const TemporaryFolder folder_;
};

TEST_F(CommentAgent, HandlesAnyFileName) {
  const std::array<std::string, 8> names = {
      "a.txt", "a:b", "caf\xE9", "a\nb", ".hidden", "two.dots.gz", "a\\b'c", std::string(255, 'x')};
  for (const std::string& name : names) {
    const std::string path = folder_ / name;
    WriteFile(path, "contents");
    SetStored(path, "caf\xC3\xA9");
    const NSAutoreleasePool pool;
    EXPECT_EQ("utxt[63 00 61 00 66 00 e9 00]", Get(CommentOf(Item(path))).object) << name;
    EXPECT_EQ(noErr, Set(CommentOf(Item(path)), MakeText(u"\u20ac")).error) << name;
    EXPECT_EQ("\xE2\x82\xAC", Stored(path)) << name;
    EXPECT_EQ("contents", ReadFile(path));
  }
}

TEST_F(CommentAgent, HandlesFoldersAndPackages) {
  MakeFolder(folder_ / "folder");
  WriteFile(folder_ / "Some.app/Contents/inside");
  for (const char* name : {"folder", "Some.app"}) {
    const AEDesc comment = CommentOf(Item(folder_ / name, true));
    EXPECT_EQ("null[]", Get(comment).object);
    EXPECT_EQ(noErr, Set(comment, MakeText(u"of the whole")).error);
    EXPECT_EQ("of the whole", Stored(folder_ / name));
  }
  EXPECT_FALSE(Stored(folder_ / "Some.app/Contents/inside"));
}

TEST_F(CommentAgent, DistinguishesEmptyFromMissing) {
  const std::string path = folder_ / "item";
  WriteFile(path);
  const AEDesc comment = CommentOf(Item(path));
  EXPECT_EQ("null[]", Get(comment).object);
  EXPECT_EQ(noErr, Set(comment, MakeText(u"")).error);
  EXPECT_EQ("", Stored(path));
  EXPECT_EQ("utxt[]", Get(comment).object);
  EXPECT_EQ(noErr, Set(comment, MakeText(u"text")).error);
  EXPECT_EQ(noErr, Set(comment, MakeText(u"")).error);
  EXPECT_EQ("", Stored(path));
}

TEST_F(CommentAgent, PreservesInvalidUtf8) {
  const std::string path = folder_ / "item";
  WriteFile(path);
  SetStored(path, "a\xFF\xED\xA0\x80");
  EXPECT_EQ("utxt[61 00 ff dc ed dc a0 dc 80 dc]", Get(CommentOf(Item(path))).object);
  EXPECT_EQ(noErr, Set(CommentOf(Item(path)), MakeText(u"\xDCFF\xDCED")).error);
  EXPECT_EQ("\xFF\xED", Stored(path));
  EXPECT_EQ(noErr, Set(CommentOf(Item(path)), MakeText(u"\xD800z")).error);
  EXPECT_EQ("\xED\xA0\x80z", Stored(path));
}

TEST_F(CommentAgent, ReadsLargestComment) {
  const TemporaryFolder memory("/dev/shm");
  const std::string path = memory / "item";
  WriteFile(path);
  const std::string large(65536, 'x');
  if (!SetAttribute(path, kAttribute, large)) {
    GTEST_SKIP() << "/dev/shm does not support attributes of 64 KiB";
  }
  EXPECT_EQ(Describe(MakeText(std::u16string(65536, u'x'))), Get(CommentOf(Item(path))).object);
  const Answer answer = Set(CommentOf(Item(path)), MakeText(std::u16string(65537, u'y')));
  EXPECT_EQ(ioErr, answer.error);
  EXPECT_EQ(large, Stored(path));
}

TEST_F(CommentAgent, KeepsOldCommentIfNewIsTooLarge) {
  const std::string path = folder_ / "item";
  WriteFile(path);
  if (SetAttribute(path, kAttribute, std::string(65536, 'x'))) {
    GTEST_SKIP() << folder_.path() << " supports attributes of the maximum size";
  }
  SetStored(path, "old");
  const Answer answer = Set(CommentOf(Item(path)), MakeText(std::u16string(65536, u'y')));
  EXPECT_EQ(dskFulErr, answer.error);
  EXPECT_EQ("missing", answer.object);
  EXPECT_EQ("old", Stored(path));
}

TEST_F(CommentAgent, RejectsLinksAndSpecialFiles) {
  WriteFile(folder_ / "target");
  SetStored(folder_ / "target", "of the target");
  MakeLink("target", folder_ / "link");
  MakeLink("nowhere", folder_ / "dangling");
  ASSERT_EQ(0, mkfifo((folder_ / "fifo").c_str(), 0600));
  for (const char* name : {"link", "dangling", "fifo"}) {
    const AEDesc comment = CommentOf(Item(folder_ / name));
    EXPECT_EQ(afpAccessDenied, Get(comment).error) << name;
    EXPECT_EQ(afpAccessDenied, Set(comment, MakeText(u"text")).error) << name;
  }
  EXPECT_EQ("of the target", Stored(folder_ / "target"));
}

TEST_F(CommentAgent, SetsCommentOfAllHardLinks) {
  WriteFile(folder_ / "first");
  ASSERT_EQ(0, link((folder_ / "first").c_str(), (folder_ / "second").c_str()));
  EXPECT_EQ(noErr, Set(CommentOf(Item(folder_ / "first")), MakeText(u"text")).error);
  EXPECT_EQ("text", Stored(folder_ / "second"));
}

TEST_F(CommentAgent, ReportsMissingItem) {
  WriteFile(folder_ / "file");
  MakeFolder(folder_ / "folder");
  const std::u16string here = HfsPath(folder_.path());
  const std::array paths = {
      here + u":absent",         here + u":absent:",   here + u":absent:deeper",
      here + u":file:",          here + u":folder",    here + u":file:below",
      here + u"::file",          here + u":..",        here + u":.:file",
      here + u":folder::",       here + u":\xD800",    here + u":" + std::u16string(256, u'x'),
      std::u16string(u""),       std::u16string(u":"), u"Other" + here.substr(5) + u":file",
      here.substr(6) + u":file",
  };
  for (size_t i = 0; i < paths.size(); ++i) {
    const AEDesc comment = CommentOf(ItemByHfsPath(paths[i]));
    const Answer answer = Get(comment);
    EXPECT_TRUE(answer.error == errAENoSuchObject ||
                (answer.error == bdNamErr && paths[i].size() > 255))
        << "row " << i << ": " << answer.error;
    EXPECT_EQ(answer.error, Set(comment, MakeText(u"text")).error) << "row " << i;
  }
  EXPECT_FALSE(Stored(folder_ / "file"));
  EXPECT_FALSE(Stored(folder_ / "folder"));
}

TEST_F(CommentAgent, RejectsPathOfOtherClass) {
  WriteFile(folder_ / "file");
  MakeFolder(folder_ / "folder");
  const AEDesc file = MakeText(HfsPath(folder_ / "file"));
  const AEDesc folder = MakeText(HfsPath(folder_ / "folder") + u":");
  EXPECT_EQ(errAENoSuchObject, Get(CommentOf(Specifier(cFolder, formName, file, AEDesc()))).error);
  EXPECT_EQ(errAENoSuchObject, Get(CommentOf(Specifier(cFile, formName, folder, AEDesc()))).error);
}

TEST_F(CommentAgent, HandlesRootFolder) {
  const Answer answer = Get(CommentOf(ItemByHfsPath(u"Linux:")));
  EXPECT_EQ(noErr, answer.error);
  EXPECT_NE("missing", answer.object);
}

TEST_F(CommentAgent, RejectsUnknownSpecifiers) {
  const std::string path = folder_ / "item";
  WriteFile(path);
  const AEDesc item = Item(path);
  const AEDesc property = MakeCode(typeType, kCommentProperty);
  const AEDesc name = MakeText(HfsPath(path));
  struct Row {
    AEDesc object;
    Status status;
  };
  AEDesc lacking = CommentOf(item);
  lacking.items.pop_back();
  AEDesc shortCode = MakeShort(1);
  shortCode.descriptorType = typeType;
  const std::array rows = {
      Row{AEDesc(), errAENotAnObjSpec},
      Row{MakeText(u"text"), errAENotAnObjSpec},
      Row{lacking, errAENotAnObjSpec},
      Row{Specifier(cProperty, formPropertyID, shortCode, item), errAENotAnObjSpec},
      Row{Specifier(cProperty, formPropertyID, MakeText(u"comt"), item), errAENotAnObjSpec},
      Row{Specifier(cProperty, formPropertyID, property, AEDesc()), errAENotAnObjSpec},
      Row{CommentOf(Specifier(cFile, formName, MakeShort(1), AEDesc())), errAENotAnObjSpec},
      Row{CommentOf(Specifier(cFile, formName, name, item)), errAENotAnObjSpec},
      Row{item, errAENotAnObjSpec},
      Row{Specifier(cFile, formPropertyID, property, item), errAEEventNotHandled},
      Row{Specifier(cProperty, formName, property, item), errAEEventNotHandled},
      Row{Specifier(cProperty, formPropertyID, MakeCode(typeType, FourCharCode("labi")), item),
          errAEEventNotHandled},
      Row{CommentOf(Specifier(FourCharCode("cdis"), formName, name, AEDesc())),
          errAEEventNotHandled},
      Row{CommentOf(Specifier(cFile, FourCharCode("indx"), name, AEDesc())), errAEEventNotHandled},
  };
  for (size_t i = 0; i < rows.size(); ++i) {
    EXPECT_EQ(rows[i].status, Get(rows[i].object).error) << "row " << i;
    EXPECT_EQ(rows[i].status, Set(rows[i].object, MakeText(u"text")).error) << "row " << i;
  }
  EXPECT_FALSE(Stored(path));
}

TEST_F(CommentAgent, RejectsUnknownAndIncompleteEvents) {
  WriteFile(folder_ / "item");
  const AEDesc comment = CommentOf(Item(folder_ / "item"));
  AppleEvent event = MakeEvent(kAECoreSuite, FourCharCode("delo"));
  ASSERT_EQ(noErr, AEPutParamDesc(&event, keyDirectObject, comment));
  EXPECT_EQ(errAEEventNotHandled, Send(event).error);
  event = MakeEvent(kCoreEventClass, kAEGetData);
  ASSERT_EQ(noErr, AEPutParamDesc(&event, keyDirectObject, comment));
  EXPECT_EQ(errAEEventNotHandled, Send(event).error);
  EXPECT_EQ(errAEDescNotFound, Send(MakeEvent(kAECoreSuite, kAEGetData)).error);
  EXPECT_EQ(errAEDescNotFound, Send(MakeEvent(kAECoreSuite, kAESetData)).error);
  event = MakeEvent(kAECoreSuite, kAESetData);
  ASSERT_EQ(noErr, AEPutParamDesc(&event, keyDirectObject, comment));
  EXPECT_EQ(errAEDescNotFound, Send(event).error);
}

TEST_F(CommentAgent, AcceptsOnlyText) {
  const std::string path = folder_ / "item";
  WriteFile(path);
  SetStored(path, "old");
  EXPECT_EQ(errAECoercionFail, Set(CommentOf(Item(path)), MakeShort(1)).error);
  EXPECT_EQ(errAECoercionFail, Set(CommentOf(Item(path)), AEDesc()).error);
  EXPECT_EQ("old", Stored(path));
  EXPECT_EQ(noErr, Set(CommentOf(Item(path)), MakeUtf8Text("new")).error);
  EXPECT_EQ("new", Stored(path));
}

TEST_F(CommentAgent, DoesNotRewriteEqualComment) {
  const std::string path = folder_ / "item";
  WriteFile(path);
  SetStored(path, "text");
  struct stat before = {};
  struct stat after = {};
  ASSERT_EQ(0, stat(path.c_str(), &before));
  // Longer than the resolution of timestamps, so that a write would change them.
  usleep(20000);
  EXPECT_EQ(noErr, Set(CommentOf(Item(path)), MakeText(u"text")).error);
  ASSERT_EQ(0, stat(path.c_str(), &after));
  EXPECT_EQ(before.st_ctim.tv_sec, after.st_ctim.tv_sec);
  EXPECT_EQ(before.st_ctim.tv_nsec, after.st_ctim.tv_nsec);
  EXPECT_EQ(noErr, Set(CommentOf(Item(path)), MakeText(u"other")).error);
  ASSERT_EQ(0, stat(path.c_str(), &after));
  EXPECT_NE(before.st_ctim.tv_nsec, after.st_ctim.tv_nsec);
}

TEST_F(CommentAgent, OwnerSetsCommentOfReadOnlyItem) {
  ASSERT_EQ(0, chmod(folder_.path().c_str(), 0777));
  EXPECT_TRUE(RunAsOrdinaryUser([this] {
    const std::string path = folder_ / "item";
    WriteFile(path);
    ASSERT_EQ(0, chmod(path.c_str(), 0444));
    EXPECT_EQ(noErr, Set(CommentOf(Item(path)), MakeText(u"text")).error);
    EXPECT_EQ("text", Stored(path));
    struct stat info = {};
    ASSERT_EQ(0, stat(path.c_str(), &info));
    EXPECT_EQ(S_IFREG | 0444U, info.st_mode);
    MakeFolder(folder_ / "package.app");
    ASSERT_EQ(0, chmod((folder_ / "package.app").c_str(), 0555));
    EXPECT_EQ(noErr, Set(CommentOf(Item(folder_ / "package.app", true)), MakeText(u"text")).error);
    EXPECT_EQ("text", Stored(folder_ / "package.app"));
    ASSERT_EQ(0, stat((folder_ / "package.app").c_str(), &info));
    EXPECT_EQ(S_IFDIR | 0555U, info.st_mode);
    ASSERT_EQ(0, chmod((folder_ / "package.app").c_str(), 0755));
  }));
}

TEST_F(CommentAgent, OwnerSetsCommentOfUnreadableFile) {
  ASSERT_EQ(0, chmod(folder_.path().c_str(), 0777));
  EXPECT_TRUE(RunAsOrdinaryUser([this] {
    const std::string path = folder_ / "item";
    WriteFile(path);
    ASSERT_EQ(0, chmod(path.c_str(), 0));
    EXPECT_EQ(noErr, Set(CommentOf(Item(path)), MakeText(u"text")).error);
    struct stat info = {};
    ASSERT_EQ(0, stat(path.c_str(), &info));
    EXPECT_EQ(S_IFREG | 0U, info.st_mode);
    ASSERT_EQ(0, chmod(path.c_str(), 0600));
    EXPECT_EQ("text", Stored(path));
  }));
}

TEST_F(CommentAgent, CannotSetCommentOfOtherUser) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can create a file of another user";
  const std::string path = folder_ / "item";
  WriteFile(path);
  SetStored(path, "old");
  ASSERT_EQ(0, chmod(path.c_str(), 0444));
  ASSERT_EQ(0, chmod(folder_.path().c_str(), 0755));
  EXPECT_TRUE(RunAsOrdinaryUser([&path] {
    EXPECT_EQ("utxt[6f 00 6c 00 64 00]", Get(CommentOf(Item(path))).object);
    EXPECT_EQ(afpAccessDenied, Set(CommentOf(Item(path)), MakeText(u"new")).error);
  }));
  EXPECT_EQ("old", Stored(path));
}

TEST_F(CommentAgent, ReportsReadOnlyFilesystem) {
  MemoryVolume volume("size=64k");
  if (!volume.IsMounted()) GTEST_SKIP() << "needs a mount";
  WriteFile(volume / "item");
  volume.MakeReadOnly();
  EXPECT_EQ("null[]", Get(CommentOf(Item(volume / "item"))).object);
  EXPECT_EQ(wPrErr, Set(CommentOf(Item(volume / "item")), MakeText(u"text")).error);
}

// /proc supports no user attributes.
TEST_F(CommentAgent, ReportsFilesystemWithoutAttributes) {
  EXPECT_EQ(noErr, Get(CommentOf(Item("/proc/version"))).error);
  EXPECT_EQ("null[]", Get(CommentOf(Item("/proc/version"))).object);
  EXPECT_NE(noErr, Set(CommentOf(Item("/proc/version")), MakeText(u"text")).error);
}

// During a run the agent uses the folder that it found first.
TEST_F(CommentAgent, DoesNotFollowSwappedPath) {
  WriteFile(folder_ / "folder/item");
  WriteFile(folder_ / "other/item");
  SetStored(folder_ / "folder/item", "right");
  SetStored(folder_ / "other/item", "wrong");
  const NSAutoreleasePool pool;
  const AEDesc comment = CommentOf(Item(folder_ / "folder/item"));
  EXPECT_EQ(noErr, Get(comment).error);
  ASSERT_EQ(0, rename((folder_ / "folder").c_str(), (folder_ / "away").c_str()));
  MakeLink("other", folder_ / "folder");
  const Answer answer = Set(comment, MakeText(u"new"));
  EXPECT_TRUE(answer.error == noErr || answer.error == errAENoSuchObject) << answer.error;
  EXPECT_EQ("wrong", Stored(folder_ / "other/item"));
}

TEST_F(CommentAgent, OutOfMemoryIsNotMissingComment) {
  WriteFile(folder_ / "item");
  SetStored(folder_ / "item", std::string(100, 'x'));
  AppleEvent event = MakeEvent(kAECoreSuite, kAEGetData);
  ASSERT_EQ(noErr, AEPutParamDesc(&event, keyDirectObject, CommentOf(Item(folder_ / "item"))));
  bool hasFailed = true;
  bool isReportedByAgent = false;
  for (int allocation = 0; hasFailed; ++allocation) {
    ASSERT_LT(allocation, 10'000);
    const NSAutoreleasePool pool;
    AppleEvent reply;
    const auto send = [&] {
      return AESend(event, &reply, AESendMode::kAEWaitReply, AESendPriority::kAENormalPriority,
                    kNoTimeOut, nullptr, nullptr);
    };
    const Status sent = CallWithFailedAllocation(allocation, send, &hasFailed);
    if (sent == memFullErr) continue;
    ASSERT_EQ(noErr, sent);
    int16_t number = 0;
    if (AEGetParamPtr(reply, keyErrorNumber, typeSInt16, nullptr, &number, 2, nullptr) == noErr) {
      EXPECT_NE(noErr, number);
      isReportedByAgent |= number == memFullErr;
      continue;
    }
    AEDesc object;
    ASSERT_EQ(noErr, AEGetParamDesc(reply, keyDirectObject, typeUnicodeText, &object));
    EXPECT_EQ(200U, AEGetDescDataSize(object)) << allocation;
  }
  EXPECT_TRUE(isReportedByAgent);
}

}  // namespace
}  // namespace tessary::test
