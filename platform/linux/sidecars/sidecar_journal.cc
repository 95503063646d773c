#include "platform/linux/sidecars/sidecar_journal.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <utility>

#include "platform/linux/catalog/sidecar_lookup.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/temp_item.h"
#include "platform/linux/errors.h"
#include "platform/managers/uuid.h"

namespace tessary {
namespace {

constexpr std::string_view kFirstField = "tessary pair 1";
constexpr std::string_view kLastField = "end";
constexpr std::string_view kOperations = "MACDT";

// Names and paths hold no zero, so that one ends each field.
void AppendField(std::string* bytes, std::string_view field) { bytes->append(field).push_back(0); }

void AppendFingerprint(std::string* bytes, const ObjectFingerprint& fingerprint) {
  for (const uint64_t number :
       {fingerprint.identity.inode, fingerprint.identity.birth,
        uint64_t{fingerprint.identity.device}, uint64_t{fingerprint.type}, fingerprint.size,
        static_cast<uint64_t>(fingerprint.seconds), uint64_t{fingerprint.nanoseconds}}) {
    AppendField(bytes, std::to_string(number));
  }
}

// Takes the fields of a journal one after the other.
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

// True for what names an object in a folder. Anybody can leave a journal in a folder that is filed,
// an archive that its user has unpacked for one, and no name in it may lead out of there.
bool IsEntryName(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string_view::npos;
}

bool HasValidNames(const JournalEntry& entry) {
  const bool hasNewName = entry.change != JournalOperation::kDelete || !entry.newName.empty();
  return IsEntryName(entry.name) && (!hasNewName || IsEntryName(entry.newName)) &&
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

}  // namespace

ObjectFingerprint ObjectFingerprint::Of(const struct statx& info) {
  return {Identity::Of(info), info.stx_mode & uint32_t{S_IFMT}, info.stx_size,
          info.stx_mtime.tv_sec, info.stx_mtime.tv_nsec};
}

bool ObjectFingerprint::MatchesIdentity(const struct statx& info) const {
  return identity.Matches(Identity::Of(info));
}

// A folder's size is the volume's affair.
bool ObjectFingerprint::MatchesAttributes(const struct statx& info) const {
  const ObjectFingerprint other = Of(info);
  return type == other.type && (type == S_IFDIR || size == other.size) &&
         seconds == other.seconds && nanoseconds == other.nanoseconds;
}

std::string FormatJournalEntry(const JournalEntry& entry) {
  std::string bytes;
  AppendField(&bytes, kFirstField);
  AppendField(&bytes, {reinterpret_cast<const char*>(&entry.change), 1});
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
  const std::string_view change = reader.Text();
  if (change.size() != 1 || kOperations.find(change) == std::string_view::npos) return std::nullopt;
  entry.change = static_cast<JournalOperation>(change.front());
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

// fBsyErr: somebody looked at the empty journal before it was locked, and takes it for one to
// remove.
Status SidecarJournal::Make(int folder, SidecarJournal* journal) {
  const std::optional<std::string> uuid = CFUUIDCreateString();
  if (!uuid) return ioErr;
  SidecarJournal made;
  made.folder_ = folder;
  made.name_ = std::string(kJournalEntryPrefix) + *uuid;
  journal->name_ = made.name_;
  constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  made.file_ = UniqueFd(openat(folder, made.name_.c_str(), kFlags, 0600));
  if (!made.file_) return LastError();
  made.isOnDisk_ = true;
  struct statx info = {};
  if (TryFileLock(made.file_.get()) == fBsyErr) return fBsyErr;
  if (const Status status = ReadObjectInfo(made.file_.get(), "", &info)) return status;
  if (info.stx_nlink == 0) return fBsyErr;
  *journal = std::move(made);
  return noErr;
}

Status SidecarJournal::Write(int folder, const JournalEntry& entry, SidecarJournal* journal) {
  constexpr int kTries = 8;
  SidecarJournal made;
  Status status = fBsyErr;
  for (int i = 0; i < kTries && status == fBsyErr; ++i) status = Make(folder, &made);
  if (status == noErr && !WriteWhole(made.file_.get(), FormatJournalEntry(entry))) {
    status = LastError();
    made.Remove();
  }
  if (status != noErr && status != dskFulErr) return status;
  *journal = std::move(made);
  return noErr;
}

// What cannot be removed is found to be done by a later look.
void SidecarJournal::Remove() {
  if (isOnDisk_) unlinkat(folder_, name_.c_str(), 0);
  isOnDisk_ = false;
}

std::string SidecarJournal::StagedItemName() const { return StagedItemNameOf(name_); }

std::string SidecarJournal::StagedSidecarName() const {
  return isOnDisk_ ? StagedSidecarNameOf(name_) : StagedItemNameOf(name_) + "-sidecar";
}

std::string StagedItemNameOf(const std::string& entryName) { return entryName.substr(1); }

std::string StagedSidecarNameOf(const std::string& entryName) { return entryName + ".sidecar"; }

}  // namespace tessary
