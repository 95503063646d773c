#pragma once

#include <map>
#include <optional>
#include <string>

namespace tessary {

// Sets the information dictionary of the running program. The program's entry point calls this
// once; until then the main bundle has no information.
void SetMainBundleInfoDictionary(std::map<std::string, std::string> info);

// Returns the value of `key` in the main bundle's information dictionary, or none.
std::optional<std::string> CFBundleGetValueForInfoDictionaryKey(const std::string& key);

// A folder opened as a bundle.
class NSBundle {
 public:
  // Returns the bundle at the absolute `path`, or none if there is no folder. Links are followed.
  static std::optional<NSBundle> BundleWithPath(const std::string& path);

  // Returns the absolute path, without links, of the bundle's resources folder:
  // Contents/Resources, or Resources if the bundle has no Contents folder. Returns none if there is
  // no such folder.
  std::optional<std::string> ResourcePath() const;

 private:
  explicit NSBundle(std::string path) : path_(std::move(path)) {}

  std::string path_;
};

}  // namespace tessary
