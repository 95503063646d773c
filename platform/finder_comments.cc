#include "platform/finder_comments.h"

#include <string_view>

#include "platform/managers/threads.h"

namespace tessary {
namespace {

constexpr uint32_t kFinderSignature = FourCharCode("MACS");
constexpr int32_t kIdleTicks = 10;
constexpr char16_t kFolderEnd = u':';

constexpr std::string_view kGetParameters =
    "'----':obj {form:prop,want:type(prop),seld:type(comt),from:(@)}";
constexpr std::string_view kSetParameters =
    "'----':obj {form:prop,want:type(prop),seld:type(comt),from:(@)},data:(@)";

Status BuildFinderEvent(AEEventID id, std::string_view parameters,
                        std::initializer_list<const AEDesc*> substitutes, AppleEvent* event) {
  return AEBuildAppleEvent(kAECoreSuite, id, typeApplSignature, &kFinderSignature,
                           sizeof(kFinderSignature), kAutoGenerateReturnID, kAnyTransactionID,
                           parameters, substitutes, event);
}

Status SendAndWait(AEIdleUPP idle, const AppleEvent& event, AppleEvent* reply) {
  return AESend(event, reply, AESendMode::kAEWaitReply, AESendPriority::kAENormalPriority,
                kNoTimeOut, idle, nullptr);
}

}  // namespace

const AEIdleUPP gWaitIdleUPP = NewAEIdleUPP(WaitIdleProc);

bool WaitIdleProc(int32_t* sleepTime, RgnHandle* mouseRegion) {
  *sleepTime = kIdleTicks;
  *mouseRegion = nullptr;
  YieldToAnyThread();
  return false;
}

Status GetFinderComment(const FSRef* item, std::optional<std::u16string>* comment, AEIdleUPP idle) {
  // A reply can only be awaited with an idle routine, and a comment is nothing without its reply.
  if (idle == nullptr || comment == nullptr) return paramErr;
  AEDesc specifier;
  Status status = MakeItemObjectSpecifier(item, &specifier);
  if (status != noErr) return status;
  AppleEvent event;
  status = BuildFinderEvent(kAEGetData, kGetParameters, {&specifier}, &event);
  if (status != noErr) return status;
  AEDesc text;
  status = SendForDirectObject(idle, event, typeUnicodeText, &text);
  if (status != noErr) return status;
  return CopyUnicodeTextAsString(text, comment);
}

Status SetFinderComment(const FSRef* item, const std::u16string* comment, AEIdleUPP idle) {
  AEDesc specifier;
  Status status = MakeItemObjectSpecifier(item, &specifier);
  if (status != noErr) return status;
  AEDesc text;
  status = MakeUnicodeTextDesc(comment, &text);
  if (status != noErr) return status;
  AppleEvent event;
  status = BuildFinderEvent(kAESetData, kSetParameters, {&specifier, &text}, &event);
  if (status != noErr) return status;
  return SendFinderEvent(idle, event);
}

std::optional<std::u16string> CopyFinderCommentOrNull(const FSRef& item) {
  std::optional<std::u16string> comment;
  if (GetFinderComment(&item, &comment, gWaitIdleUPP) != noErr) return std::nullopt;
  return comment;
}

Status MakeItemObjectSpecifier(const FSRef* item, AEDesc* specifier) {
  if (item == nullptr || specifier == nullptr) return paramErr;
  const std::optional<CFURL> url = CFURLCreateFromFSRef(*item);
  if (!url) return coreFoundationUnknownErr;
  return MakeObjectSpecifierFromURL(&*url, specifier);
}

Status MakeObjectSpecifierFromURL(const CFURL* url, AEDesc* specifier) {
  if (url == nullptr || specifier == nullptr) return paramErr;
  const bool isFolder = CFURLHasDirectoryPath(*url);
  std::optional<std::u16string> path =
      CFURLCopyFileSystemPath(*url, CFURLPathStyle::kCFURLHFSPathStyle);
  if (!path) return coreFoundationUnknownErr;
  // The colon at the end distinguishes the path of a folder from that of a file.
  if (isFolder) path->push_back(kFolderEnd);
  AEDesc keyData;
  const Status status = MakeUnicodeTextDesc(&*path, &keyData);
  if (status != noErr) return status;
  return CreateObjSpecifier(isFolder ? cFolder : cFile, AEDesc(), formName, keyData, specifier);
}

Status MakeUnicodeTextDesc(const std::u16string* text, AEDesc* desc) {
  if (text == nullptr || desc == nullptr) return paramErr;
  return AECreateDesc(typeUnicodeText, text->data(), text->size() * sizeof(char16_t), desc);
}

Status CopyUnicodeTextAsString(const AEDesc& desc, std::optional<std::u16string>* text) {
  if (text == nullptr) return paramErr;
  AEDesc coerced;
  Status status = AECoerceDesc(desc, typeUnicodeText, &coerced);
  if (status != noErr) return status;
  // The null descriptor: there is no comment, and `*text` keeps its value.
  if (coerced.descriptorType != typeUnicodeText) return noErr;
  std::u16string units(AEGetDescDataSize(coerced) / sizeof(char16_t), u'\0');
  status = AEGetDescData(coerced, units.data(), units.size() * sizeof(char16_t));
  if (status == noErr) *text = std::move(units);
  return status;
}

Status SendFinderEvent(AEIdleUPP idle, const AppleEvent& event) {
  AppleEvent reply;
  if (idle == nullptr) {
    return AESend(event, &reply, AESendMode::kAENoReply, AESendPriority::kAENormalPriority,
                  kNoTimeOut, nullptr, nullptr);
  }
  const Status status = SendAndWait(idle, event, &reply);
  return status == noErr ? GetReplyErrorNumber(reply) : status;
}

Status SendForDirectObject(AEIdleUPP idle, const AppleEvent& event, DescType desiredType,
                           AEDesc* directObject) {
  if (idle == nullptr || directObject == nullptr) return paramErr;
  AppleEvent reply;
  Status status = SendAndWait(idle, event, &reply);
  if (status == noErr) status = GetReplyErrorNumber(reply);
  if (status != noErr) return status;
  if (reply.descriptorType == typeNull) {
    *directObject = AEDesc();
    return noErr;
  }
  return AEGetParamDesc(reply, keyDirectObject, desiredType, directObject);
}

Status GetReplyErrorNumber(const AppleEvent& reply) {
  if (reply.descriptorType == typeNull) return noErr;
  int16_t number = noErr;
  const Status status =
      AEGetParamPtr(reply, keyErrorNumber, typeSInt16, nullptr, &number, sizeof(number), nullptr);
  if (status == errAEDescNotFound) return noErr;
  // An error number that cannot be read does not count as success.
  return status == noErr ? static_cast<Status>(number) : status;
}

}  // namespace tessary
