#include "platform/managers/bundle.h"

#include <sys/stat.h>

#include <utility>

#include "platform/managers/file_manager.h"

namespace tessary {
namespace {

using InfoDictionary = std::map<std::string, std::string>;

InfoDictionary& MainBundleInfo() {
  static InfoDictionary info;
  return info;
}

bool IsFolder(const std::string& path) {
  struct stat info = {};
  return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

}  // namespace

void SetMainBundleInfoDictionary(std::map<std::string, std::string> info) {
  MainBundleInfo() = std::move(info);
}

std::optional<std::string> CFBundleGetValueForInfoDictionaryKey(const std::string& key) {
  const auto entry = MainBundleInfo().find(key);
  if (entry == MainBundleInfo().end()) return std::nullopt;
  return entry->second;
}

std::optional<NSBundle> NSBundle::BundleWithPath(const std::string& path) {
  if (!path.starts_with('/') || path.find('\0') != std::string::npos) return std::nullopt;
  if (!IsFolder(path)) return std::nullopt;
  return NSBundle(path);
}

std::optional<std::string> NSBundle::ResourcePath() const {
  const std::string contents = path_ + "/Contents";
  const std::string resources = (IsFolder(contents) ? contents : path_) + "/Resources";
  std::string resolved;
  if (ResolveNamedPath(resources, &resolved) != noErr || !IsFolder(resolved)) return std::nullopt;
  return resolved;
}

}  // namespace tessary
