#include "platform/linux/catalog/hfs_path.h"

#include "platform/linux/catalog/names.h"

namespace tessary {
namespace {

// Removes the text up to the first separator, and the separator, from `*path`. Returns the text.
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
    // The default Volume substitutes nothing: the path names an object that exists, so each
    // component already is a name that its filesystem accepts.
    if (PosixName(TakeComponent(&hfsPath, u':'), Volume(), &name) != noErr) return std::nullopt;
    path += '/';
    path += name;
  }
  return path.empty() ? "/" : path;
}

}  // namespace tessary
