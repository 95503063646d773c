#pragma once

#include <cstdint>

namespace tessary {

// The result of an operation: 0 for success, otherwise one of the platform's signed error numbers.
// The named values are those that this program returns or tests; any other value that a manager
// returns is passed through unchanged. Every value fits 16 bits. The comment of a function lists
// the statuses that it returns; the comments below say what each status means and which errno it
// stands for. Only StatusFromErrno (platform/linux/errors.cc) converts an errno.
//
// The formatter mistakes the attribute for the end of the declaration.
// clang-format off
enum [[nodiscard]] Status : int32_t {
  noErr = 0,

  // Files and folders, from errno or found by the catalog and the changes.
  dskFulErr = -34,           // ENOSPC, EDQUOT: no space left on the filesystem, or quota exceeded
  ioErr = -36,               // EIO, and every errno that is not listed here
  bdNamErr = -37,            // ENAMETOOLONG, EILSEQ; a name that the filesystem or the catalog does
                             // not allow; a path that does not fit its buffer
  tmfoErr = -42,             // EMFILE, ENFILE: too many open files
  fnfErr = -43,              // ENOENT: no such object; also if another object has the name of the
                             // one that a reference designates, or its folder was released
  wPrErr = -44,              // EROFS: the filesystem is read-only
  fBsyErr = -47,             // ENOTEMPTY, EBUSY: a folder that is not empty; also a file that
                             // another program writes or keeps changing
  dupFNErr = -48,            // EEXIST: the name exists
  paramErr = -50,            // EINVAL, ENOTSUP; a missing or invalid argument; the all-zero
                             // reference
  memFullErr = -108,         // ENOMEM: out of memory
  dirNFErr = -120,           // ENOTDIR: a component of the path is not a folder
  badMovErr = -122,          // a folder moved or copied into itself
  diffVolErr = -1303,        // EXDEV: the two objects are on different filesystems
  fileBoundsErr = -1309,     // EFBIG: a file larger than the filesystem or a limit allows
  errFSBadFSRef = -1401,     // ESTALE: a stale file handle of a network filesystem
  errFSNotAFolder = -1407,   // the object is not a folder
  errFSNoMoreItems = -1417,  // the iteration of a folder has ended
  errFSRefsDifferent = -1420,        // two references designate different objects
  coreFoundationUnknownErr = -4960,  // an item has no URL or path
  afpAccessDenied = -5000,   // EACCES, EPERM: permission denied
  kLSApplicationNotFoundErr = -10814,  // no program opens such an item

  // Apple events: building, reading and sending them. Those marked with * come from the comment
  // agent, in its reply.
  procNotFound = -600,              // no application has that signature, or there is no event loop
  connectionInvalid = -609,         // the application was removed before it replied
  errAECoercionFail = -1700,        // a descriptor that cannot be converted to the requested type
  errAEDescNotFound = -1701,        // no such item, parameter or attribute
  errAEWrongDataType = -1703,       // bytes instead of a list or record, or the other way round
  errAEEventNotHandled = -1708,     // * an event that the application does not handle
  errAEWaitCanceled = -1711,        // the idle routine canceled the wait
  errAETimeout = -1712,             // no reply in time
  errAEUnknownAddressType = -1716,  // an address that is not an application's signature
  errAEIllegalIndex = -1719,        // a list index beyond the number of items plus one
  errAENotAnObjSpec = -1727,        // * a malformed object specifier
  errAENoSuchObject = -1728,        // * an object specifier that designates no object
  errAEBuildSyntaxError = -1760,    // a parameter text with a syntax error

  // Windows, drags and events.
  badDragFlavorErr = -1852,           // a dragged item lacks the flavor
  duplicateHandlerErr = -1854,        // a handler of that kind is already installed
  handlerNotFoundErr = -1855,         // no such handler is installed
  dragNotAcceptedErr = -1857,         // the drag contains no acceptable item
  eventParameterNotFoundErr = -9870,  // the event has no such parameter
  eventNotHandledErr = -9874,         // a handler passes the event on
  errUnknownControl = -30584,         // the window has no such control
};
// clang-format on

}  // namespace tessary
