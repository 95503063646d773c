#include <filesystem>
#include <string>

#include "platform/finder_comments.h"
#include "platform/linux/apple_events/comment_agent.h"
#include "platform/linux/catalog/hfs_path.h"
#include "platform/managers/apple_events.h"
#include "platform/managers/autorelease_pool.h"
#include "platform/managers/text.h"
#include "tests/fuzz/fuzz.h"

// Events of any content to the comment agent: it answers every event, it changes the comment of no
// item but the specified one, and a comment that it has set can be read.
namespace tessary::test {
namespace {

constexpr uint32_t kSignature = FourCharCode("MACS");
constexpr std::string_view kItem = "folder/item.txt";

AEDesc MakeDesc(DescType type, std::string_view bytes) {
  AEDesc desc;
  Require(AECreateDesc(type, bytes.data(), bytes.size(), &desc) == noErr,
          "a descriptor can be created");
  return desc;
}

AEDesc MakeCode(DescType type, uint32_t code) {
  return MakeDesc(type, {reinterpret_cast<const char*>(&code), sizeof(code)});
}

AEDesc MakeText(std::u16string_view text) {
  return MakeDesc(typeUnicodeText, {reinterpret_cast<const char*>(text.data()), text.size() * 2});
}

// The event that an input describes.
struct HostileEvent {
  uint8_t shape = 0;  // one bit per malformed part
  bool isFolder = false;
  std::u16string path;     // HFS-style
  std::u16string comment;  // to set; empty to get the comment
};

AEDesc MakeItem(const HostileEvent& hostile) {
  const uint32_t itemClass = hostile.isFolder ? cFolder : cFile;
  AEDesc text = MakeText(hostile.path);
  if ((hostile.shape & 1U) != 0) text.bytes.push_back(0x61);
  if ((hostile.shape & 2U) != 0) text.descriptorType = typeUTF8Text;
  const AEDesc container = (hostile.shape & 4U) != 0 ? MakeCode(typeType, cFolder) : AEDesc();
  AEDesc item;
  const uint32_t form = (hostile.shape & 8U) != 0 ? formPropertyID : formName;
  Require(CreateObjSpecifier(itemClass, container, form, text, &item) == noErr,
          "a specifier can be created");
  if ((hostile.shape & 16U) != 0) item.items.pop_back();
  return item;
}

AppleEvent MakeEvent(const HostileEvent& hostile) {
  const AEDesc property = MakeCode(typeType, FourCharCode("comt"));
  AEDesc specifier;
  Require(CreateObjSpecifier(cProperty, MakeItem(hostile), formPropertyID, property, &specifier) ==
              noErr,
          "a specifier can be created");
  if ((hostile.shape & 32U) != 0) specifier.descriptorType = typeAERecord;
  AppleEvent event;
  const uint32_t id = hostile.comment.empty() ? kAEGetData : kAESetData;
  Require(AECreateAppleEvent(kAECoreSuite, id, MakeCode(typeApplSignature, kSignature),
                             kAutoGenerateReturnID, kAnyTransactionID, &event) == noErr,
          "an event can be created");
  Require(AEPutParamDesc(&event, keyDirectObject, specifier) == noErr, "a parameter can be put");
  if (!hostile.comment.empty()) {
    Require(AEPutParamDesc(&event, keyAEData, MakeText(hostile.comment)) == noErr,
            "a parameter can be put");
  }
  return event;
}

// Sends the event and returns the error number of the reply. Writes the comment on success of a get
// event.
Status Send(const HostileEvent& hostile, std::optional<std::u16string>* comment) {
  AppleEvent reply;
  const Status sent = AESend(MakeEvent(hostile), &reply, AESendMode::kAEWaitReply,
                             AESendPriority::kAENormalPriority, kNoTimeOut, gWaitIdleUPP, nullptr);
  Require(sent == noErr, "the agent answers every event");
  const Status status = GetReplyErrorNumber(reply);
  AEDesc text;
  if (status != noErr || !hostile.comment.empty()) return status;
  Require(AEGetParamDesc(reply, keyDirectObject, typeWildCard, &text) == noErr,
          "a reply has a comment or a null descriptor");
  Require(CopyUnicodeTextAsString(text, comment) == noErr, "a comment is text");
  return status;
}

std::optional<std::u16string> CommentAt(const std::string& path) {
  std::optional<std::u16string> comment;
  FSRef item;
  Require(FSPathMakeRef(path.c_str(), &item) == noErr, "the item exists");
  Require(GetFinderComment(&item, &comment, gWaitIdleUPP) == noErr,
          "the item's comment can be read");
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

// Sets a comment. Prefixes the path with the scratch directory, so that nothing else on the machine
// changes.
void CheckSetting(HostileEvent hostile) {
  const std::string item = ScratchFolder() + "/" + std::string(kItem);
  hostile.path = HfsPath(ScratchFolder()) + u":" + hostile.path;
  const auto before = CommentAt(item);
  std::optional<std::u16string> unused;
  const Status status = Send(hostile, &unused);
  const auto after = CommentAt(item);
  const auto path = PosixPath(hostile.path);
  std::error_code error;
  const bool isSpecified = path && std::filesystem::equivalent(*path, item, error);
  Require(after == before || (status == noErr && isSpecified), "no other item's comment changes");
  if (status != noErr) return;
  HostileEvent get = hostile;
  get.comment.clear();
  std::optional<std::u16string> comment;
  Require(Send(get, &comment) == noErr && comment.has_value(),
          "a comment that was set can be read");
  Require(Utf8FromUtf16(*comment) == Utf8FromUtf16(hostile.comment),
          "the comment is the one that was set");
}

}  // namespace

// The input is a byte with the event's shape, a byte with two bits (1: the item is a folder; 2: the
// path is UTF-16 units), a line with the comment, and the path.
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
    CheckSetting(hostile);
    return;
  }
  std::optional<std::u16string> comment;
  // The status depends on whether the item exists.
  (void)Send(hostile, &comment);
}

}  // namespace tessary::test
