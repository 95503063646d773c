#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string_view>
#include <vector>

#include "platform/managers/four_char_code.h"
#include "platform/managers/status.h"

// The Apple Event Manager: typed values (descriptors), events built from them, and sending an event
// to the application that replies. All data in a descriptor is in host byte order.
//
// Every function that writes a descriptor writes it on success only and may return memFullErr.
// Every function returns paramErr for a missing out-argument.
namespace tessary {

using DescType = uint32_t;
using AEKeyword = uint32_t;
using AEEventClass = uint32_t;
using AEEventID = uint32_t;

// Types of descriptors.
enum : DescType {
  typeNull = FourCharCode("null"),             // no data
  typeWildCard = FourCharCode("****"),         // any type
  typeUnicodeText = FourCharCode("utxt"),      // UTF-16 code units, without byte-order mark or NUL
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
  typeAlias = FourCharCode("alis"),            // an alias made by NewAlias (aliases.h)
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
  keyAddressAttr = FourCharCode("addr"),        // the type of the address
  keyReturnIDAttr = FourCharCode("rtid"),       // typeSInt32
  keyTransactionIDAttr = FourCharCode("tran"),  // typeSInt32
  keyAEDesiredClass = FourCharCode("want"),     // typeType
  keyAEKeyForm = FourCharCode("form"),          // typeEnumerated
  keyAEKeyData = FourCharCode("seld"),          // depends on the key form
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
  kAEAnswer = FourCharCode("ansr"),  // the id of a reply
};

// ---- Descriptors ----

struct AEKeyDesc;

// A typed value that owns its data: bytes, or the items of a list, a record or an event. A
// default-constructed one is the null descriptor.
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

// Makes a descriptor that holds a copy of `size` bytes. Returns noErr; paramErr (null `data` with a
// size above 0); memFullErr.
Status AECreateDesc(DescType type, const void* data, size_t size, AEDesc* desc);

// Returns the number of bytes; 0 for a list or a record, which are read item by item.
size_t AEGetDescDataSize(const AEDesc& desc);

// Copies the bytes to `data`, at most `maximum`. Returns noErr; errAEWrongDataType (a list or a
// record); paramErr (null `data`).
Status AEGetDescData(const AEDesc& desc, void* data, size_t maximum);

// Converts a descriptor to another type. These coercions exist:
//
//   any type to itself and to typeWildCard
//   typeUTF8Text and typeUnicodeText to each other
//   typeSInt16 and typeSInt32 to each other, if the number fits
//   typeAlias to typeFSRef, while the object exists
//   anything but a list or a record to typeAEList, as the only item
//   the null descriptor to any type; the result is the null descriptor
//
// Returns noErr; errAECoercionFail (no such coercion); memFullErr; for an alias also the status
// with which its object was not found.
Status AECoerceDesc(const AEDesc& desc, DescType toType, AEDesc* result);

// ---- Lists and records ----

// Makes an empty list, or an empty record if `isRecord`. Returns noErr; paramErr.
Status AECreateList(bool isRecord, AEDesc* list);

// Counts the items of a list, a record or an event. Returns noErr; errAEWrongDataType (none of
// these); paramErr.
Status AECountItems(const AEDesc& list, size_t* count);

// Puts an item into a list at `index`, counted from 1: replaces the item there, or appends it if
// `index` is 0 or one more than the number of items. Returns noErr; errAEIllegalIndex (a greater
// index); errAEWrongDataType (not a list); paramErr; memFullErr.
Status AEPutDesc(AEDesc* list, size_t index, const AEDesc& item);

// Reads the item at `index`, counted from 1, of a list or record, coerced to `desiredType`.
// `*keyword` receives the item's keyword, 0 in a list; `keyword` may be null. Returns noErr;
// errAEDescNotFound (no such index); errAEWrongDataType (not a list or record); the failures of
// AECoerceDesc; paramErr.
Status AEGetNthDesc(const AEDesc& list, size_t index, DescType desiredType, AEKeyword* keyword,
                    AEDesc* item);

// Puts an item of `size` bytes into a list. Returns the statuses of AECreateDesc and AEPutDesc.
Status AEPutPtr(AEDesc* list, size_t index, DescType type, const void* data, size_t size);

// Reads the bytes of an item. At most `maximum` bytes are copied to `data`; `*actualSize` receives
// the item's full size and `*actualType` its type. `keyword`, `actualType` and `actualSize` may be
// null. Returns the statuses of AEGetNthDesc and AEGetDescData.
Status AEGetNthPtr(const AEDesc& list, size_t index, DescType desiredType, AEKeyword* keyword,
                   DescType* actualType, void* data, size_t maximum, size_t* actualSize);

// Puts a field into a record, replacing the field of the same keyword. Returns noErr;
// errAEWrongDataType (not a record); paramErr; memFullErr.
Status AEPutKeyDesc(AEDesc* record, AEKeyword keyword, const AEDesc& value);

// Reads the field of that keyword, coerced to `desiredType`. Returns noErr; errAEDescNotFound (no
// such field); errAEWrongDataType (not a record); the failures of AECoerceDesc; paramErr.
Status AEGetKeyDesc(const AEDesc& record, AEKeyword keyword, DescType desiredType, AEDesc* value);

// The parameters of an event are the fields of a record.
inline Status AEPutParamDesc(AppleEvent* event, AEKeyword keyword, const AEDesc& value) {
  return AEPutKeyDesc(event, keyword, value);
}
inline Status AEGetParamDesc(const AppleEvent& event, AEKeyword keyword, DescType desiredType,
                             AEDesc* value) {
  return AEGetKeyDesc(event, keyword, desiredType, value);
}

// Reads the bytes of a parameter, coerced to `desiredType`. At most `maximum` bytes are copied to
// `data`; `*actualSize` receives the full size and `*actualType` the type; both may be null.
// Returns the statuses of AEGetParamDesc and AEGetDescData.
Status AEGetParamPtr(const AppleEvent& event, AEKeyword keyword, DescType desiredType,
                     DescType* actualType, void* data, size_t maximum, size_t* actualSize);

// Reads an attribute of an event, coerced to `desiredType`. Returns noErr; errAEDescNotFound (no
// such attribute); the failures of AECoerceDesc; paramErr.
Status AEGetAttributeDesc(const AppleEvent& event, AEKeyword keyword, DescType desiredType,
                          AEDesc* value);

// ---- Building ----

// Makes an object specifier: a record of type typeObjectSpecifier with four fields. `container` is
// an object specifier or the null descriptor. Returns noErr; paramErr; memFullErr.
Status CreateObjSpecifier(uint32_t desiredClass, const AEDesc& container, uint32_t keyForm,
                          const AEDesc& keyData, AEDesc* specifier);

using AEReturnID = int16_t;
using AETransactionID = int32_t;
inline constexpr AEReturnID kAutoGenerateReturnID = -1;  // a new number for each event
inline constexpr AETransactionID kAnyTransactionID = 0;

// Makes an event without parameters. `target` is the address. Returns noErr; paramErr; memFullErr.
Status AECreateAppleEvent(AEEventClass eventClass, AEEventID eventID, const AEDesc& target,
                          AEReturnID returnID, AETransactionID transactionID, AppleEvent* event);

// The syntax errors of a parameter text.
enum class AEBuildErrorCode : uint32_t {
  aeBuildSyntaxNoErr = 0,
  aeBuildSyntaxBadToken = 1,      // a character that the syntax does not use
  aeBuildSyntaxBadEOF = 2,        // the text ends too early
  aeBuildSyntaxNoEOF = 3,         // something follows the last parameter
  aeBuildSyntaxMissingQuote = 5,  // the closing quote of a code is missing
  aeBuildSyntaxBadDesc = 11,      // a value is missing, or values are nested too deeply
  aeBuildSyntaxBadData = 12,      // no code or "@" in parentheses, or a code of the wrong length
  aeBuildSyntaxNoCloseParen = 13,
  aeBuildSyntaxNoCloseBrace = 15,
  aeBuildSyntaxNoKey = 16,  // a keyword is missing, or the record already has it
  aeBuildSyntaxNoColon = 17,
};

struct AEBuildError {
  AEBuildErrorCode fError = AEBuildErrorCode::aeBuildSyntaxNoErr;
  size_t fErrorPos = 0;  // position of the error, in bytes from the start of the text
};

// Makes an event with the parameters that `text` describes:
//
//   text    = [ field { "," field } ]
//   field   = code ":" value
//   value   = "@" | "(@)"              the next of `substitutes`
//           | code                     typeEnumerated
//           | code "(" code ")"        the code in parentheses, with the type before them
//           | [ code ] "{" text "}"    a record of that type, or typeAERecord
//   code    = a letter, then letters and digits, four characters at most, padded with spaces; or
//             four characters in single quotes
//
// Spaces are allowed between all symbols. Returns noErr; errAEBuildSyntaxError (`*error`, unless
// null, receives the kind and the position); paramErr (the number of substitutes is not the number
// of "@", or null `addressData` with a length above 0); memFullErr. `*event` is written on success
// only, `*error` on errAEBuildSyntaxError only.
Status AEBuildAppleEvent(AEEventClass eventClass, AEEventID eventID, DescType addressType,
                         const void* addressData, size_t addressLength, AEReturnID returnID,
                         AETransactionID transactionID, std::string_view text,
                         std::initializer_list<const AEDesc*> substitutes, AppleEvent* event,
                         AEBuildError* error = nullptr);

// ---- Sending ----

enum class AESendMode { kAENoReply = 1, kAEWaitReply = 3 };
enum class AESendPriority { kAENormalPriority = 0 };

// A timeout is a number of ticks of 1/60 second, or one of these.
inline constexpr int32_t kAEDefaultTimeout = -1;  // one minute
inline constexpr int32_t kNoTimeOut = -2;         // no limit

struct Region;
using RgnHandle = Region*;

// AESend calls the idle routine repeatedly while it waits for a reply. The routine sets
// `*sleepTime` to the number of ticks until the next call, 0 for no delay; the region that it sets
// is not used. Returning true cancels the wait.
using AEIdleProcPtr = bool (*)(int32_t* sleepTime, RgnHandle* mouseRegion);
using AEIdleUPP = AEIdleProcPtr;
inline AEIdleUPP NewAEIdleUPP(AEIdleProcPtr routine) { return routine; }

// Decides whether an event from another process may be handled during a wait. No such event arrives
// during a wait, so the filter is never called.
using AEFilterUPP = bool (*)(const AppleEvent& event);

// Sends the event to the application whose signature is its address.
//
// With kAEWaitReply, AESend returns when the application has replied. `*reply` is the reply, or the
// null descriptor if the application gives none. Until then the idle routine is called; it may be
// null. A reply that is available immediately causes no idle call and no sleep. With kAENoReply,
// AESend returns once the event is queued, and `*reply` is the null descriptor. A failure inside
// the application is reported only in the reply.
//
// Returns noErr; procNotFound (no such application); errAEUnknownAddressType (the address is
// neither a signature nor this process); errAEWaitCanceled (by the idle routine); errAETimeout;
// connectionInvalid (the application was removed during the wait); paramErr; memFullErr. `*reply`
// is written on success only.
//
// An event whose address is this process's ProcessSerialNumber goes to the event loop, which passes
// it to its handler (apple_event_handlers.h). It cannot be waited for: kAEWaitReply returns
// paramErr. Without an event loop, AESend returns procNotFound.
Status AESend(const AppleEvent& event, AppleEvent* reply, AESendMode mode, AESendPriority priority,
              int32_t timeoutTicks, AEIdleUPP idle, AEFilterUPP filter);

// Handles an event on behalf of an application: fills in `*reply`, initially an empty reply, and
// returns true. If it returns false, it is called again later with the same event and the reply as
// it left it: after each idle call of a waiting sender, or at the next send to the application.
// Events are handled in the order in which they were sent. The function may send events to other
// applications, but must not wait for its own.
using AEAnswerer = std::function<bool(const AppleEvent& event, AppleEvent* reply)>;

// Registers the function that handles the events of a signature in this process, replacing an
// earlier one; and removes it, if there is one. Unanswered events to a replaced or removed
// application are dropped.
void RegisterAnsweringApplication(uint32_t signature, AEAnswerer answerer);
void RemoveAnsweringApplication(uint32_t signature);

}  // namespace tessary
