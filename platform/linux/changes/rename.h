#pragma once

#include "platform/managers/status.h"

// Giving an object a name that may already be taken, without ever overwriting what bears it and
// without a moment in which the object bears neither name.
namespace tessary {

// Renames (`fromFolder`, `fromName`) to (`toFolder`, `toName`), both folders being descriptors.
// noErr; dupFNErr (the name is taken); diffVolErr (the kernel cannot rename between the two);
// badMovErr (a folder into itself); bdNamErr (a name that the volume refuses); else what the file
// system reports. On failure both names are as they were.
Status RenameWithoutReplacing(int fromFolder, const char* fromName, int toFolder,
                              const char* toName);

// Gives the unnamed or named file open as `file` the name (`toFolder`, `toName`). noErr, dupFNErr,
// paramErr (links are not to be had here), bdNamErr, else what the file system reports.
Status LinkOpenFile(int file, int toFolder, const char* toName);

}  // namespace tessary
