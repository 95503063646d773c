#include "platform/linux/changes/pair_record.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <utility>

#include "platform/linux/catalog/sidecars.h"
#include "platform/linux/changes/hidden_name.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/errors.h"
#include "platform/managers/uuid.h"

namespace tessary {
namespace {

constexpr std::string_view kBeginning = "tessary pair 1";
constexpr std::string_view kEnd = "end";
constexpr std::string_view kChanges = "MACDT";

// Names and paths hold no zero, so that one ends each field.
void AppendField(std::string* bytes, std::string_view field) { bytes->append(field).push_back(0); }

void AppendMark(std::string* bytes, const ObjectMark& mark) {
  for (const uint64_t number : {mark.identity.inode, mark.identity.birth,
                                uint64_t{mark.identity.device}, uint64_t{mark.type}, mark.size,
                                static_cast<uint64_t>(mark.seconds), uint64_t{mark.nanoseconds}}) {
    AppendField(bytes, std::to_string(number));
  }
}

// Takes the fields of a record one after the other.
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

  void Read(ObjectMark* mark) {
    Read(&mark->identity.inode);
    Read(&mark->identity.birth);
    Read(&mark->identity.device);
    Read(&mark->type);
    Read(&mark->size);
    Read(&mark->seconds);
    Read(&mark->nanoseconds);
  }

 private:
  std::string_view bytes_;
  bool isGood_ = true;
};

// True for what names an object in a folder. Anybody can leave a record in a folder that is filed,
// an archive that its user has unpacked for one, and no name in it may lead out of there.
bool IsEntryName(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string_view::npos;
}

bool NamesEntries(const PairIntent& intent) {
  const bool hasNewName = intent.change != PairChange::kDelete || !intent.newName.empty();
  return IsEntryName(intent.name) && (!hasNewName || IsEntryName(intent.newName)) &&
         (intent.otherPath.empty() || intent.otherPath.front() == '/');
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

ObjectMark ObjectMark::Of(const struct statx& info) {
  return {Identity::Of(info), info.stx_mode & uint32_t{S_IFMT}, info.stx_size,
          info.stx_mtime.tv_sec, info.stx_mtime.tv_nsec};
}

bool ObjectMark::IsOf(const struct statx& info) const {
  return identity.Matches(Identity::Of(info));
}

// A folder's size is the volume's affair.
bool ObjectMark::IsLike(const struct statx& info) const {
  const ObjectMark other = Of(info);
  return type == other.type && (type == S_IFDIR || size == other.size) &&
         seconds == other.seconds && nanoseconds == other.nanoseconds;
}

std::string FormatPairIntent(const PairIntent& intent) {
  std::string bytes;
  AppendField(&bytes, kBeginning);
  AppendField(&bytes, {reinterpret_cast<const char*>(&intent.change), 1});
  AppendField(&bytes, intent.name);
  AppendField(&bytes, intent.newName);
  AppendField(&bytes, intent.otherPath);
  AppendMark(&bytes, intent.item);
  AppendMark(&bytes, intent.sidecar);
  AppendField(&bytes, kEnd);
  return bytes;
}

std::optional<PairIntent> ParsePairIntent(std::string_view bytes) {
  FieldReader reader(bytes);
  PairIntent intent;
  if (reader.Text() != kBeginning) return std::nullopt;
  const std::string_view change = reader.Text();
  if (change.size() != 1 || kChanges.find(change) == std::string_view::npos) return std::nullopt;
  intent.change = static_cast<PairChange>(change.front());
  intent.name = reader.Text();
  intent.newName = reader.Text();
  intent.otherPath = reader.Text();
  reader.Read(&intent.item);
  reader.Read(&intent.sidecar);
  if (reader.Text() != kEnd || !reader.IsGood() || !NamesEntries(intent)) return std::nullopt;
  return intent;
}

PairRecord& PairRecord::operator=(PairRecord&& other) noexcept {
  if (this == &other) return *this;
  Remove();
  folder_ = std::exchange(other.folder_, -1);
  name_ = std::exchange(other.name_, {});
  isOnDisk_ = std::exchange(other.isOnDisk_, false);
  file_ = std::move(other.file_);
  return *this;
}

// fBsyErr: somebody looked at the empty record before it was locked, and takes it for one to
// remove.
Status PairRecord::Make(int folder, PairRecord* record) {
  const std::optional<std::string> uuid = CFUUIDCreateString();
  if (!uuid) return ioErr;
  PairRecord made;
  made.folder_ = folder;
  made.name_ = std::string(kPairRecordPrefix) + *uuid;
  record->name_ = made.name_;
  constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  made.file_ = UniqueFd(openat(folder, made.name_.c_str(), kFlags, 0600));
  if (!made.file_) return LastError();
  made.isOnDisk_ = true;
  struct statx info = {};
  if (TakeHiddenLock(made.file_.get()) == fBsyErr) return fBsyErr;
  if (const Status status = ReadObjectInfo(made.file_.get(), "", &info)) return status;
  if (info.stx_nlink == 0) return fBsyErr;
  *record = std::move(made);
  return noErr;
}

Status PairRecord::Write(int folder, const PairIntent& intent, PairRecord* record) {
  constexpr int kTries = 8;
  PairRecord made;
  Status status = fBsyErr;
  for (int i = 0; i < kTries && status == fBsyErr; ++i) status = Make(folder, &made);
  if (status == noErr && !WriteWhole(made.file_.get(), FormatPairIntent(intent))) {
    status = LastError();
    made.Remove();
  }
  if (status != noErr && status != dskFulErr) return status;
  *record = std::move(made);
  return noErr;
}

// What cannot be removed is found to be done by a later look.
void PairRecord::Remove() {
  if (isOnDisk_) unlinkat(folder_, name_.c_str(), 0);
  isOnDisk_ = false;
}

std::string PairRecord::ItemAside() const { return ItemAsideName(name_); }

std::string PairRecord::SidecarAside() const {
  return isOnDisk_ ? SidecarAsideName(name_) : ItemAsideName(name_) + "-sidecar";
}

std::string ItemAsideName(const std::string& recordName) { return recordName.substr(1); }

std::string SidecarAsideName(const std::string& recordName) { return recordName + ".sidecar"; }

}  // namespace tessary
