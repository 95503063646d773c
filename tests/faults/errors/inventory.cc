#include "tests/faults/errors/inventory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <map>
#include <string_view>
#include <system_error>

#include "platform/linux/catalog/sidecar_lookup.h"
#include "platform/linux/changes/temp_item.h"
#include "platform/linux/descriptors/unique_fd.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

namespace fs = std::filesystem;

bool IsPackageName(const std::string& name) { return fs::path(name).extension() == ".app"; }

std::string AttributesOf(const std::string& path, bool ignoresComment) {
  std::array<char, 4096> names = {};
  const ssize_t size = llistxattr(path.c_str(), names.data(), names.size());
  std::vector<std::string> lines;
  for (ssize_t at = 0; at < size;) {
    const std::string name = names.data() + at;
    at += static_cast<ssize_t>(name.size()) + 1;
    if (name == "user.tessary.creation-date" || (ignoresComment && name == "user.xdg.comment")) {
      continue;
    }
    std::array<char, 4096> value = {};
    const ssize_t length = lgetxattr(path.c_str(), name.c_str(), value.data(), value.size());
    lines.push_back(name + "=" +
                    std::string(value.data(), static_cast<size_t>(std::max<ssize_t>(length, 0))));
  }
  std::sort(lines.begin(), lines.end());
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

std::string ReadWholeFile(const std::string& path, off_t size) {
  const UniqueFd file(open(path.c_str(), O_RDONLY | O_NOATIME | O_CLOEXEC));
  // One more, so that a file that is longer than it says is seen to be.
  std::string bytes(static_cast<size_t>(size) + 1, '\0');
  const ssize_t got = pread(file.get(), bytes.data(), bytes.size(), 0);
  if (got < 0) return "(cannot be read)";
  bytes.resize(static_cast<size_t>(got));
  return bytes;
}

// The path under which each file of an item was met first, by its inode.
using FirstNames = std::map<ino_t, std::string>;

std::string Describe(const std::string& path, bool ignoresComment) {
  struct stat info = {};
  if (lstat(path.c_str(), &info) != 0) return "(gone)";
  std::array<char, 160> text = {};
  (void)std::snprintf(text.data(), text.size(), "%o %u:%u %ld.%09ld\n", info.st_mode, info.st_uid,
                      info.st_gid, info.st_mtim.tv_sec, info.st_mtim.tv_nsec);
  std::string described = text.data() + AttributesOf(path, ignoresComment);
  if (S_ISREG(info.st_mode)) described += ReadWholeFile(path, info.st_size);
  if (S_ISLNK(info.st_mode)) described += fs::read_symlink(path).string();
  return described;
}

std::string DescribeContents(const std::string& path) {
  struct stat info = {};
  if (lstat(path.c_str(), &info) != 0) return "(gone)";
  if (S_ISLNK(info.st_mode)) return "link to " + fs::read_symlink(path).string();
  return S_ISREG(info.st_mode) ? ReadWholeFile(path, info.st_size) : "folder";
}

std::string DescribeItemContents(const std::string& path) {
  std::string described = DescribeContents(path);
  if (fs::symlink_status(path).type() != fs::file_type::directory) return described;
  std::vector<std::string> inside;
  for (const auto& entry : fs::recursive_directory_iterator(path)) {
    const std::string name = entry.path().string().substr(path.size());
    inside.push_back("\n--" + name + "\n" + DescribeContents(entry.path().string()));
  }
  std::sort(inside.begin(), inside.end());
  for (const std::string& each : inside) described += each;
  return described;
}

std::string DescribeItem(const std::string& path, const InventoryRules& rules) {
  if (rules.isContentsOnly) return DescribeItemContents(path);
  FirstNames names;
  std::string described = Describe(path, rules.ignoresComments);
  if (fs::symlink_status(path).type() != fs::file_type::directory) return described;
  std::vector<std::string> inside;
  for (const auto& entry : fs::recursive_directory_iterator(path)) {
    inside.push_back(entry.path().string());
  }
  std::sort(inside.begin(), inside.end());
  for (const std::string& each : inside) {
    const std::string name = each.substr(path.size());
    struct stat info = {};
    (void)lstat(each.c_str(), &info);
    const auto [first, isFirst] = names.emplace(info.st_ino, name);
    described += "\n--" + name + "\n";
    described += isFirst ? Describe(each, false) : "the same as " + first->second;
  }
  return described;
}

// The path of what is the item's sidecar, if it is a file.
std::string SidecarPathOf(const std::string& path) {
  const fs::path item(path);
  return item.parent_path() / ("._" + item.filename().string());
}

// Records of pairs and sidecars that are held too.
bool IsOurTempName(const std::string& name) {
  return IsTempName(name) || name.starts_with(kJournalEntryPrefix);
}

// There is none where the name with the prefix is too long for one.
bool IsFile(const std::string& path) {
  std::error_code error;
  return fs::is_regular_file(fs::symlink_status(path, error));
}

// The sidecar of an item that is there.
bool IsSidecar(const fs::path& path) {
  const std::string name = path.filename().string();
  return name.starts_with("._") && IsFile(path) && Exists(path.parent_path() / name.substr(2));
}

std::string DescribeSidecar(const std::string& path, const InventoryRules& rules) {
  const std::string sidecar = SidecarPathOf(path);
  return IsFile(sidecar) ? DescribeItem(sidecar, rules) : std::string();
}

void Search(const std::string& top, const std::string& folder, const InventoryRules& rules,
            std::vector<FoundItem>* found) {
  for (const auto& entry : fs::directory_iterator(folder)) {
    const std::string path = entry.path().string();
    const std::string name = entry.path().filename().string();
    if (IsOurTempName(name) || IsSidecar(entry.path())) continue;
    const bool isFolder = entry.symlink_status().type() == fs::file_type::directory;
    if (isFolder && !IsPackageName(name)) {
      Search(top, path, rules, found);
    } else {
      found->push_back(
          {path.substr(top.size() + 1), DescribeItem(path, rules), DescribeSidecar(path, rules)});
    }
  }
}

}  // namespace

std::vector<FoundItem> TakeInventory(const std::string& folder, const InventoryRules& rules) {
  std::vector<FoundItem> found;
  if (Exists(folder)) Search(folder, folder, rules, &found);
  return found;
}

std::vector<std::string> FindTempFiles(const std::string& folder) {
  std::vector<std::string> found;
  if (!Exists(folder)) return found;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (IsOurTempName(entry.path().filename().string())) found.push_back(entry.path().string());
  }
  return found;
}

}  // namespace tessary::test
