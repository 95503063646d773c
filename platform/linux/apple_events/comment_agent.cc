#include "platform/linux/apple_events/comment_agent.h"

#include <cstring>
#include <new>
#include <optional>
#include <string>

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/catalog/comment_attribute.h"
#include "platform/linux/catalog/hfs_path.h"
#include "platform/linux/catalog/paths.h"
#include "platform/managers/apple_events.h"
#include "platform/managers/text.h"

namespace tessary {
namespace {

constexpr uint32_t kSignature = FourCharCode("MACS");
constexpr uint32_t kCommentProperty = FourCharCode("comt");

// ---- Reading the event ----

Status ReadCode(const AEDesc& desc, uint32_t* code) {
  if (AEGetDescDataSize(desc) != sizeof(*code)) return errAENotAnObjSpec;
  return AEGetDescData(desc, code, sizeof(*code));
}

// Reads a field of an object specifier; errAENotAnObjSpec if it is missing or has another type.
Status GetField(const AEDesc& specifier, AEKeyword keyword, DescType type, AEDesc* value) {
  AEDesc field;
  const Status status = AEGetKeyDesc(specifier, keyword, typeWildCard, &field);
  if (status != noErr || field.descriptorType != type) return errAENotAnObjSpec;
  *value = std::move(field);
  return noErr;
}

Status GetCodeField(const AEDesc& specifier, AEKeyword keyword, DescType type, uint32_t* code) {
  AEDesc field;
  const Status status = GetField(specifier, keyword, type, &field);
  return status == noErr ? ReadCode(field, code) : status;
}

// The two fields that every specifier has.
struct SpecifierKind {
  uint32_t desiredClass = 0;
  uint32_t keyForm = 0;
};

Status ReadKind(const AEDesc& specifier, SpecifierKind* kind) {
  Status status = GetCodeField(specifier, keyAEDesiredClass, typeType, &kind->desiredClass);
  if (status != noErr) return status;
  return GetCodeField(specifier, keyAEKeyForm, typeEnumerated, &kind->keyForm);
}

Status ReadText(const AEDesc& desc, std::u16string* text) {
  // An odd last byte is half a character, and is ignored.
  text->resize(AEGetDescDataSize(desc) / sizeof(char16_t));
  return AEGetDescData(desc, text->data(), text->size() * sizeof(char16_t));
}

// Extracts the specifier of the item from the specifier of its comment.
Status ReadCommentSpecifier(const AEDesc& specifier, AEDesc* item) {
  SpecifierKind kind;
  Status status = ReadKind(specifier, &kind);
  if (status != noErr) return status;
  uint32_t property = 0;
  status = GetCodeField(specifier, keyAEKeyData, typeType, &property);
  if (status != noErr) return status;
  // The specifier is well-formed from here on. Another property is not an error of the sender: it
  // gets the status of an event that nobody handles.
  if (kind.desiredClass != cProperty || kind.keyForm != formPropertyID) return errAEEventNotHandled;
  if (property != kCommentProperty) return errAEEventNotHandled;
  return GetField(specifier, keyAEContainer, typeObjectSpecifier, item);
}

struct ItemName {
  std::u16string hfsPath;
  bool isFolder = false;
};

Status ReadItemSpecifier(const AEDesc& specifier, ItemName* item) {
  SpecifierKind kind;
  Status status = ReadKind(specifier, &kind);
  if (status != noErr) return status;
  AEDesc container;
  status = GetField(specifier, keyAEContainer, typeNull, &container);
  if (status != noErr) return status;
  if (kind.desiredClass != cFile && kind.desiredClass != cFolder) return errAEEventNotHandled;
  if (kind.keyForm != formName) return errAEEventNotHandled;
  AEDesc path;
  status = GetField(specifier, keyAEKeyData, typeUnicodeText, &path);
  if (status != noErr) return status;
  item->isFolder = kind.desiredClass == cFolder;
  return ReadText(path, &item->hfsPath);
}

// ---- Finding the item ----

// Returns true for the statuses of a path with a missing component.
bool MeansNoSuchItem(Status status) {
  return status == fnfErr || status == dirNFErr || status == errFSNotAFolder;
}

Status FindItem(const std::string& path, Reference* item, Place* place) {
  // The event carries only a path. The sender's own reference may meanwhile
  // refer to another object than this path.
  Catalog& catalog = Catalog::Get();
  uint32_t folder = 0;
  std::string name;
  Status status = FindPlaceOfPath(path, &folder, &name);
  if (status != noErr) return status;
  status = folder == 0 ? catalog.MakeRootReference(item) : catalog.LookUp(folder, name, item);
  return status == noErr ? catalog.Find(*item, place) : status;
}

Status ResolveItem(const ItemName& named, Place* place) {
  // A folder's path ends in ":" and a file's never does.
  if (named.hfsPath.ends_with(u':') != named.isFolder) return errAENoSuchObject;
  const std::optional<std::string> path = PosixPath(named.hfsPath);
  if (!path) return errAENoSuchObject;
  Reference item;
  const Status status = FindItem(*path, &item, place);
  if (status != noErr) return MeansNoSuchItem(status) ? errAENoSuchObject : status;
  if (item.IsFolder() != named.isFolder) return errAENoSuchObject;
  // Only files and folders can have user attributes, and so a comment. Checked here because the
  // kernel rejects links and special files when an attribute is set, but not when it is read.
  return item.kind == NodeKind::kFile || item.IsFolder() ? noErr : afpAccessDenied;
}

Status ResolveDirectObject(const AppleEvent& event, Place* place) {
  AEDesc comment;
  Status status = AEGetParamDesc(event, keyDirectObject, typeWildCard, &comment);
  if (status != noErr) return status;
  if (comment.descriptorType != typeObjectSpecifier) return errAENotAnObjSpec;
  AEDesc item;
  status = ReadCommentSpecifier(comment, &item);
  if (status != noErr) return status;
  ItemName named;
  status = ReadItemSpecifier(item, &named);
  return status == noErr ? ResolveItem(named, place) : status;
}

// ---- Answering ----

// Maps the status of a read or write: the item may have been removed since it was found.
Status AsAgentStatus(Status status) { return MeansNoSuchItem(status) ? errAENoSuchObject : status; }

Status AnswerGet(const AppleEvent& event, AppleEvent* reply) {
  Place place;
  Status status = ResolveDirectObject(event, &place);
  if (status != noErr) return status;
  std::optional<std::string> comment;
  status = ReadComment(place, &comment);
  if (status != noErr) return AsAgentStatus(status);
  AEDesc text;
  if (comment) {
    const std::u16string units = Utf16FromUtf8(*comment);
    status = AECreateDesc(typeUnicodeText, units.data(), units.size() * sizeof(char16_t), &text);
    if (status != noErr) return status;
  }
  return AEPutParamDesc(reply, keyDirectObject, text);
}

Status ReadNewComment(const AppleEvent& event, std::string* comment) {
  AEDesc data;
  Status status = AEGetParamDesc(event, keyAEData, typeUnicodeText, &data);
  if (status != noErr) return status;
  // The null descriptor coerces to itself.
  if (data.descriptorType != typeUnicodeText) return errAECoercionFail;
  std::u16string units;
  status = ReadText(data, &units);
  if (status == noErr) *comment = Utf8FromUtf16(units);
  return status;
}

Status AnswerSet(const AppleEvent& event) {
  Place place;
  Status status = ResolveDirectObject(event, &place);
  if (status != noErr) return status;
  std::string comment;
  status = ReadNewComment(event, &comment);
  if (status != noErr) return status;
  return AsAgentStatus(WriteComment(place, comment));
}

bool IsAttribute(const AppleEvent& event, AEKeyword keyword, uint32_t code) {
  AEDesc attribute;
  uint32_t found = 0;
  return AEGetAttributeDesc(event, keyword, typeType, &attribute) == noErr &&
         ReadCode(attribute, &found) == noErr && found == code;
}

Status Answer(const AppleEvent& event, AppleEvent* reply) {
  if (!IsAttribute(event, keyEventClassAttr, kAECoreSuite)) return errAEEventNotHandled;
  if (IsAttribute(event, keyEventIDAttr, kAEGetData)) return AnswerGet(event, reply);
  if (IsAttribute(event, keyEventIDAttr, kAESetData)) return AnswerSet(event);
  return errAEEventNotHandled;
}

Status AnswerNoThrow(const AppleEvent& event, AppleEvent* reply) {
  try {
    return Answer(event, reply);
  } catch (const std::bad_alloc&) {
    return memFullErr;
  }
}

Status PutErrorNumber(Status error, AppleEvent* reply) {
  const auto number = static_cast<int16_t>(error);
  AEDesc desc;
  const Status status = AECreateDesc(typeSInt16, &number, sizeof(number), &desc);
  return status == noErr ? AEPutParamDesc(reply, keyErrorNumber, desc) : status;
}

bool AnswerEvent(const AppleEvent& event, AppleEvent* reply) {
  const Status status = AnswerNoThrow(event, reply);
  if (status == noErr) return true;
  // Out of memory for the error number: the event stays unanswered until the next poll.
  return PutErrorNumber(status, reply) == noErr;
}

}  // namespace

void RegisterCommentAgent() { RegisterAnsweringApplication(kSignature, AnswerEvent); }

}  // namespace tessary
