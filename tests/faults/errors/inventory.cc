#include "tests/faults/errors/inventory.h"

#include <filesystem>
#include <system_error>

#include "platform/linux/changes/temp_item.h"
#include "platform/linux/sidecars/sidecar_journal.h"
#include "tests/support/mac_test_data.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

namespace fs = std::filesystem;

bool IsPackageName(const std::string& name) { return fs::path(name).extension() == ".app"; }

bool IsOurTempName(const std::string& name) {
  return IsTempName(name) || name.starts_with(kJournalEntryPrefix);
}

// Returns false also if the name, with the prefix of a sidecar, is too long.
bool IsFile(const std::string& path) {
  std::error_code error;
  return fs::is_regular_file(fs::symlink_status(path, error));
}

// Returns whether the path is the sidecar of an item that exists.
bool IsSidecar(const fs::path& path) {
  const std::string name = path.filename().string();
  return name.starts_with("._") && IsFile(path) && Exists(path.parent_path() / name.substr(2));
}

std::string DescribeSidecar(const std::string& path, const TreeAspects& aspects) {
  const std::string sidecar = SidecarPath(path);
  return IsFile(sidecar) ? TreeText(sidecar, aspects) : std::string();
}

void Search(const std::string& top, const std::string& folder, const TreeAspects& aspects,
            std::vector<FoundItem>* found) {
  for (const auto& entry : fs::directory_iterator(folder)) {
    const std::string path = entry.path().string();
    const std::string name = entry.path().filename().string();
    if (IsOurTempName(name) || IsSidecar(entry.path())) continue;
    const bool isFolder = entry.symlink_status().type() == fs::file_type::directory;
    if (isFolder && !IsPackageName(name)) {
      Search(top, path, aspects, found);
    } else {
      found->push_back(
          {path.substr(top.size() + 1), TreeText(path, aspects), DescribeSidecar(path, aspects)});
    }
  }
}

}  // namespace

std::vector<FoundItem> TakeInventory(const std::string& folder, const TreeAspects& aspects) {
  std::vector<FoundItem> found;
  if (Exists(folder)) Search(folder, folder, aspects, &found);
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
