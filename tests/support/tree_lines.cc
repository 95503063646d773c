#include "tests/support/tree_lines.h"

#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <iomanip>
#include <map>
#include <sstream>
#include <system_error>
#include <utility>

#include "tests/support/file_operations.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

namespace fs = std::filesystem;

char KindOf(mode_t mode) {
  if (S_ISREG(mode)) return 'f';
  if (S_ISDIR(mode)) return 'd';
  if (S_ISLNK(mode)) return 'l';
  return S_ISFIFO(mode) ? 'p' : 's';
}

class TreeLister {
 public:
  explicit TreeLister(const TreeAspects& aspects) : aspects_(aspects) {}

  void Add(const std::string& path, const std::string& name) {
    const struct stat info = LstatAt(path);
    lines_.push_back(name + ": " + Describe(path, name, info));
    if (!S_ISDIR(info.st_mode)) return;
    for (const std::string& child : NamesIn(path)) {
      Add(path + "/" + child, name == "." ? child : name + "/" + child);
    }
  }

  std::vector<std::string> Take() { return std::move(lines_); }

 private:
  std::string Describe(const std::string& path, const std::string& name, const struct stat& info) {
    std::ostringstream text;
    text << KindOf(info.st_mode);
    // The mode of a symbolic link has no meaning, and filesystems differ in it.
    if (aspects_.modes && !S_ISLNK(info.st_mode)) {
      text << " mode " << std::oct << info.st_mode << std::dec;
    }
    if (aspects_.owners) text << " owner " << info.st_uid << ":" << info.st_gid;
    if (HasPrintedTime(info.st_mode)) {
      text << " modified " << info.st_mtim.tv_sec << "." << info.st_mtim.tv_nsec;
    }
    if (aspects_.identities) text << " inode " << info.st_ino << " on " << info.st_dev;
    if (aspects_.attributes) text << DescribeAttributes(path, name == ".");
    if (aspects_.hardLinks && !S_ISDIR(info.st_mode)) {
      const auto [first, isNew] = firstNames_.emplace(std::pair(info.st_dev, info.st_ino), name);
      if (!isNew) text << " same as " << first->second;
    }
    if (aspects_.linkCounts && S_ISREG(info.st_mode) && name != ".") {
      text << " names " << info.st_nlink;
    }
    if (S_ISREG(info.st_mode)) text << " contains " << DescribeContents(path);
    std::error_code unreadable;
    if (S_ISLNK(info.st_mode)) text << " leads to " << fs::read_symlink(path, unreadable).string();
    return text.str();
  }

  bool HasPrintedTime(mode_t mode) const {
    if (S_ISLNK(mode)) return aspects_.linkTimes;
    return aspects_.times && (aspects_.folderTimes || !S_ISDIR(mode));
  }

  std::string DescribeAttributes(const std::string& path, bool isTop) const {
    std::string names(65536, '\0');
    const ssize_t size = llistxattr(path.c_str(), names.data(), names.size());
    names.resize(size < 0 ? 0 : static_cast<size_t>(size));
    std::map<std::string, std::string> attributes;
    std::istringstream stream(names);
    for (std::string name; std::getline(stream, name, '\0');) {
      if (IsPrinted(name, isTop)) attributes[name] = AttributeAt(path, name);
    }
    std::ostringstream text;
    for (const auto& [name, value] : attributes) text << " " << name << "=" << std::quoted(value);
    return text.str();
  }

  bool IsPrinted(const std::string& attribute, bool isTop) const {
    if (attribute == "user.tessary.creation-date") return aspects_.creationDates;
    if (attribute == "user.xdg.comment") return aspects_.ownComment || !isTop;
    return !attribute.starts_with("security.") || attribute == "security.capability";
  }

  std::string DescribeContents(const std::string& path) const {
    const std::string contents = ReadFile(path);
    if (!aspects_.hashedContents) return contents;
    return std::to_string(contents.size()) + " bytes, hash " +
           std::to_string(std::hash<std::string>()(contents));
  }

  TreeAspects aspects_;
  std::map<std::pair<dev_t, ino_t>, std::string> firstNames_;
  std::vector<std::string> lines_;
};

}  // namespace

std::vector<std::string> TreeLines(const std::string& path, const TreeAspects& aspects) {
  TreeLister lister(aspects);
  lister.Add(path, ".");
  return lister.Take();
}

std::string TreeText(const std::string& path, const TreeAspects& aspects) {
  std::string text;
  for (const std::string& line : TreeLines(path, aspects)) text += line + "\n";
  return text;
}

}  // namespace tessary::test
