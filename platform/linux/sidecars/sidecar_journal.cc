#include "platform/linux/sidecars/sidecar_journal.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <utility>

#include "platform/linux/catalog/temp_name.h"
#include "platform/linux/catalog/volume.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/temp_item.h"
#include "platform/linux/descriptors/deferred_errors.h"
#include "platform/linux/errors.h"
#include "platform/managers/uuid.h"

namespace tessary {
namespace {

constexpr std::string_view kFirstField = "tessary pair 1";
constexpr std::string_view kLastField = "end";
constexpr std::string_view kOperations = "MACDT";

void AppendField(std::string* bytes, std::string_view field) { bytes->append(field).push_back(0); }

void AppendFingerprint(std::string* bytes, const ObjectFingerprint& fingerprint) {
  for (const uint64_t number :
       {fingerprint.identity.inode, fingerprint.identity.birth,
        uint64_t{fingerprint.identity.device}, uint64_t{fingerprint.type}, fingerprint.size,
        static_cast<uint64_t>(fingerprint.seconds), uint64_t{fingerprint.nanoseconds}}) {
    AppendField(bytes, std::to_string(number));
  }
}

// Reads the fields of an entry one after the other. After a field that is missing or malformed,
// IsGood() is false and all further fields are empty.
class FieldReader {
 public:
  explicit FieldReader(std::string_view bytes) : bytes_(bytes) {}

  bool IsGood() const { return isGood_; }

  std::string_view Text() {
    const size_t end = bytes_.find('\0');
    isGood_ &= end != std::string_view::npos;
    if (!isGood_) return {};
    const std::string_view field = bytes_.substr(0, end);
    bytes_.remove_prefix(end + 1);
    return field;
  }

  template <typename Number>
  void Read(Number* number) {
    const std::string_view field = Text();
    uint64_t value = 0;
    const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), value);
    isGood_ &= error == std::errc() && end == field.data() + field.size();
    *number = static_cast<Number>(value);
  }

  void Read(ObjectFingerprint* fingerprint) {
    Read(&fingerprint->identity.inode);
    Read(&fingerprint->identity.birth);
    Read(&fingerprint->identity.device);
    Read(&fingerprint->type);
    Read(&fingerprint->size);
    Read(&fingerprint->seconds);
    Read(&fingerprint->nanoseconds);
  }

 private:
  std::string_view bytes_;
  bool isGood_ = true;
};

// Entries may be crafted, for example in an archive that the user has unpacked: no name in one may
// lead out of its folder.
bool IsNameInFolder(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string_view::npos;
}

bool HasValidNames(const JournalEntry& entry) {
  const bool hasNewName = entry.operation != JournalOperation::kDelete || !entry.newName.empty();
  return IsNameInFolder(entry.name) && (!hasNewName || IsNameInFolder(entry.newName)) &&
         (entry.otherPath.empty() || entry.otherPath.front() == '/');
}

bool WriteWhole(int file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t size = write(file, bytes.data(), bytes.size());
    if (size < 0 && errno == EINTR) continue;
    if (size <= 0) return false;
    bytes.remove_prefix(static_cast<size_t>(size));
  }
  return true;
}

Status WriteEntry(int file, const JournalEntry& entry) {
  struct statx info = {};
  if (!WriteWhole(file, FormatJournalEntry(entry))) return LastError();
  if (const Status status = ReadObjectInfo(file, "", &info)) return status;
  const bool isImmediate = VolumeOf(Identity::Of(info).device, file).hasImmediateWriteErrors;
  return isImmediate ? noErr : FlushDeferredErrors(file);
}

}  // namespace

bool IsJournalEntryName(std::string_view name) {
  return name.starts_with(kJournalEntryPrefix) && IsUuid(name.substr(kJournalEntryPrefix.size()));
}

ObjectFingerprint ObjectFingerprint::Of(const struct statx& info) {
  return {Identity::Of(info), info.stx_mode & uint32_t{S_IFMT}, info.stx_size,
          info.stx_mtime.tv_sec, info.stx_mtime.tv_nsec};
}

bool ObjectFingerprint::MatchesIdentity(const struct statx& info) const {
  return identity.Matches(Identity::Of(info));
}

// The size of a folder differs between filesystems.
bool ObjectFingerprint::MatchesAttributes(const struct statx& info) const {
  const ObjectFingerprint other = Of(info);
  return type == other.type && (type == S_IFDIR || size == other.size) &&
         seconds == other.seconds && nanoseconds == other.nanoseconds;
}

std::string FormatJournalEntry(const JournalEntry& entry) {
  std::string bytes;
  AppendField(&bytes, kFirstField);
  AppendField(&bytes, {reinterpret_cast<const char*>(&entry.operation), 1});
  AppendField(&bytes, entry.name);
  AppendField(&bytes, entry.newName);
  AppendField(&bytes, entry.otherPath);
  AppendFingerprint(&bytes, entry.item);
  AppendFingerprint(&bytes, entry.sidecar);
  AppendField(&bytes, kLastField);
  return bytes;
}

std::optional<JournalEntry> ParseJournalEntry(std::string_view bytes) {
  FieldReader reader(bytes);
  JournalEntry entry;
  if (reader.Text() != kFirstField) return std::nullopt;
  const std::string_view operation = reader.Text();
  const bool isKnown = operation.size() == 1 && kOperations.find(operation) != operation.npos;
  if (!isKnown) return std::nullopt;
  entry.operation = static_cast<JournalOperation>(operation.front());
  entry.name = reader.Text();
  entry.newName = reader.Text();
  entry.otherPath = reader.Text();
  reader.Read(&entry.item);
  reader.Read(&entry.sidecar);
  if (reader.Text() != kLastField || !reader.IsGood() || !HasValidNames(entry)) return std::nullopt;
  return entry;
}

SidecarJournal& SidecarJournal::operator=(SidecarJournal&& other) noexcept {
  if (this == &other) return *this;
  Remove();
  folder_ = std::exchange(other.folder_, -1);
  name_ = std::exchange(other.name_, {});
  isOnDisk_ = std::exchange(other.isOnDisk_, false);
  file_ = std::move(other.file_);
  return *this;
}

// Creates and locks the file. fBsyErr: another process found it before it was locked, took it for
// the empty entry of a crashed process and removes it.
Status SidecarJournal::Create(int folder, const std::string& name, SidecarJournal* journal) {
  SidecarJournal created;
  created.folder_ = folder;
  created.name_ = name;
  constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  created.file_ = UniqueFd(openat(folder, name.c_str(), kFlags, 0600));
  if (!created.file_) return LastError();
  created.isOnDisk_ = true;
  struct statx info = {};
  // On a filesystem without locks the entry is written all the same: it is never recovered, but it
  // tells a user what happened.
  if (TryFileLock(created.file_.get()) == fBsyErr) return fBsyErr;
  if (const Status status = ReadObjectInfo(created.file_.get(), "", &info)) return status;
  if (info.stx_nlink == 0) return fBsyErr;
  *journal = std::move(created);
  return noErr;
}

Status SidecarJournal::WriteNamed(int folder, const std::string& name, const JournalEntry& entry,
                                  SidecarJournal* journal) {
  constexpr int kTries = 8;
  SidecarJournal created;
  Status status = fBsyErr;
  for (int i = 0; i < kTries && status == fBsyErr; ++i) status = Create(folder, name, &created);
  if (status == noErr) status = WriteEntry(created.file_.get(), entry);
  if (status != noErr) created.Remove();
  if (status != noErr && status != dskFulErr) return status;
  // The staged names depend on it, even without an entry on disk.
  created.name_ = name;
  *journal = std::move(created);
  return noErr;
}

Status SidecarJournal::Write(int folder, const JournalEntry& entry, SidecarJournal* journal) {
  const std::optional<std::string> uuid = CFUUIDCreateString();
  if (!uuid) return ioErr;
  return WriteNamed(folder, std::string(kJournalEntryPrefix) + *uuid, entry, journal);
}

Status SidecarJournal::WriteSecond(const SidecarJournal& first, int folder,
                                   const JournalEntry& entry, SidecarJournal* journal) {
  const Status status = WriteNamed(folder, first.name_, entry, journal);
  return status == dupFNErr ? Write(folder, entry, journal) : status;
}

// An entry that cannot be removed is removed by recovery, which finds that nothing is left to do.
void SidecarJournal::Remove() {
  if (isOnDisk_) unlinkat(folder_, name_.c_str(), 0);
  isOnDisk_ = false;
}

std::string SidecarJournal::StagedItemName() const { return StagedItemNameOf(name_); }

// Without an entry on disk nothing would restore a hidden file after a crash.
std::string SidecarJournal::StagedSidecarName() const {
  return isOnDisk_ ? StagedSidecarNameOf(name_) : StagedItemNameOf(name_) + "-sidecar";
}

std::string StagedItemNameOf(const std::string& entryName) { return entryName.substr(1); }

std::string StagedSidecarNameOf(const std::string& entryName) { return entryName + ".sidecar"; }

}  // namespace tessary
