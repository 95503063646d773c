#pragma once

#include <cstdint>

namespace tessary {

// The result of an operation: 0 for success, otherwise one of the platform's signed error numbers.
// The named values are those that the system produces or tests itself; any other value that a
// manager answers is passed through unchanged. Every value fits 16 bits.
enum [[nodiscard]] Status : int32_t {
  noErr = 0,
  dskFulErr = -34,                    // no room on the volume, or the user's quota is used up
  ioErr = -36,                        // the device failed, or a failure that has no name of its own
  bdNamErr = -37,                     // a name that the volume or the catalog cannot hold
  tmfoErr = -42,                      // too many open files
  fnfErr = -43,                       // no such object
  wPrErr = -44,                       // the volume is read-only
  fBsyErr = -47,                      // busy, or a folder that is not empty
  dupFNErr = -48,                     // an object of that name is already there
  paramErr = -50,                     // a missing or unusable argument
  memFullErr = -108,                  // no memory
  dirNFErr = -120,                    // a component of the path is no folder
  badMovErr = -122,                   // a folder moved or copied into itself
  diffVolErr = -1303,                 // the two objects lie on different volumes
  errFSBadFSRef = -1401,              // a reference that the volume no longer knows
  errFSNotAFolder = -1407,            // an object that should be a folder is none
  errFSNoMoreItems = -1417,           // the iteration of a folder has ended
  errFSRefsDifferent = -1420,         // two references designate different objects
  coreFoundationUnknownErr = -4960,   // no URL or path can be made of a reference
  afpAccessDenied = -5000,            // permission denied
};

}  // namespace tessary
