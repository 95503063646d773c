#include "platform/linux/changes/deletion_record.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <new>
#include <optional>
#include <string_view>
#include <utility>

#include "platform/linux/catalog/volume.h"
#include "platform/linux/changes/copy_item.h"
#include "platform/linux/changes/delete_tree.h"
#include "platform/linux/changes/folder_chain.h"
#include "platform/linux/changes/manifest.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/rename_fallbacks.h"
#include "platform/linux/changes/tree_walk.h"
#include "platform/linux/descriptors/open_without_atime.h"
#include "platform/linux/descriptors/open_without_symlinks.h"
#include "platform/linux/descriptors/proc_fd_path.h"
#include "platform/linux/errors.h"
#include "platform/linux/mac_formats/apple_double.h"

namespace tessary {
namespace {

constexpr std::string_view kRecordHeading = "tessary rest 1";
constexpr size_t kMaxRecordSize = 8192;

struct DeletionRecord {
  std::string name;
  std::string copies;
  std::string copy;
};

// Takes the first field, up to a zero byte, from the bytes. Returns none if there is no zero byte.
std::optional<std::string> TakeField(std::string_view* bytes) {
  const size_t end = bytes->find('\0');
  if (end == std::string_view::npos) return std::nullopt;
  std::string field(bytes->substr(0, end));
  bytes->remove_prefix(end + 1);
  return field;
}

// Returns none if the bytes are not a complete record. The names may be crafted: none may lead out
// of its folder.
std::optional<DeletionRecord> ParseDeletionRecord(std::string_view bytes) {
  if (TakeField(&bytes) != kRecordHeading) return std::nullopt;
  const std::optional<std::string> name = TakeField(&bytes);
  const std::optional<std::string> copies = TakeField(&bytes);
  const std::optional<std::string> copy = TakeField(&bytes);
  if (!name || !copies || !copy || !bytes.empty()) return std::nullopt;
  const bool isValid =
      CheckItemName(*name) == noErr && CheckItemName(*copy) == noErr && copies->starts_with('/');
  return isValid ? std::optional(DeletionRecord{*name, *copies, *copy}) : std::nullopt;
}

// Another user's record could make us delete what only we may delete. Only an overlay has folders
// that are deleted in place.
std::optional<DeletionRecord> ReadDeletionRecord(int file, const struct statx& info) {
  if (info.stx_uid != geteuid() || info.stx_size > kMaxRecordSize) return std::nullopt;
  if (!VolumeOf(Identity::Of(info).device, file).isOverlay) return std::nullopt;
  std::array<char, kMaxRecordSize> bytes = {};
  const ssize_t size = pread(file, bytes.data(), bytes.size(), 0);
  if (size <= 0) return std::nullopt;
  return ParseDeletionRecord({bytes.data(), static_cast<size_t>(size)});
}

// Opens a regular file, without following or waiting for whatever else has the name.
Status OpenFileToCompare(int folder, const char* name, UniqueFd* opened, uint64_t* size) {
  *opened = OpenWithoutAtime(folder, name, O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
  // The errors for a link and for a socket.
  if (!*opened) return errno == ELOOP || errno == ENXIO ? fBsyErr : LastError();
  struct statx info = {};
  if (const Status status = ReadObjectInfo(opened->get(), "", &info)) return status;
  *size = info.stx_size;
  return S_ISREG(info.stx_mode) ? noErr : fBsyErr;
}

// Returns noErr if both are regular files with the same contents, fBsyErr if not.
Status CompareFiles(int folder, const char* name, int copies, const char* copy) {
  UniqueFd first;
  UniqueFd second;
  uint64_t size = 0;
  uint64_t copySize = 0;
  if (const Status status = OpenFileToCompare(folder, name, &first, &size)) return status;
  if (const Status status = OpenFileToCompare(copies, copy, &second, &copySize)) return status;
  if (size != copySize) return fBsyErr;
  std::array<char, 16'384> bytes = {};
  std::array<char, 16'384> copyBytes = {};
  for (off_t at = 0; static_cast<uint64_t>(at) < size;) {
    const ssize_t got = pread(first.get(), bytes.data(), bytes.size(), at);
    if (got < 0) return LastError();
    const ssize_t copyGot = pread(second.get(), copyBytes.data(), copyBytes.size(), at);
    if (copyGot < 0) return LastError();
    const auto length = static_cast<size_t>(got);
    if (got == 0 || got != copyGot || std::memcmp(bytes.data(), copyBytes.data(), length) != 0) {
      return fBsyErr;
    }
    at += got;
  }
  return noErr;
}

// Returns noErr if both are links with the same text, fBsyErr if not.
Status CompareLinks(int folder, const char* name, int copies, const char* copy) {
  std::array<char, PATH_MAX> text = {};
  std::array<char, PATH_MAX> copyText = {};
  const ssize_t size = readlinkat(folder, name, text.data(), text.size());
  if (size < 0) return LastError();
  if (readlinkat(copies, copy, copyText.data(), copyText.size()) < 0) {
    return errno == EINVAL ? fBsyErr : LastError();
  }
  return text == copyText ? noErr : fBsyErr;
}

// Compares a tree with its copy, in which every object of the tree has to be. fBsyErr: one is not.
class CopyComparison : public TreeVisitor {
 public:
  CopyComparison(int copy, const Volume& volume) : chain_(copy), volume_(volume) {}

  Status VisitObject(int folder, const char* name, const struct statx& info) override {
    const std::string copy = NameOnVolume(name, volume_);
    if (S_ISREG(info.stx_mode)) return CompareFiles(folder, name, chain_.fd(), copy.c_str());
    if (S_ISLNK(info.stx_mode)) return CompareLinks(folder, name, chain_.fd(), copy.c_str());
    return fBsyErr;
  }

  Status EnterFolder(int /*folder*/, const char* name, const struct statx& /*info*/,
                     int /*opened*/) override {
    const std::string copy = NameOnVolume(name, volume_);
    UniqueFd opened = OpenWithoutAtime(chain_.fd(), copy.c_str(), O_DIRECTORY | O_NOFOLLOW);
    if (!opened) return LastError();
    struct statx info = {};
    if (const Status status = ReadObjectInfo(opened.get(), "", &info)) return status;
    chain_.Push(std::move(opened), Identity::Of(info));
    return noErr;
  }

  Status LeaveFolder(int /*folder*/, const char* /*name*/, const struct statx& /*info*/,
                     int /*left*/) override {
    UniqueFd left;
    return chain_.Pop(&left);
  }

 private:
  FolderChain chain_;
  const Volume& volume_;  // that of the copy
};

// Deletes the folder of the record if everything in it is also in its copy. Compares bytes: a
// record may be crafted, and must not delete more than what exists twice.
Status DeleteRestOfCopy(int folder, const DeletionRecord& record, int copies) {
  const char* name = record.name.c_str();
  const UniqueFd rest = OpenWithoutAtime(folder, name, O_DIRECTORY | O_NOFOLLOW);
  if (!rest) return LastError();
  const UniqueFd copy = OpenWithoutAtime(copies, record.copy.c_str(), O_DIRECTORY | O_NOFOLLOW);
  if (!copy) return LastError();
  if (LiesWithin(copy.get(), folder, name)) return fBsyErr;
  struct statx info = {};
  if (const Status status = ReadObjectInfo(copy.get(), "", &info)) return status;
  // Read first: what changes after the comparison is then not deleted.
  Manifest manifest;
  if (const Status status = ReadManifest(rest.get(), &manifest)) return status;
  CopyComparison comparison(copy.get(), VolumeOf(Identity::Of(info).device, copy.get()));
  if (const Status status = WalkTree(rest.get(), comparison)) return status;
  bool hasBegun = false;
  return DeleteTreeIfUnchanged(folder, name, manifest, &hasBegun);
}

// The sidecar of the folder was staged, and may have been restored because the folder still had its
// name. Without the folder it would stay alone.
void DeleteSidecarOfRest(int folder, const DeletionRecord& record, int copies) {
  const std::string sidecar = SidecarName(record.name);
  const std::string copy = SidecarName(record.copy);
  if (CompareFiles(folder, sidecar.c_str(), copies, copy.c_str()) != noErr) return;
  unlinkat(folder, sidecar.c_str(), 0);
}

}  // namespace

Status WriteDeletionRecord(int folder, const std::string& name, int copies, const std::string& copy,
                           TempItem* record) {
  std::array<char, PATH_MAX> path = {};
  const ssize_t size = readlink(ProcFdPath(copies).c_str(), path.data(), path.size());
  if (size < 0) return LastError();
  if (static_cast<size_t>(size) == path.size() || path[0] != '/') return bdNamErr;
  std::string bytes(kRecordHeading);
  for (const std::string& field :
       {name, std::string(path.data(), static_cast<size_t>(size)), copy}) {
    bytes.append(1, '\0').append(field);
  }
  bytes += '\0';
  TempItem file;
  if (const Status status = TempItem::MakeTempFile(folder, &file)) return status;
  // A record that is not complete is none.
  const ssize_t written = write(file.fd(), bytes.data(), bytes.size());
  if (written < 0 || fsync(file.fd()) != 0) return LastError();
  if (static_cast<size_t>(written) != bytes.size()) return dskFulErr;
  *record = std::move(file);
  return noErr;
}

bool FinishRecordedDeletion(int folder, int file, const struct statx& info) try {
  const std::optional<DeletionRecord> record = ReadDeletionRecord(file, info);
  if (!record) return true;
  const UniqueFd copies = OpenFolderWithoutSymlinks(record->copies);
  if (!copies) return errno == ENOENT || errno == ENOTDIR;
  const Status status = DeleteRestOfCopy(folder, *record, copies.get());
  if (status == noErr) DeleteSidecarOfRest(folder, *record, copies.get());
  // What differs from the copy, or has none, is an item of its own. Every other failure may be gone
  // in the next run.
  return status == noErr || status == fnfErr || status == fBsyErr || status == dirNFErr;
} catch (const std::bad_alloc&) {
  return false;
}

}  // namespace tessary
