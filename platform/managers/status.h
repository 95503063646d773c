#pragma once

#include <cstdint>

namespace tessary {

// The result of an operation: 0 for success, otherwise one of the platform's signed error numbers.
// The named values are those that the system produces or tests itself; any other value that a
// manager answers is passed through unchanged. Every value fits 16 bits.
// The formatter takes the attribute for the end of the declaration.
// clang-format off
enum [[nodiscard]] Status : int32_t {
  noErr = 0,
  dskFulErr = -34,                   // no room on the volume, or the user's quota is used up
  ioErr = -36,                       // the device failed, or a failure that has no name of its own
  bdNamErr = -37,                    // a name that the volume or the catalog cannot hold
  tmfoErr = -42,                     // too many open files
  fnfErr = -43,                      // no such object
  wPrErr = -44,                      // the volume is read-only
  fBsyErr = -47,                     // busy, or a folder that is not empty
  dupFNErr = -48,                    // an object of that name is already there
  paramErr = -50,                    // a missing or unusable argument
  memFullErr = -108,                 // no memory
  dirNFErr = -120,                   // a component of the path is no folder
  badMovErr = -122,                  // a folder moved or copied into itself
  procNotFound = -600,               // no application has that signature
  connectionInvalid = -609,          // the application went away before it had answered
  diffVolErr = -1303,                // the two objects lie on different volumes
  errFSBadFSRef = -1401,             // a reference that the volume no longer knows
  errFSNotAFolder = -1407,           // an object that should be a folder is none
  errFSNoMoreItems = -1417,          // the iteration of a folder has ended
  errFSRefsDifferent = -1420,        // two references designate different objects
  errAECoercionFail = -1700,         // a descriptor that cannot be told in the type wanted
  errAEDescNotFound = -1701,         // no such item, parameter or attribute
  errAEWrongDataType = -1703,        // a descriptor that is no list or record, or is one
  errAEEventNotHandled = -1708,      // an event that the application does not know
  errAEWaitCanceled = -1711,         // the idle routine ended the wait
  errAETimeout = -1712,              // no answer in time
  errAEUnknownAddressType = -1716,   // an address that is no application's signature
  errAEIllegalIndex = -1719,         // an item farther behind the last of a list than the next
  errAENotAnObjSpec = -1727,         // an object specifier that lacks what one has
  errAENoSuchObject = -1728,         // an object specifier that designates nothing
  errAEBuildSyntaxError = -1760,     // a parameter text that cannot be read
  badDragFlavorErr = -1852,          // a dragged item lacks the flavor
  duplicateHandlerErr = -1854,       // a handler of that kind is installed already
  handlerNotFoundErr = -1855,        // no such handler is installed
  dragNotAcceptedErr = -1857,        // nothing in the drag can be taken
  coreFoundationUnknownErr = -4960,  // no URL or path can be made of a reference
  afpAccessDenied = -5000,           // permission denied
  eventParameterNotFoundErr = -9870, // the event has no such parameter
  eventNotHandledErr = -9874,        // a handler lets the event pass on
  kLSApplicationNotFoundErr = -10814,  // no program opens such an item
  errUnknownControl = -30584,        // the window has no such control
};
// clang-format on

}  // namespace tessary
