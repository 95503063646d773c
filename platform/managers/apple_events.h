#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string_view>
#include <vector>

#include "platform/managers/four_char_code.h"
#include "platform/managers/status.h"

// The Apple Event Manager: typed values, the events built of them, and their way to the application
// that answers. Everything in a descriptor is in host byte order.
//
// Every call that makes a descriptor writes it on success only, and may answer memFullErr. paramErr
// stands for a missing out-argument at all of them.
namespace tessary {

using DescType = uint32_t;
using AEKeyword = uint32_t;
using AEEventClass = uint32_t;
using AEEventID = uint32_t;

// Types of descriptors.
enum : DescType {
  typeNull = FourCharCode("null"),             // no data
  typeWildCard = FourCharCode("****"),         // whatever it is
  typeUnicodeText = FourCharCode("utxt"),      // UTF-16 units, nothing before or after them
  typeUTF8Text = FourCharCode("utf8"),         // UTF-8 bytes
  typeSInt16 = FourCharCode("shor"),           // 2 bytes
  typeSInt32 = FourCharCode("long"),           // 4 bytes
  typeType = FourCharCode("type"),             // a four-character code
  typeEnumerated = FourCharCode("enum"),       // a four-character code
  typeApplSignature = FourCharCode("sign"),    // a four-character code: an application's signature
  typeAEList = FourCharCode("list"),           // items in order
  typeAERecord = FourCharCode("reco"),         // items by keyword
  typeObjectSpecifier = FourCharCode("obj "),  // a record that designates an object
  typeAppleEvent = FourCharCode("aevt"),       // a record of parameters, with attributes
  typeAlias = FourCharCode("alis"),            // an alias, as aliases.h makes it
  typeFSRef = FourCharCode("fsrf"),            // an FSRef
  typeProcessSerialNumber = FourCharCode("psn "),  // a ProcessSerialNumber
};

// Keywords of parameters, of an event's attributes and of an object specifier's fields.
enum : AEKeyword {
  keyDirectObject = FourCharCode("----"),
  keyErrorNumber = FourCharCode("errn"),
  keyAEData = FourCharCode("data"),
  keyEventClassAttr = FourCharCode("evcl"),     // typeType
  keyEventIDAttr = FourCharCode("evid"),        // typeType
  keyAddressAttr = FourCharCode("addr"),        // of the type of the address
  keyReturnIDAttr = FourCharCode("rtid"),       // typeSInt32
  keyTransactionIDAttr = FourCharCode("tran"),  // typeSInt32
  keyAEDesiredClass = FourCharCode("want"),     // typeType
  keyAEKeyForm = FourCharCode("form"),          // typeEnumerated
  keyAEKeyData = FourCharCode("seld"),          // as the form has it
  keyAEContainer = FourCharCode("from"),        // an object specifier, or null: the application
};

// Key forms and classes of object specifiers.
enum : uint32_t {
  formName = FourCharCode("name"),
  formPropertyID = FourCharCode("prop"),
  cFile = FourCharCode("file"),
  cFolder = FourCharCode("cfol"),
  cProperty = FourCharCode("prop"),
};

// Events.
enum : uint32_t {
  kAECoreSuite = FourCharCode("core"),
  kAEGetData = FourCharCode("getd"),
  kAESetData = FourCharCode("setd"),
  kCoreEventClass = FourCharCode("aevt"),
  kAEOpenDocuments = FourCharCode("odoc"),
  kAEAnswer = FourCharCode("ansr"),  // the event that a reply is
};

// ---- Descriptors ----

struct AEKeyDesc;

// A typed value, owned by whoever has it. Bytes, or else the items of a list, a record or an event;
// without either, as it is made, the null descriptor.
struct AEDesc {
  enum class Form : uint8_t { kBytes, kList, kRecord };

  DescType descriptorType = typeNull;
  Form form = Form::kBytes;
  std::vector<unsigned char> bytes;   // of kBytes
  std::vector<AEKeyDesc> items;       // of a list, with keyword 0, and of a record
  std::vector<AEKeyDesc> attributes;  // of an event
};

struct AEKeyDesc {
  AEKeyword keyword = 0;
  AEDesc value;
};

using AppleEvent = AEDesc;

// Makes a descriptor of `size` bytes. Answers noErr, paramErr (no data for a size), memFullErr.
Status AECreateDesc(DescType type, const void* data, size_t size, AEDesc* desc);

// The number of bytes; 0 for a list or a record, which are read by their items.
size_t AEGetDescDataSize(const AEDesc& desc);

// Copies the bytes, `maximum` of them at most. Answers noErr, errAEWrongDataType (a list or a
// record), paramErr.
Status AEGetDescData(const AEDesc& desc, void* data, size_t maximum);

// Makes a descriptor of another type that tells the same. A descriptor coerces to its own type and
// to typeWildCard; typeUTF8Text and typeUnicodeText to each other; typeSInt16 and typeSInt32 to
// each other where the number fits; typeAlias to typeFSRef while its object is there; and whatever
// is no list or record to typeAEList, as its only item. The null descriptor says nothing, which it
// says in every type: it coerces to itself. Answers noErr, errAECoercionFail, memFullErr, for an
// alias why its object was not found.
Status AECoerceDesc(const AEDesc& desc, DescType toType, AEDesc* result);

// ---- Lists and records ----

// Makes an empty list, or an empty record.
Status AECreateList(bool isRecord, AEDesc* list);

// The number of items of a list, a record or an event. Answers noErr, errAEWrongDataType (none of
// them), paramErr.
Status AECountItems(const AEDesc& list, size_t* count);

// Puts an item into the list: at `index`, counted from 1, in place of what is there or after the
// last; after the last for index 0. Answers noErr, errAEIllegalIndex (farther behind the last),
// errAEWrongDataType (no list), paramErr, memFullErr.
Status AEPutDesc(AEDesc* list, size_t index, const AEDesc& item);

// The item at `index`, counted from 1, of a list or record, and its keyword (0 in a list), which is
// not told where `keyword` is null. It is coerced to `desiredType`. Answers noErr,
// errAEDescNotFound (no such index), errAEWrongDataType (no list or record), errAECoercionFail.
Status AEGetNthDesc(const AEDesc& list, size_t index, DescType desiredType, AEKeyword* keyword,
                    AEDesc* item);

// The same for an item that is made of `size` bytes, and for the bytes of an item: `maximum` of
// them at most go to `data`, and their number without that limit and their type to `actualSize` and
// `actualType`, either of which may be null, as `keyword` may.
Status AEPutPtr(AEDesc* list, size_t index, DescType type, const void* data, size_t size);
Status AEGetNthPtr(const AEDesc& list, size_t index, DescType desiredType, AEKeyword* keyword,
                   DescType* actualType, void* data, size_t maximum, size_t* actualSize);

// Puts a field into the record, in place of the one that has its keyword. Answers noErr,
// errAEWrongDataType (no record), paramErr, memFullErr.
Status AEPutKeyDesc(AEDesc* record, AEKeyword keyword, const AEDesc& value);

// The field of that keyword, coerced to `desiredType`. Answers noErr, errAEDescNotFound (none),
// errAEWrongDataType (no record), errAECoercionFail.
Status AEGetKeyDesc(const AEDesc& record, AEKeyword keyword, DescType desiredType, AEDesc* value);

// The parameters of an event are its fields.
inline Status AEPutParamDesc(AppleEvent* event, AEKeyword keyword, const AEDesc& value) {
  return AEPutKeyDesc(event, keyword, value);
}
inline Status AEGetParamDesc(const AppleEvent& event, AEKeyword keyword, DescType desiredType,
                             AEDesc* value) {
  return AEGetKeyDesc(event, keyword, desiredType, value);
}

// The bytes of a parameter coerced to `desiredType`: `maximum` of them at most go to `data`, and
// their number without that limit and their type to `actualSize` and `actualType`, either of which
// may be null. Answers what AEGetParamDesc and AEGetDescData answer.
Status AEGetParamPtr(const AppleEvent& event, AEKeyword keyword, DescType desiredType,
                     DescType* actualType, void* data, size_t maximum, size_t* actualSize);

// An attribute of an event, coerced to `desiredType`. Answers noErr, errAEDescNotFound (none),
// errAECoercionFail.
Status AEGetAttributeDesc(const AppleEvent& event, AEKeyword keyword, DescType desiredType,
                          AEDesc* value);

// ---- Building ----

// Makes an object specifier, a record of type typeObjectSpecifier with its four fields.
Status CreateObjSpecifier(uint32_t desiredClass, const AEDesc& container, uint32_t keyForm,
                          const AEDesc& keyData, AEDesc* specifier);

using AEReturnID = int16_t;
using AETransactionID = int32_t;
inline constexpr AEReturnID kAutoGenerateReturnID = -1;  // a number of its own for each event
inline constexpr AETransactionID kAnyTransactionID = 0;

// Makes an event without parameters. Answers noErr, paramErr, memFullErr.
Status AECreateAppleEvent(AEEventClass eventClass, AEEventID eventID, const AEDesc& target,
                          AEReturnID returnID, AETransactionID transactionID, AppleEvent* event);

// Why a parameter text cannot be read.
enum class AEBuildErrorCode : uint32_t {
  aeBuildSyntaxNoErr = 0,
  aeBuildSyntaxBadToken = 1,      // a character that has no place in such a text
  aeBuildSyntaxBadEOF = 2,        // the text ends too early
  aeBuildSyntaxNoEOF = 3,         // something follows the last parameter
  aeBuildSyntaxMissingQuote = 5,  // a code in quotes is not closed
  aeBuildSyntaxBadDesc = 11,      // no value where one is needed, or values nested too deeply
  aeBuildSyntaxBadData = 12,  // no code or "@" in parentheses, or a code of another length than 4
  aeBuildSyntaxNoCloseParen = 13,
  aeBuildSyntaxNoCloseBrace = 15,
  aeBuildSyntaxNoKey = 16,  // no keyword where one is needed, or one that the record has already
  aeBuildSyntaxNoColon = 17,
};

struct AEBuildError {
  AEBuildErrorCode fError = AEBuildErrorCode::aeBuildSyntaxNoErr;
  size_t fErrorPos = 0;  // where in the text, in bytes from its start
};

// Makes an event with the parameters that `text` tells:
//
//   text    = [ field { "," field } ]
//   field   = code ":" value
//   value   = "@" | "(@)"              the next of the substitutes
//           | code                     typeEnumerated
//           | code "(" code ")"        the code in parentheses, as that type
//           | [ code ] "{" text "}"    a record of that type, typeAERecord without
//   code    = a letter, then letters and digits, four at most, padded with blanks; or four
//             characters in single quotes
//
// with blanks wherever they please. Answers noErr; errAEBuildSyntaxError (`*error`, where it is not
// null, tells which and where); paramErr (more or fewer substitutes than "@", no bytes for the
// address's length); memFullErr. Neither event nor error is written otherwise.
Status AEBuildAppleEvent(AEEventClass eventClass, AEEventID eventID, DescType addressType,
                         const void* addressData, size_t addressLength, AEReturnID returnID,
                         AETransactionID transactionID, std::string_view text,
                         std::initializer_list<const AEDesc*> substitutes, AppleEvent* event,
                         AEBuildError* error = nullptr);

// ---- Sending ----

enum class AESendMode { kAENoReply = 1, kAEWaitReply = 3 };
enum class AESendPriority { kAENormalPriority = 0 };

// How long to wait, in ticks of 1/60 second, or one of these.
inline constexpr int32_t kAEDefaultTimeout = -1;  // a minute
inline constexpr int32_t kNoTimeOut = -2;         // for as long as it takes

struct Region;
using RgnHandle = Region*;

// What a waiting send calls between two looks for the answer. It tells in `*sleepTime` for how many
// ticks the next look can wait, 0 for not at all, and the region of the mouse that it wants to hear
// of. True ends the wait.
using AEIdleProcPtr = bool (*)(int32_t* sleepTime, RgnHandle* mouseRegion);
using AEIdleUPP = AEIdleProcPtr;
inline AEIdleUPP NewAEIdleUPP(AEIdleProcPtr routine) { return routine; }

// Decides whether an event from outside may be handled during a wait. None comes in from outside
// during a wait, so that it is never asked.
using AEFilterUPP = bool (*)(const AppleEvent& event);

// Sends the event to the application that its address names, by signature. With kAEWaitReply
// `*reply` is the application's answer, the null descriptor where it gives none, and the idle
// routine (may be null) is called while there is none; an answer that is there at once costs no
// idle call and no sleep. With kAENoReply the call returns once the event is queued, and `*reply`
// is the null descriptor. That the application could not do what was asked is told in the reply
// alone. Answers noErr, procNotFound (no such application), errAEUnknownAddressType (neither a
// signature nor this process), errAEWaitCanceled (by the idle routine), errAETimeout,
// connectionInvalid (the application went away meanwhile), paramErr, memFullErr. `*reply` is
// written on success only.
//
// An event for this process itself, by its ProcessSerialNumber, goes to the event loop, which
// brings it to the handler installed for it (apple_event_handlers.h). It cannot be waited for:
// paramErr; procNotFound where there is no loop.
Status AESend(const AppleEvent& event, AppleEvent* reply, AESendMode mode, AESendPriority priority,
              int32_t timeoutTicks, AEIdleUPP idle, AEFilterUPP filter);

// What an application does with an event: fills in the reply, which is an empty answer to begin
// with, and answers true. Until it answers true it is offered the same event again, with the reply
// as it left it: after each idle call of the sender that waits, or at the next send to it where
// nobody does. Events reach it one after another in the order in which they were sent. It may send
// events to others, but may not wait for itself.
using AEAnswerer = std::function<bool(const AppleEvent& event, AppleEvent* reply)>;

// Registers the application of this process that answers for the signature, in place of the one
// before; and removes it, if there is one. What was sent to it and has no answer is dropped.
void RegisterAnsweringApplication(uint32_t signature, AEAnswerer answerer);
void RemoveAnsweringApplication(uint32_t signature);

}  // namespace tessary
