#include "platform/linux/catalog/folder_names.h"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <memory>

#include "platform/linux/errors.h"

namespace tessary {

Status ReadFolderNames(int folder, const NameFilter& isWanted, std::vector<std::string>* names) {
  constexpr size_t kListingSize = 32'768;
  if (lseek(folder, 0, SEEK_SET) < 0) return LastError();
  const auto buffer = std::make_unique<std::byte[]>(kListingSize);
  std::vector<std::string> found;
  ssize_t size = 0;
  while ((size = getdents64(folder, buffer.get(), kListingSize)) > 0) {
    for (ssize_t at = 0; at < size;) {
      const auto* entry = reinterpret_cast<const dirent64*>(buffer.get() + at);
      const std::string_view name = entry->d_name;
      const bool isChild = name != "." && name != "..";
      if (isChild && (!isWanted || isWanted(name))) found.emplace_back(name);
      at += entry->d_reclen;
    }
  }
  if (size < 0) return LastError();
  std::sort(found.begin(), found.end());
  *names = std::move(found);
  return noErr;
}

}  // namespace tessary
