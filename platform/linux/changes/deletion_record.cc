#include "platform/linux/changes/deletion_record.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <new>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/linux/catalog/folder_names.h"
#include "platform/linux/catalog/volume.h"
#include "platform/linux/changes/copy_item.h"
#include "platform/linux/changes/delete_tree.h"
#include "platform/linux/changes/manifest.h"
#include "platform/linux/changes/rename_fallbacks.h"
#include "platform/linux/changes/same_contents.h"
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

// Deletes the folder of the record if everything in it is also in its copy. Compares bytes: a
// record may be crafted, and must not delete more than what exists twice.
Status DeleteRestOfCopy(int folder, const DeletionRecord& record, int copies) {
  const char* name = record.name.c_str();
  const UniqueFd rest = OpenWithoutAtime(folder, name, O_DIRECTORY | O_NOFOLLOW);
  if (!rest) return LastError();
  const UniqueFd copy = OpenWithoutAtime(copies, record.copy.c_str(), O_DIRECTORY | O_NOFOLLOW);
  if (!copy) return LastError();
  if (LiesWithin(copy.get(), folder, name)) return fBsyErr;
  // Read first: what changes after the comparison is then not deleted.
  Manifest manifest;
  if (const Status status = ReadManifest(rest.get(), &manifest)) return status;
  if (const Status status = CompareWithCopy(rest.get(), copy.get())) return status;
  bool hasBegun = false;
  return DeleteTreeIfUnchanged(folder, name, manifest, &hasBegun);
}

// The sidecar of the folder was staged, and may have been restored because the folder still had its
// name. Without the folder it would stay alone.
void DeleteSidecarOfRest(int folder, const DeletionRecord& record, int copies) {
  const std::string sidecar = SidecarName(record.name);
  const std::string copy = SidecarName(record.copy);
  if (CompareContents({folder, sidecar}, {copies, copy}) != noErr) return;
  unlinkat(folder, sidecar.c_str(), 0);
}

Status DeleteRestAndSidecar(int folder, const DeletionRecord& record, int copies) {
  const Status status = DeleteRestOfCopy(folder, record, copies);
  if (status == noErr) DeleteSidecarOfRest(folder, record, copies);
  return status;
}

// Deletes the rest if its copy is in a folder of `copies`. A later run by date moves all items of a
// year, and the copy with them, into folders of their days, possibly before it comes to the rest.
Status DeleteRestOfMovedCopy(int folder, const DeletionRecord& record, int copies) {
  const UniqueFd readable = OpenWithoutAtime(copies, ".", O_DIRECTORY);
  std::vector<std::string> names;
  if (!readable) return LastError();
  if (const Status status = ReadFolderNames(readable.get(), nullptr, &names)) return status;
  for (const std::string& name : names) {
    const UniqueFd day(openat(copies, name.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (day && DeleteRestAndSidecar(folder, record, day.get()) == noErr) return noErr;
  }
  return fnfErr;
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
  Status status = DeleteRestAndSidecar(folder, *record, copies.get());
  if (status == fnfErr) status = DeleteRestOfMovedCopy(folder, *record, copies.get());
  // What differs from the copy, or has none, is an item of its own. Every other failure may be gone
  // in the next run.
  return status == noErr || status == fnfErr || status == fBsyErr || status == dirNFErr;
} catch (const std::bad_alloc&) {
  return false;
}

}  // namespace tessary
