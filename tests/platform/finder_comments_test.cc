#include "platform/finder_comments.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <bit>
#include <chrono>
#include <ctime>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/managers/autorelease_pool.h"
#include "tests/support/apple_events.h"
#include "tests/support/temporary_folder.h"

namespace {

// While it is true, only sleeping advances the monotonic clock.
bool gIsClockFake = false;
timespec gFakeTime = {};

}  // namespace

// Override the C library's functions in this test program.
extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
  if (!gIsClockFake || clock != CLOCK_MONOTONIC) {
    return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
  }
  *time = gFakeTime;
  return 0;
}

extern "C" int nanosleep(const timespec* duration, timespec* rest) {
  if (!gIsClockFake) return static_cast<int>(syscall(SYS_nanosleep, duration, rest));
  const long nanoseconds = gFakeTime.tv_nsec + duration->tv_nsec;
  gFakeTime.tv_sec += duration->tv_sec + nanoseconds / 1'000'000'000;
  gFakeTime.tv_nsec = nanoseconds % 1'000'000'000;
  return 0;
}

namespace tessary::test {
namespace {

static_assert(std::endian::native == std::endian::little);

constexpr uint32_t kSignature = FourCharCode("MACS");

// ---- Texts and specifiers ----

TEST(MakeUnicodeTextDesc, HoldsUtf16Units) {
  AEDesc desc;
  const std::u16string text = u"A\u00e9\u20ac\U0001F600\xD800";
  EXPECT_EQ(noErr, MakeUnicodeTextDesc(&text, &desc));
  EXPECT_EQ("utxt[41 00 e9 00 ac 20 3d d8 00 de 00 d8]", Describe(desc));
  const std::u16string empty;
  EXPECT_EQ(noErr, MakeUnicodeTextDesc(&empty, &desc));
  EXPECT_EQ("utxt[]", Describe(desc));
  EXPECT_EQ(paramErr, MakeUnicodeTextDesc(nullptr, &desc));
  EXPECT_EQ(paramErr, MakeUnicodeTextDesc(&text, nullptr));
  EXPECT_EQ("utxt[]", Describe(desc));
}

TEST(CopyUnicodeTextAsString, ReadsText) {
  std::optional<std::u16string> text;
  EXPECT_EQ(noErr, CopyUnicodeTextAsString(MakeText(u"A\xD800\u20ac"), &text));
  EXPECT_EQ(u"A\xD800\u20ac", text);
  EXPECT_EQ(noErr, CopyUnicodeTextAsString(MakeUtf8Text("\xC3\xA9"), &text));
  EXPECT_EQ(u"\u00e9", text);
  AEDesc odd = MakeText(u"ab");
  odd.bytes.push_back('c');
  EXPECT_EQ(noErr, CopyUnicodeTextAsString(odd, &text));
  EXPECT_EQ(u"ab", text);
}

TEST(CopyUnicodeTextAsString, EmptyTextIsNotNone) {
  std::optional<std::u16string> text;
  EXPECT_EQ(noErr, CopyUnicodeTextAsString(AEDesc(), &text));
  EXPECT_FALSE(text);
  EXPECT_EQ(noErr, CopyUnicodeTextAsString(MakeText(u""), &text));
  EXPECT_EQ(u"", text);
}

TEST(CopyUnicodeTextAsString, RejectsOtherTypes) {
  std::optional<std::u16string> text = u"before";
  EXPECT_EQ(errAECoercionFail, CopyUnicodeTextAsString(MakeShort(1), &text));
  EXPECT_EQ(u"before", text);
  EXPECT_EQ(paramErr, CopyUnicodeTextAsString(MakeText(u"a"), nullptr));
}

TEST(MakeObjectSpecifierFromURL, File) {
  const CFURL url = {.path = "/a:b/c", .hasDirectoryPath = false};
  AEDesc specifier;
  EXPECT_EQ(noErr, MakeObjectSpecifierFromURL(&url, &specifier));
  EXPECT_EQ(
      "obj {want=type[65 6c 69 66] form=enum[65 6d 61 6e] "
      "seld=utxt[4c 00 69 00 6e 00 75 00 78 00 3a 00 61 00 2f 00 62 00 3a 00 63 00] from=null[]}",
      Describe(specifier));
}

TEST(MakeObjectSpecifierFromURL, Folder) {
  const CFURL folder = {.path = "/a.app", .hasDirectoryPath = true};
  AEDesc specifier;
  EXPECT_EQ(noErr, MakeObjectSpecifierFromURL(&folder, &specifier));
  EXPECT_EQ(
      "obj {want=type[6c 6f 66 63] form=enum[65 6d 61 6e] "
      "seld=utxt[4c 00 69 00 6e 00 75 00 78 00 3a 00 61 00 2e 00 61 00 70 00 70 00 3a 00] "
      "from=null[]}",
      Describe(specifier));
  const CFURL root = {.path = "/", .hasDirectoryPath = true};
  EXPECT_EQ(noErr, MakeObjectSpecifierFromURL(&root, &specifier));
  EXPECT_EQ(
      "obj {want=type[6c 6f 66 63] form=enum[65 6d 61 6e] "
      "seld=utxt[4c 00 69 00 6e 00 75 00 78 00 3a 00] from=null[]}",
      Describe(specifier));
}

TEST(MakeObjectSpecifierFromURL, RejectsBadArguments) {
  const CFURL url = {.path = "/a", .hasDirectoryPath = false};
  const CFURL none;
  AEDesc specifier = MakeShort(9);
  EXPECT_EQ(paramErr, MakeObjectSpecifierFromURL(nullptr, &specifier));
  EXPECT_EQ(paramErr, MakeObjectSpecifierFromURL(&url, nullptr));
  EXPECT_EQ(coreFoundationUnknownErr, MakeObjectSpecifierFromURL(&none, &specifier));
  EXPECT_EQ("shor[09 00]", Describe(specifier));
}

std::string ClassOf(const AEDesc& specifier) {
  AEDesc desired;
  EXPECT_EQ(noErr, AEGetKeyDesc(specifier, keyAEDesiredClass, typeType, &desired));
  return Describe(desired);
}

std::u16string PathIn(const AEDesc& specifier) {
  AEDesc path;
  EXPECT_EQ(noErr, AEGetKeyDesc(specifier, keyAEKeyData, typeUnicodeText, &path));
  std::optional<std::u16string> text;
  EXPECT_EQ(noErr, CopyUnicodeTextAsString(path, &text));
  return text.value_or(u"none");
}

struct ItemRow {
  std::string name;
  std::u16string end;
  bool isFolder = false;
};

TEST(MakeItemObjectSpecifier, ItemsOfEachKind) {
  const TemporaryFolder folder;
  const std::array rows = {
      ItemRow{"a.txt", u":a.txt"},
      ItemRow{"a:b", u":a/b"},
      ItemRow{"caf\xE9", u":caf\xDCE9"},
      ItemRow{"a\nb", u":a\nb"},
      ItemRow{".hidden", u":.hidden"},
      ItemRow{"two.dots.gz", u":two.dots.gz"},
      ItemRow{std::string(255, 'x'), u":" + std::u16string(255, u'x')},
      ItemRow{"folder", u":folder:", true},
      ItemRow{"Some.app", u":Some.app:", true},
  };
  const NSAutoreleasePool pool;
  for (const ItemRow& row : rows) {
    const std::string path = folder / row.name;
    row.isFolder ? MakeFolder(path) : WriteFile(path);
    const FSRef item = RefAt(path);
    AEDesc specifier;
    EXPECT_EQ(noErr, MakeItemObjectSpecifier(&item, &specifier)) << row.name;
    EXPECT_EQ(row.isFolder ? "type[6c 6f 66 63]" : "type[65 6c 69 66]", ClassOf(specifier));
    EXPECT_TRUE(PathIn(specifier).ends_with(row.end)) << row.name;
  }
}

TEST(MakeItemObjectSpecifier, LinkToFolderIsFile) {
  const TemporaryFolder folder;
  MakeLink(folder.path(), folder / "link");
  const FSRef item = RefAt(folder / "link");
  AEDesc specifier;
  EXPECT_EQ(noErr, MakeItemObjectSpecifier(&item, &specifier));
  EXPECT_EQ("type[65 6c 69 66]", ClassOf(specifier));
  EXPECT_TRUE(PathIn(specifier).ends_with(u":link"));
}

TEST(MakeItemObjectSpecifier, RejectsBadArguments) {
  const TemporaryFolder folder;
  WriteFile(folder / "gone");
  const FSRef gone = RefAt(folder / "gone");
  ASSERT_EQ(0, remove((folder / "gone").c_str()));
  const FSRef none;
  AEDesc specifier = MakeShort(9);
  EXPECT_EQ(paramErr, MakeItemObjectSpecifier(nullptr, &specifier));
  EXPECT_EQ(paramErr, MakeItemObjectSpecifier(&none, nullptr));
  EXPECT_EQ(coreFoundationUnknownErr, MakeItemObjectSpecifier(&none, &specifier));
  EXPECT_EQ(coreFoundationUnknownErr, MakeItemObjectSpecifier(&gone, &specifier));
  EXPECT_EQ("shor[09 00]", Describe(specifier));
}

// ---- Waiting ----

TEST(WaitIdleProc, RequestsTenTicks) {
  int32_t sleepTime = -1;
  RgnHandle mouseRegion = std::bit_cast<RgnHandle>(&sleepTime);
  EXPECT_FALSE(WaitIdleProc(&sleepTime, &mouseRegion));
  EXPECT_EQ(10, sleepTime);
  EXPECT_EQ(nullptr, mouseRegion);
  EXPECT_EQ(&WaitIdleProc, gWaitIdleUPP);
}

int gIdleCalls = 0;

bool CountIdle(int32_t* sleepTime, RgnHandle*) {
  ++gIdleCalls;
  *sleepTime = 0;
  return false;
}

// The fixture replaces the application that keeps comments. It records the events, and replies with
// `answer_` after `pollsLeft_` polls.
class FinderCommentsTest : public testing::Test {
 protected:
  FinderCommentsTest()
      : application_(kSignature, [this](const AppleEvent& event, AppleEvent* reply) {
          return Answer(event, reply);
        }) {
    gIdleCalls = 0;
    WriteFile(folder_ / "item");
    item_ = RefAt(folder_ / "item");
  }

  void AnswerParameter(AEKeyword keyword, const AEDesc& value) {
    AppleEvent reply;
    ASSERT_EQ(noErr, AECreateAppleEvent(kCoreEventClass, kAEAnswer, AEDesc(), 1, 0, &reply));
    if (answer_) reply = *answer_;
    ASSERT_EQ(noErr, AEPutParamDesc(&reply, keyword, value));
    answer_ = reply;
  }

  // Set the reply to the next events: a direct object, an error, both, or the null reply.
  void AnswerDirectObject(const AEDesc& value) { AnswerParameter(keyDirectObject, value); }
  void AnswerError(const AEDesc& number) { AnswerParameter(keyErrorNumber, number); }
  void AnswerNull() { answer_ = AppleEvent(); }

  Status Get() { return GetFinderComment(&item_, &comment_, CountIdle); }
  Status Set(const std::u16string& comment) const {
    return SetFinderComment(&item_, &comment, CountIdle);
  }

  // The description of the item's specifier.
  std::string ItemSpecifier() const {
    AEDesc specifier;
    EXPECT_EQ(noErr, MakeItemObjectSpecifier(&item_, &specifier));
    return Describe(specifier);
  }

  TemporaryFolder folder_;
  FSRef item_;
  std::optional<std::u16string> comment_ = std::nullopt;
  int pollsLeft_ = 0;
  std::vector<AppleEvent> events_ = {};

 private:
  bool Answer(const AppleEvent& event, AppleEvent* reply) {
    if (pollsLeft_-- > 0) return false;
    events_.push_back(event);
    if (answer_) *reply = *answer_;
    return true;
  }

  std::optional<AppleEvent> answer_ = std::nullopt;
  const AnsweringApplication application_;
};

// The end of an event's description. The return ID before it differs between events.
constexpr char kTransaction[] = " tran=long[00 00 00 00]}";

TEST_F(FinderCommentsTest, GetSendsEvent) {
  AnswerDirectObject(MakeText(u"text"));
  EXPECT_EQ(noErr, Get());
  ASSERT_EQ(1U, events_.size());
  EXPECT_EQ(
      "aevt{----=obj {form=enum[70 6f 72 70] want=type[70 6f 72 70] seld=type[74 6d 6f 63] from=" +
          ItemSpecifier() + "}}",
      Describe(events_[0]));
  const std::string attributes = DescribeAttributes(events_[0]);
  EXPECT_TRUE(attributes.starts_with(
      "{evcl=type[65 72 6f 63] evid=type[64 74 65 67] addr=sign[53 43 41 4d] rtid=long["))
      << attributes;
  EXPECT_TRUE(attributes.ends_with(std::string("00 00]") + kTransaction)) << attributes;
}

TEST_F(FinderCommentsTest, SetSendsEvent) {
  EXPECT_EQ(noErr, Set(u"A\u20ac"));
  ASSERT_EQ(1U, events_.size());
  EXPECT_EQ(
      "aevt{----=obj {form=enum[70 6f 72 70] want=type[70 6f 72 70] seld=type[74 6d 6f 63] from=" +
          ItemSpecifier() + "} data=utxt[41 00 ac 20]}",
      Describe(events_[0]));
  const std::string attributes = DescribeAttributes(events_[0]);
  EXPECT_TRUE(attributes.starts_with(
      "{evcl=type[65 72 6f 63] evid=type[64 74 65 73] addr=sign[53 43 41 4d] rtid=long["))
      << attributes;
  EXPECT_TRUE(attributes.ends_with(std::string("00 00]") + kTransaction)) << attributes;
}

TEST_F(FinderCommentsTest, EmptyComment) {
  AnswerDirectObject(MakeText(u""));
  EXPECT_EQ(noErr, Get());
  EXPECT_EQ(u"", comment_);
  EXPECT_EQ(u"", CopyFinderCommentOrNull(item_));
  events_.clear();
  EXPECT_EQ(noErr, Set(u""));
  EXPECT_TRUE(Describe(events_.at(0)).ends_with(" data=utxt[]}"));
}

TEST_F(FinderCommentsTest, LongComment) {
  std::u16string text;
  for (char16_t i = 0; i < 4000; ++i) text.push_back(static_cast<char16_t>(0x3041 + i));
  AnswerDirectObject(MakeText(text));
  EXPECT_EQ(noErr, Get());
  EXPECT_EQ(text, comment_);
  EXPECT_EQ(noErr, Set(text));
  AEDesc data;
  ASSERT_EQ(noErr, AEGetParamDesc(events_.at(1), keyAEData, typeUnicodeText, &data));
  EXPECT_EQ(Describe(MakeText(text)), Describe(data));
}

TEST_F(FinderCommentsTest, GetRejectsBadArguments) {
  EXPECT_EQ(paramErr, GetFinderComment(&item_, &comment_, nullptr));
  EXPECT_EQ(paramErr, GetFinderComment(&item_, nullptr, CountIdle));
  EXPECT_EQ(paramErr, GetFinderComment(nullptr, &comment_, CountIdle));
  const FSRef none;
  EXPECT_EQ(coreFoundationUnknownErr, GetFinderComment(&none, &comment_, CountIdle));
  EXPECT_TRUE(events_.empty());
  EXPECT_FALSE(comment_);
}

TEST_F(FinderCommentsTest, SetRejectsBadArguments) {
  const std::u16string text = u"text";
  const FSRef none;
  EXPECT_EQ(paramErr, SetFinderComment(nullptr, &text, CountIdle));
  EXPECT_EQ(paramErr, SetFinderComment(&item_, nullptr, CountIdle));
  EXPECT_EQ(coreFoundationUnknownErr, SetFinderComment(&none, &text, CountIdle));
  EXPECT_TRUE(events_.empty());
}

TEST_F(FinderCommentsTest, SetWithoutIdleRoutineDoesNotWait) {
  pollsLeft_ = 1;
  AnswerError(MakeShort(-43));
  const std::u16string text = u"text";
  EXPECT_EQ(noErr, SetFinderComment(&item_, &text, nullptr));
  EXPECT_TRUE(events_.empty());
  EXPECT_EQ(fnfErr, Get());
  EXPECT_EQ(2U, events_.size());
}

TEST_F(FinderCommentsTest, WaitsForLateReply) {
  AnswerDirectObject(MakeText(u"late"));
  pollsLeft_ = 500;
  EXPECT_EQ(noErr, Get());
  EXPECT_EQ(u"late", comment_);
  EXPECT_EQ(500, gIdleCalls);
  pollsLeft_ = 500;
  EXPECT_EQ(noErr, Set(u"text"));
  EXPECT_EQ(1000, gIdleCalls);
}

TEST_F(FinderCommentsTest, CopyWaitsForLateReply) {
  AnswerDirectObject(MakeText(u"late"));
  pollsLeft_ = 2;
  EXPECT_EQ(u"late", CopyFinderCommentOrNull(item_));
}

// Longer than any time-out of the event's sender, which is one minute by default.
TEST_F(FinderCommentsTest, CopyPollsEveryTenTicksWithoutEnd) {
  constexpr int kPolls = 1000;
  AnswerDirectObject(MakeText(u"late"));
  pollsLeft_ = kPolls;
  gIsClockFake = true;
  const auto begin = std::chrono::steady_clock::now();
  const std::optional<std::u16string> comment = CopyFinderCommentOrNull(item_);
  const auto waited = std::chrono::steady_clock::now() - begin;
  gIsClockFake = false;
  EXPECT_EQ(u"late", comment);
  // A tick is a sixtieth of a second.
  const std::chrono::duration<double> expected(kPolls * 10 / 60.0);
  EXPECT_NEAR(expected.count(), std::chrono::duration<double>(waited).count(), 0.001);
}

TEST_F(FinderCommentsTest, ReturnsAvailableReply) {
  AnswerDirectObject(MakeText(u"text"));
  EXPECT_EQ(noErr, Get());
  EXPECT_EQ(noErr, Set(u"text"));
  EXPECT_EQ(0, gIdleCalls);
}

struct ErrorRow {
  AEDesc number;
  Status status;
};

TEST_F(FinderCommentsTest, ReturnsReportedError) {
  const std::array rows = {
      ErrorRow{MakeShort(-1728), errAENoSuchObject},
      ErrorRow{MakeLong(-43), fnfErr},
      ErrorRow{MakeShort(-1701), errAEDescNotFound},
      ErrorRow{MakeShort(32767), static_cast<Status>(32767)},
      ErrorRow{MakeLong(-40000), errAECoercionFail},
      ErrorRow{MakeText(u"-43"), errAECoercionFail},
  };
  AnswerDirectObject(MakeText(u"text"));
  for (const ErrorRow& row : rows) {
    AnswerError(row.number);
    EXPECT_EQ(row.status, Get()) << Describe(row.number);
    EXPECT_EQ(row.status, Set(u"text")) << Describe(row.number);
    EXPECT_FALSE(CopyFinderCommentOrNull(item_)) << Describe(row.number);
  }
  EXPECT_FALSE(comment_);
}

TEST_F(FinderCommentsTest, ZeroAndMissingErrorMeanSuccess) {
  AnswerDirectObject(MakeText(u"text"));
  EXPECT_EQ(noErr, Get());
  EXPECT_EQ(noErr, Set(u"text"));
  for (const AEDesc& number : {MakeShort(0), MakeLong(0), AEDesc()}) {
    AnswerError(number);
    EXPECT_EQ(noErr, Get()) << Describe(number);
    EXPECT_EQ(u"text", std::exchange(comment_, std::nullopt));
    EXPECT_EQ(noErr, Set(u"text")) << Describe(number);
  }
}

TEST_F(FinderCommentsTest, NullReplyMeansNoComment) {
  AnswerNull();
  comment_ = u"before";
  EXPECT_EQ(noErr, Get());
  EXPECT_EQ(u"before", comment_);
  EXPECT_FALSE(CopyFinderCommentOrNull(item_));
  EXPECT_EQ(noErr, Set(u"text"));
}

TEST_F(FinderCommentsTest, NullObjectMeansNoComment) {
  AnswerDirectObject(AEDesc());
  EXPECT_EQ(noErr, Get());
  EXPECT_FALSE(comment_);
  EXPECT_FALSE(CopyFinderCommentOrNull(item_));
}

TEST_F(FinderCommentsTest, MissingObjectIsError) {
  EXPECT_EQ(errAEDescNotFound, Get());
  EXPECT_EQ(noErr, Set(u"text"));
}

TEST_F(FinderCommentsTest, RejectsObjectThatIsNotText) {
  AnswerDirectObject(MakeShort(5));
  EXPECT_EQ(errAECoercionFail, Get());
  EXPECT_FALSE(comment_);
}

TEST_F(FinderCommentsTest, SendForDirectObjectOfAnyType) {
  AppleEvent event;
  ASSERT_EQ(noErr, AECreateAppleEvent(kAECoreSuite, kAEGetData,
                                      MakeCode(typeApplSignature, kSignature), 1, 0, &event));
  AnswerDirectObject(MakeLong(5));
  AEDesc object;
  EXPECT_EQ(noErr, SendForDirectObject(CountIdle, event, typeSInt16, &object));
  EXPECT_EQ("shor[05 00]", Describe(object));
  EXPECT_EQ(paramErr, SendForDirectObject(nullptr, event, typeSInt16, &object));
  EXPECT_EQ(paramErr, SendForDirectObject(CountIdle, event, typeSInt16, nullptr));
  EXPECT_EQ(1U, events_.size());
  AnswerNull();
  EXPECT_EQ(noErr, SendForDirectObject(CountIdle, event, typeSInt16, &object));
  EXPECT_EQ("null[]", Describe(object));
}

TEST(FinderComments, FailWithoutAgent) {
  RemoveAnsweringApplication(kSignature);
  const TemporaryFolder folder;
  const FSRef item = RefAt(folder.path());
  std::optional<std::u16string> comment;
  EXPECT_EQ(procNotFound, GetFinderComment(&item, &comment, CountIdle));
  const std::u16string text = u"text";
  EXPECT_EQ(procNotFound, SetFinderComment(&item, &text, CountIdle));
  EXPECT_EQ(procNotFound, SetFinderComment(&item, &text, nullptr));
  EXPECT_FALSE(CopyFinderCommentOrNull(item));
}

}  // namespace
}  // namespace tessary::test
