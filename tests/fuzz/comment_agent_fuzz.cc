#include <filesystem>
#include <string>

#include "platform/finder_comments.h"
#include "platform/linux/apple_events/comment_agent.h"
#include "platform/linux/catalog/hfs_path.h"
#include "platform/managers/apple_events.h"
#include "platform/managers/autorelease_pool.h"
#include "platform/managers/text.h"
#include "tests/fuzz/fuzz.h"

// The comment agent before specifiers of hostile bytes: it answers each, it sets a comment of the
// very item that was named or of none, and a comment that it has set it gives back.
namespace tessary::test {
namespace {

constexpr uint32_t kSignature = FourCharCode("MACS");
constexpr std::string_view kItem = "folder/item.txt";

AEDesc MakeDesc(DescType type, std::string_view bytes) {
  AEDesc desc;
  Require(AECreateDesc(type, bytes.data(), bytes.size(), &desc) == noErr, "a descriptor is made");
  return desc;
}

AEDesc MakeCode(DescType type, uint32_t code) {
  return MakeDesc(type, {reinterpret_cast<const char*>(&code), sizeof(code)});
}

AEDesc MakeText(std::u16string_view text) {
  return MakeDesc(typeUnicodeText, {reinterpret_cast<const char*>(text.data()), text.size() * 2});
}

// What an input says of the event.
struct HostileEvent {
  uint8_t shape = 0;  // bits: what of it is not as it should be
  bool isFolder = false;
  std::u16string path;     // in the style of HFS
  std::u16string comment;  // empty to ask for it
};

AEDesc MakeItem(const HostileEvent& hostile) {
  const uint32_t itemClass = hostile.isFolder ? cFolder : cFile;
  AEDesc text = MakeText(hostile.path);
  if ((hostile.shape & 1U) != 0) text.bytes.push_back(0x61);
  if ((hostile.shape & 2U) != 0) text.descriptorType = typeUTF8Text;
  const AEDesc container = (hostile.shape & 4U) != 0 ? MakeCode(typeType, cFolder) : AEDesc();
  AEDesc item;
  const uint32_t form = (hostile.shape & 8U) != 0 ? formPropertyID : formName;
  Require(CreateObjSpecifier(itemClass, container, form, text, &item) == noErr, "a specifier");
  if ((hostile.shape & 16U) != 0) item.items.pop_back();
  return item;
}

AppleEvent MakeEvent(const HostileEvent& hostile) {
  const AEDesc property = MakeCode(typeType, FourCharCode("comt"));
  AEDesc specifier;
  Require(CreateObjSpecifier(cProperty, MakeItem(hostile), formPropertyID, property, &specifier) ==
              noErr,
          "a specifier is made");
  if ((hostile.shape & 32U) != 0) specifier.descriptorType = typeAERecord;
  AppleEvent event;
  const uint32_t id = hostile.comment.empty() ? kAEGetData : kAESetData;
  Require(AECreateAppleEvent(kAECoreSuite, id, MakeCode(typeApplSignature, kSignature),
                             kAutoGenerateReturnID, kAnyTransactionID, &event) == noErr,
          "an event is made");
  Require(AEPutParamDesc(&event, keyDirectObject, specifier) == noErr, "the object is put");
  if (!hostile.comment.empty()) {
    Require(AEPutParamDesc(&event, keyAEData, MakeText(hostile.comment)) == noErr, "text is put");
  }
  return event;
}

// Sends the event and tells what the agent answered; a bad reply number is no answer.
Status Ask(const HostileEvent& hostile, std::optional<std::u16string>* comment) {
  AppleEvent reply;
  const Status sent = AESend(MakeEvent(hostile), &reply, AESendMode::kAEWaitReply,
                             AESendPriority::kAENormalPriority, kNoTimeOut, gWaitIdleUPP, nullptr);
  Require(sent == noErr, "the agent answers every event");
  const Status status = GetReplyErrorNumber(reply);
  AEDesc text;
  if (status != noErr || !hostile.comment.empty()) return status;
  Require(AEGetParamDesc(reply, keyDirectObject, typeWildCard, &text) == noErr,
          "an answer has a comment or tells that there is none");
  Require(CopyUnicodeTextAsString(text, comment) == noErr, "a comment is text");
  return status;
}

std::optional<std::u16string> CommentAt(const std::string& path) {
  std::optional<std::u16string> comment;
  FSRef item;
  Require(FSPathMakeRef(path.c_str(), &item) == noErr, "the item is there");
  Require(GetFinderComment(&item, &comment, gWaitIdleUPP) == noErr, "the item's comment is told");
  return comment;
}

const std::string& ScratchFolder() {
  static const std::string gFolder = [] {
    std::filesystem::create_directories(ScratchPath("folder"));
    WriteScratchFile(ScratchPath(std::string(kItem)), "");
    std::filesystem::create_symlink("folder", ScratchPath("link"));
    RegisterCommentAgent();
    return std::filesystem::canonical(ScratchPath("")).string();
  }();
  return gFolder;
}

std::u16string UnitsOf(std::string_view bytes) {
  std::u16string units;
  for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
    units += static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) << 8U |
                                   static_cast<unsigned char>(bytes[i + 1]));
  }
  return units;
}

// Comments are only set below the folder of ours: nothing on the machine is to be changed, and it
// is what is to be shown.
void TrySetting(HostileEvent hostile) {
  const std::string item = ScratchFolder() + "/" + std::string(kItem);
  hostile.path = HfsPath(ScratchFolder()) + u":" + hostile.path;
  const auto before = CommentAt(item);
  std::optional<std::u16string> unused;
  const Status status = Ask(hostile, &unused);
  const auto after = CommentAt(item);
  const auto path = PosixPath(hostile.path);
  std::error_code error;
  const bool isNamed = path && std::filesystem::equivalent(*path, item, error);
  Require(after == before || (status == noErr && isNamed), "no other item's comment changes");
  if (status != noErr) return;
  HostileEvent question = hostile;
  question.comment.clear();
  std::optional<std::u16string> comment;
  Require(Ask(question, &comment) == noErr && comment.has_value(),
          "a comment that was set is told");
  Require(Utf8FromUtf16(*comment) == Utf8FromUtf16(hostile.comment), "it is the one that was set");
}

}  // namespace

// A byte for the event's shape, one that tells folders from files and text from units, a line with
// the comment, and the path.
void TryInput(std::string_view input) {
  const NSAutoreleasePool pool;
  (void)ScratchFolder();
  HostileEvent hostile;
  hostile.shape = TakeInputByte(&input);
  const uint8_t kind = TakeInputByte(&input);
  hostile.isFolder = (kind & 1U) != 0;
  hostile.comment = Utf16FromUtf8(TakeInputLine(&input));
  hostile.path = (kind & 2U) != 0 ? UnitsOf(input) : Utf16FromUtf8(input);
  if (!hostile.comment.empty()) {
    TrySetting(hostile);
    return;
  }
  std::optional<std::u16string> comment;
  // Whether there is such an item is not known.
  (void)Ask(hostile, &comment);
}

}  // namespace tessary::test
