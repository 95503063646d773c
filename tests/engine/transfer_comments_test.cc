#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/xattr.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "engine/transfer.h"
#include "platform/linux/apple_events/comment_agent.h"
#include "platform/managers/apple_events.h"
#include "tests/engine/engine_fixture.h"
#include "tests/support/apple_events.h"
#include "tests/support/file_operations.h"

// The comment of a transferred item.
namespace tessary::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr uint32_t kSignature = FourCharCode("MACS");
constexpr char kAttribute[] = "user.xdg.comment";
constexpr char kCarryComments[] = "PreserveComments = false\n";

class TransferCommentsTest : public EngineFixture {
 protected:
  ~TransferCommentsTest() override { RemoveAnsweringApplication(kSignature); }

  Status Transfer(const std::string& name, bool copy) {
    return TransferItem(RefAt(InSource(name)), RefAt(destination_), &newItem_, copy);
  }

  // Replaces the application that keeps the comments. `answer` receives each event's ID and the
  // reply to fill in, and returns whether it has answered. events_ records each answered event, and
  // where a.txt is at that time.
  void AnswerWith(std::function<bool(AEEventID, AppleEvent*)> answer) {
    RegisterAnsweringApplication(
        kSignature, [this, answer = std::move(answer)](const AppleEvent& event, AppleEvent* reply) {
          AEDesc code;
          AEEventID id = 0;
          EXPECT_EQ(noErr, AEGetAttributeDesc(event, keyEventIDAttr, typeType, &code));
          EXPECT_EQ(noErr, AEGetDescData(code, &id, sizeof(id)));
          const bool isAnswered = answer(id, reply);
          if (!isAnswered) return false;
          events_.push_back((id == kAEGetData ? "get" : "set") +
                            std::string(Exists(InSource("a.txt")) ? " in source" : "") +
                            (Exists(InDestination("a.txt")) ? " in destination" : ""));
          return true;
        });
  }

  static bool Put(AEKeyword keyword, const AEDesc& value, AppleEvent* reply) {
    return AEPutParamDesc(reply, keyword, value) == noErr;
  }

  FSRef newItem_;
  std::vector<std::string> events_ = {};
};

TEST_F(TransferCommentsTest, ReadsBeforeMoveAndWritesAfter) {
  WriteFile(InSource("a.txt"));
  preferences_.Write(kCarryComments);
  AnswerWith([](AEEventID id, AppleEvent* reply) {
    return id != kAEGetData || Put(keyDirectObject, MakeText(u"text"), reply);
  });
  EXPECT_EQ(noErr, Transfer("a.txt", /*copy=*/false));
  EXPECT_THAT(events_, ElementsAre("get in source", "set in destination"));
  EXPECT_THAT(Messages(), ElementsAre(MovedLine("a.txt", "destination")));
}

TEST_F(TransferCommentsTest, ReadsAfterExistingItemIsDeleted) {
  WriteFile(InSource("a.txt"));
  WriteFile(InDestination("a.txt"));
  preferences_.Write(std::string(kCarryComments) + "ReplaceFilesBySameName = true\n");
  AnswerWith([](AEEventID id, AppleEvent* reply) {
    return id != kAEGetData || Put(keyDirectObject, MakeText(u"text"), reply);
  });
  EXPECT_EQ(noErr, Transfer("a.txt", /*copy=*/false));
  EXPECT_THAT(events_, ElementsAre("get in source", "set in destination"));
}

TEST_F(TransferCommentsTest, SendsNothingByDefault) {
  AnswerWith([](AEEventID, AppleEvent*) { return true; });
  for (const char* preferences : {"", "PreserveComments = true\n", "PreserveComments = 0\n"}) {
    WriteFile(InSource("a.txt"));
    preferences_.Write(preferences);
    EXPECT_EQ(noErr, Transfer("a.txt", /*copy=*/true)) << preferences;
    EXPECT_THAT(events_, IsEmpty()) << preferences;
  }
}

TEST_F(TransferCommentsTest, WritesNothingWithoutComment) {
  WriteFile(InSource("a.txt"));
  preferences_.Write(kCarryComments);
  AnswerWith([](AEEventID, AppleEvent* reply) { return Put(keyDirectObject, AEDesc(), reply); });
  EXPECT_EQ(noErr, Transfer("a.txt", /*copy=*/true));
  EXPECT_THAT(events_, ElementsAre("get in source"));
}

TEST_F(TransferCommentsTest, WritesNothingAfterReadError) {
  WriteFile(InSource("a.txt"));
  preferences_.Write(kCarryComments);
  AnswerWith([](AEEventID, AppleEvent* reply) {
    return Put(keyErrorNumber, MakeShort(-1728), reply) &&
           Put(keyDirectObject, MakeText(u"text"), reply);
  });
  EXPECT_EQ(noErr, Transfer("a.txt", /*copy=*/true));
  EXPECT_THAT(events_, ElementsAre("get in source"));
  EXPECT_THAT(Messages(), ElementsAre(MovedLine("a.txt", "destination")));
}

TEST_F(TransferCommentsTest, NoErrorWithoutAgent) {
  WriteFile(InSource("a.txt"));
  preferences_.Write(kCarryComments);
  EXPECT_EQ(noErr, Transfer("a.txt", /*copy=*/false));
  EXPECT_THAT(Messages(), ElementsAre(MovedLine("a.txt", "destination")));
}

TEST_F(TransferCommentsTest, WritesNothingAfterFailedMove) {
  WriteFile(InSource("a.txt"));
  preferences_.Write(kCarryComments);
  AnswerWith([this](AEEventID, AppleEvent* reply) {
    // The item disappears between reading its comment and the move.
    std::filesystem::remove(InSource("a.txt"));
    return Put(keyDirectObject, MakeText(u"text"), reply);
  });
  EXPECT_EQ(fnfErr, Transfer("a.txt", /*copy=*/false));
  EXPECT_THAT(events_, ElementsAre("get"));
  EXPECT_THAT(Messages(), ElementsAre("An error occurred: -43"));
}

TEST_F(TransferCommentsTest, ReturnsStatusOfWriting) {
  preferences_.Write(kCarryComments);
  AnswerWith([](AEEventID id, AppleEvent* reply) {
    return id == kAEGetData ? Put(keyDirectObject, MakeText(u"text"), reply)
                            : Put(keyErrorNumber, MakeShort(-34), reply);
  });
  WriteFile(InSource("a.txt"));
  EXPECT_EQ(dskFulErr, Transfer("a.txt", /*copy=*/false));
  EXPECT_FALSE(Exists(InSource("a.txt")));
  EXPECT_TRUE(Exists(InDestination("a.txt")));
  EXPECT_EQ(noErr, FSCompareFSRefs(newItem_, RefAt(InDestination("a.txt"))));
  EXPECT_THAT(Messages(), ElementsAre(MovedLine("a.txt", "destination")));
}

TEST_F(TransferCommentsTest, RunReportsFailedWriting) {
  preferences_.Write(std::string(kCarryComments) + "FileOperation = 1\n");
  AnswerWith([](AEEventID id, AppleEvent* reply) {
    return id == kAEGetData ? Put(keyDirectObject, MakeText(u"text"), reply)
                            : Put(keyErrorNumber, MakeShort(-34), reply);
  });
  WriteFile(InSource("a.txt"));
  Run();
  EXPECT_TRUE(Exists(InDestination("txt/a.txt")));
  EXPECT_THAT(MessagesAfterFirst(),
              ElementsAre(MovedLine("a.txt", "txt"),
                          NotMovedLine(InSource("a.txt"), InDestination("txt"))));
  EXPECT_THAT(outcomes_[InSource("a.txt")], ElementsAre(ItemOutcome::kCommentNotCopied));
}

TEST_F(TransferCommentsTest, WaitsForLateReply) {
  WriteFile(InSource("a.txt"));
  preferences_.Write(kCarryComments);
  int calls = 0;
  AnswerWith([&calls](AEEventID id, AppleEvent* reply) {
    if (++calls % 2 == 1) return false;
    return id != kAEGetData || Put(keyDirectObject, MakeText(u"text"), reply);
  });
  EXPECT_EQ(noErr, Transfer("a.txt", /*copy=*/false));
  EXPECT_EQ(4, calls);
  EXPECT_THAT(events_, ElementsAre("get in source", "set in destination"));
}

TEST_F(TransferCommentsTest, KeepsBytesThatAreNotUtf8) {
  // The last three are the form of a lone surrogate.
  const std::string comment = "a\xff\xc3z\xed\xa0\x80";
  RegisterCommentAgent();
  WriteFile(InSource("a.txt"));
  if (!SetAttribute(InSource("a.txt"), kAttribute, comment)) {
    GTEST_SKIP() << "needs extended attributes";
  }
  preferences_.Write(kCarryComments);
  EXPECT_EQ(noErr, Transfer("a.txt", /*copy=*/true));
  EXPECT_EQ(comment, AttributeAt(InDestination("a.txt"), kAttribute));
}

TEST_F(TransferCommentsTest, KeepsCommentUnderDistinctName) {
  RegisterCommentAgent();
  WriteFile(InSource("a.txt"), "new");
  if (!SetAttribute(InSource("a.txt"), kAttribute, "of the new one")) {
    GTEST_SKIP() << "needs extended attributes";
  }
  WriteFile(InDestination("a.txt"), "old");
  ASSERT_TRUE(SetAttribute(InDestination("a.txt"), kAttribute, "of the old one"));
  preferences_.Write(kCarryComments);
  EXPECT_EQ(noErr, Transfer("a.txt", /*copy=*/true));
  std::vector<std::string> comments;
  for (const std::string& name : NamesIn(destination_)) {
    std::string text(100, '\0');
    const ssize_t size =
        getxattr(InDestination(name).c_str(), kAttribute, text.data(), text.size());
    ASSERT_GE(size, 0) << name;
    comments.push_back(ReadFile(InDestination(name)) + ": " +
                       text.substr(0, static_cast<size_t>(size)));
  }
  EXPECT_THAT(comments,
              testing::UnorderedElementsAre("old: of the old one", "new: of the new one"));
}

}  // namespace
}  // namespace tessary::test
