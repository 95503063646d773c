#include "tests/support/volume_traits.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <filesystem>

#include "platform/linux/descriptors/unique_fd.h"
#include "tests/support/access_list.h"
#include "tests/support/file_operations.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

constexpr uid_t kOtherUser = 4711;
constexpr int64_t kSomeDate = 1236164646;

void ProbeHoles(const std::string& path, VolumeTraits* traits) {
  constexpr off_t kSize = 8 << 20;
  const UniqueFd file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  struct stat info = {};
  const bool isMade = file && ftruncate(file.get(), kSize) == 0 &&
                      pwrite(file.get(), "x", 1, kSize - 1) == 1 && fsync(file.get()) == 0 &&
                      fstat(file.get(), &info) == 0;
  traits->hasHoles = isMade && info.st_blocks * 512 < kSize / 2;
  traits->reportsHoles = isMade && lseek(file.get(), 0, SEEK_DATA) > 0;
}

// The attribute must also be listed, as a copy lists attributes.
bool KeepsAttribute(const std::string& path, const std::string& name, const std::string& value) {
  if (!SetAttribute(path, name, value) || AttributeAt(path, name) != value) return false;
  std::string names(65536, '\0');
  const ssize_t size = llistxattr(path.c_str(), names.data(), names.size());
  names.resize(size < 0 ? 0 : static_cast<size_t>(size));
  return ('\0' + names).find('\0' + name + '\0') != std::string::npos;
}

bool AcceptsName(const std::string& path) {
  const UniqueFd file(open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  return static_cast<bool>(file) &&
         NamesIn(std::filesystem::path(path).parent_path().string()) ==
             std::vector<std::string>{std::filesystem::path(path).filename().string()};
}

// Does not follow links.
bool KeepsDate(const std::string& path, const timespec& date) {
  const std::array<timespec, 2> times = {date, date};
  if (utimensat(AT_FDCWD, path.c_str(), times.data(), AT_SYMLINK_NOFOLLOW) != 0) return false;
  const timespec kept = LstatAt(path).st_mtim;
  return kept.tv_sec == date.tv_sec && kept.tv_nsec == date.tv_nsec;
}

bool LinkPointsTo(const std::string& link, const std::string& target) {
  std::array<char, 4096> text = {};
  const ssize_t size = readlink(link.c_str(), text.data(), text.size());
  return size >= 0 && std::string(text.data(), static_cast<size_t>(size)) == target;
}

void ProbeLinks(const TemporaryFolder& scratch, VolumeTraits* traits) {
  const std::string file = scratch / "file";
  const std::string hard = scratch / "hard";
  traits->hasHardLinks =
      link(file.c_str(), hard.c_str()) == 0 && LstatAt(file).st_ino == LstatAt(hard).st_ino;
  const std::string symbolic = scratch / "symbolic";
  if (symlink("nowhere", symbolic.c_str()) != 0) return;
  traits->hasSymbolicLinks = true;
  traits->takesAnyLinkTarget = symlink("../nowhere", (scratch / "up").c_str()) == 0 &&
                               LinkPointsTo(scratch / "up", "../nowhere");
  traits->hasDatesOfLinks = KeepsDate(symbolic, {kSomeDate, 0});
}

void ProbeRenames(const TemporaryFolder& scratch, VolumeTraits* traits) {
  const std::string first = scratch / "first";
  const std::string second = scratch / "second";
  WriteFile(first);
  const auto rename = [&](unsigned flag) {
    return renameat2(AT_FDCWD, first.c_str(), AT_FDCWD, second.c_str(), flag) == 0;
  };
  traits->hasRenameNoReplace = rename(RENAME_NOREPLACE);
  WriteFile(first);
  WriteFile(second);
  traits->hasRenameExchange = rename(RENAME_EXCHANGE);
}

bool KeepsMode(const std::string& path) {
  struct stat info = {};
  return chmod(path.c_str(), 0641) == 0 && stat(path.c_str(), &info) == 0 &&
         (info.st_mode & 07777U) == 0641;
}

bool KeepsOwner(const std::string& path) {
  struct stat info = {};
  return chown(path.c_str(), kOtherUser, kOtherUser) == 0 && stat(path.c_str(), &info) == 0 &&
         info.st_uid == kOtherUser;
}

bool OwnsWhatItCreates(const std::string& folder) {
  constexpr uid_t kOrdinaryUser = 65534;
  const std::string path = folder + "/made";
  const uid_t user = geteuid() == 0 ? kOrdinaryUser : geteuid();
  if (chmod(folder.c_str(), 0777) != 0) return false;
  const pid_t child = fork();
  if (child == 0) {
    if (geteuid() == 0 && (setgid(kOrdinaryUser) != 0 || setuid(kOrdinaryUser) != 0)) _exit(1);
    _exit(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600) < 0 ? 1 : 0);
  }
  struct stat info = {};
  return child > 0 && waitpid(child, nullptr, 0) == child && lstat(path.c_str(), &info) == 0 &&
         info.st_uid == user;
}

}  // namespace

VolumeTraits CommonTraits(const VolumeTraits& a, const VolumeTraits& b) {
  return {.hasHardLinks = a.hasHardLinks && b.hasHardLinks,
          .hasSymbolicLinks = a.hasSymbolicLinks && b.hasSymbolicLinks,
          .takesAnyLinkTarget = a.takesAnyLinkTarget && b.takesAnyLinkTarget,
          .hasDatesOfLinks = a.hasDatesOfLinks && b.hasDatesOfLinks,
          .hasSpecialFiles = a.hasSpecialFiles && b.hasSpecialFiles,
          .hasModes = a.hasModes && b.hasModes,
          .hasOwners = a.hasOwners && b.hasOwners,
          .ownsWhatItCreates = a.ownsWhatItCreates && b.ownsWhatItCreates,
          .hasAttributes = a.hasAttributes && b.hasAttributes,
          .hasAccessLists = a.hasAccessLists && b.hasAccessLists,
          .hasFileCapabilities = a.hasFileCapabilities && b.hasFileCapabilities,
          .hasNanosecondDates = a.hasNanosecondDates && b.hasNanosecondDates,
          .hasRenameNoReplace = a.hasRenameNoReplace && b.hasRenameNoReplace,
          .hasRenameExchange = a.hasRenameExchange && b.hasRenameExchange,
          .hasHoles = a.hasHoles && b.hasHoles,
          .reportsHoles = a.reportsHoles && b.reportsHoles,
          .takesAnyNameBytes = a.takesAnyNameBytes && b.takesAnyNameBytes,
          .isCaseSensitive = a.isCaseSensitive && b.isCaseSensitive};
}

VolumeTraits ProbeVolume(const std::string& folder) {
  VolumeTraits traits;
  const TemporaryFolder scratch(folder);
  const std::string file = scratch / "file";
  WriteFile(file, "x");
  ProbeLinks(scratch, &traits);
  ProbeRenames(scratch, &traits);
  traits.hasSpecialFiles = mkfifo((scratch / "fifo").c_str(), 0600) == 0;
  traits.hasModes = KeepsMode(file);
  traits.ownsWhatItCreates = OwnsWhatItCreates(scratch.path());
  traits.hasNanosecondDates = KeepsDate(file, {kSomeDate, 123456789});
  traits.hasAttributes = KeepsAttribute(file, "user.tessary.test", "value");
  traits.hasAccessLists =
      KeepsAttribute(file, kAccessListAttribute, AccessListWithUser(kOtherUser));
  traits.hasFileCapabilities = KeepsAttribute(file, kCapabilityAttribute, MakeFileCapability());
  traits.hasOwners = KeepsOwner(file);
  ProbeHoles(scratch / "hole", &traits);
  MakeFolder(scratch / "bytes");
  traits.takesAnyNameBytes = AcceptsName(scratch / "bytes/\xff:*\n");
  MakeFolder(scratch / "case");
  WriteFile(scratch / "case/a");
  traits.isCaseSensitive = !Exists(scratch / "case/A");
  return traits;
}

}  // namespace tessary::test
