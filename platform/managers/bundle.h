#pragma once

#include <map>
#include <optional>
#include <string>

namespace tessary {

// Registers the information dictionary of the running program. Called once by the program's entry
// routine; without it the main bundle has no information.
void SetMainBundleInfoDictionary(std::map<std::string, std::string> info);

// The value of `key` in the main bundle's information dictionary, or none.
std::optional<std::string> CFBundleGetValueForInfoDictionaryKey(const std::string& key);

// A folder opened as a bundle.
class NSBundle {
 public:
  // The bundle at the absolute `path`, or none where there is no folder.
  static std::optional<NSBundle> BundleWithPath(const std::string& path);

  // The path of the bundle's resources, links resolved: Contents/Resources, or Resources where the
  // bundle has no Contents; none where there is no such folder.
  std::optional<std::string> ResourcePath() const;

 private:
  explicit NSBundle(std::string path) : path_(std::move(path)) {}

  std::string path_;
};

}  // namespace tessary
