#include "platform/linux/errors.h"

#include <cerrno>

namespace tessary {

Status StatusFromErrno(int error) {
  switch (error) {
    case 0:
      return noErr;
    case ENOENT:
      return fnfErr;
    case EEXIST:
      return dupFNErr;
    case ENOSPC:
    case EDQUOT:  // to the user, an exhausted quota is a full disk
      return dskFulErr;
    case EFBIG:  // of the filesystem, or of the limit of the process (ulimit -f)
      return fileBoundsErr;
    case EROFS:
      return wPrErr;
    case EACCES:
    case EPERM:
      return afpAccessDenied;
    case ENAMETOOLONG:
    case EILSEQ:
      return bdNamErr;
    case ENOTDIR:
      return dirNFErr;
    case ENOTEMPTY:
    case EBUSY:  // for instance a mount point
      return fBsyErr;
    case EMFILE:
    case ENFILE:
      return tmfoErr;
    case ENOMEM:
      return memFullErr;
    case EXDEV:
      return diffVolErr;
    case EINVAL:
    case ENOTSUP:
      return paramErr;
    case ESTALE:
      return errFSBadFSRef;
    default:
      return ioErr;
  }
}

Status LastError() { return StatusFromErrno(errno); }

}  // namespace tessary
