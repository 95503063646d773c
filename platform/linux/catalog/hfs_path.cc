#include "platform/linux/catalog/hfs_path.h"

#include "platform/linux/catalog/names.h"

namespace tessary {
namespace {

// Takes what stands before the first separator, and the separator, off the front.
template <typename View>
View TakeComponent(View* path, typename View::value_type separator) {
  const View component = path->substr(0, path->find(separator));
  path->remove_prefix(std::min(component.size() + 1, path->size()));
  return component;
}

}  // namespace

std::u16string HfsPath(std::string_view path) {
  std::u16string result(kRootVolumeName);
  while (!path.empty()) {
    const std::string_view component = TakeComponent(&path, '/');
    if (component.empty()) continue;
    result += u':';
    result += CatalogName(component);
  }
  return result;
}

std::optional<std::string> PosixPath(std::u16string_view hfsPath) {
  if (TakeComponent(&hfsPath, u':') != kRootVolumeName) return std::nullopt;
  std::string path;
  while (!hfsPath.empty()) {
    std::string name;
    // The object bears its own name: nothing in it has a substitute.
    if (PosixName(TakeComponent(&hfsPath, u':'), Volume(), &name) != noErr) return std::nullopt;
    path += '/';
    path += name;
  }
  return path.empty() ? "/" : path;
}

}  // namespace tessary
