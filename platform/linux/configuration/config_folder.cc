#include "platform/linux/configuration/config_folder.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <vector>

#include "platform/linux/errors.h"

namespace tessary {
namespace {

// Returns an absolute path without trailing slashes, so "" for the root folder; none if the path is
// relative.
std::optional<std::string> AbsoluteFolder(const char* path) {
  if (path == nullptr || path[0] != '/') return std::nullopt;
  std::string folder = path;
  folder.erase(folder.find_last_not_of('/') + 1);
  return folder;
}

constexpr char kConfigHome[] = "XDG_CONFIG_HOME";
constexpr char kHome[] = "HOME";

std::optional<std::string> ValueOf(const char* variable) {
  const char* value = std::getenv(variable);
  return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

bool HasValue(const char* variable, const std::optional<std::string>& value) {
  const char* current = std::getenv(variable);
  return current == nullptr ? !value.has_value() : value == current;
}

std::string HomeFromPasswd() {
  const long suggested = sysconf(_SC_GETPW_R_SIZE_MAX);
  std::vector<char> buffer(suggested > 0 ? static_cast<size_t>(suggested) : 16384);
  passwd entry = {};
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) != 0) return "";
  if (found == nullptr) return "";
  return AbsoluteFolder(found->pw_dir).value_or("");
}

std::string HomeFolder() {
  if (const auto home = AbsoluteFolder(std::getenv(kHome))) return *home;
  // Cached: the user database may be a network service, and each synchronisation of the preferences
  // needs this folder.
  static const std::string listed = HomeFromPasswd();
  return listed;
}

}  // namespace

std::string UserFolder(const char* variable, const std::string& inHome) {
  const auto folder = AbsoluteFolder(std::getenv(variable));
  return folder ? *folder : HomeFolder() + "/" + inHome;
}

std::string ConfigFolder() { return UserFolder(kConfigHome, ".config") + "/tessary"; }

bool ConfigEnvironment::IsCurrent() const {
  return isCaptured_ && HasValue(kConfigHome, configHome_) && HasValue(kHome, home_);
}

void ConfigEnvironment::Capture() {
  isCaptured_ = false;
  configHome_ = ValueOf(kConfigHome);
  home_ = ValueOf(kHome);
  isCaptured_ = true;
}

Status MakeFolderAndParents(const std::string& path) {
  // The folder first, and its parents only if they are missing: usually one call. Another process
  // may make the same folder meanwhile. A file in the way shows at the first use of the folder.
  if (mkdir(path.c_str(), 0700) == 0 || errno == EEXIST) return noErr;
  if (errno != ENOENT) return LastError();
  const size_t slash = path.rfind('/');
  if (slash == 0 || slash == std::string::npos) return fnfErr;
  const Status status = MakeFolderAndParents(path.substr(0, slash));
  if (status != noErr) return status;
  return mkdir(path.c_str(), 0700) == 0 || errno == EEXIST ? noErr : LastError();
}

Status MakeConfigFolder() { return MakeFolderAndParents(ConfigFolder()); }

}  // namespace tessary
