#include "platform/managers/preferences_store.h"

#include <utility>

#include "platform/linux/configuration/config_folder.h"
#include "platform/linux/configuration/file_replacement.h"
#include "platform/linux/configuration/preferences_text.h"
#include "platform/linux/configuration/stamped_file.h"

namespace tessary {
namespace {

// How often a write starts over because an editor saved the file meanwhile.
constexpr int kMaxWriteAttempts = 10;

std::string DescribeStatus(Status status) {
  switch (status) {
    case dskFulErr:
      return "there is no room on the volume";
    case wPrErr:
      return "the volume is read-only";
    case fBsyErr:
      return "another program keeps changing it";
    case fnfErr:
      return "the folder that it lies in does not exist";
    case dirNFErr:
      return "a part of its path is no folder";
    case paramErr:
      return "it is no file";
    case afpAccessDenied:
      return "permission is denied";
    default:
      return "the file system reports error " + std::to_string(status);
  }
}

// The file's contents without more than is needed to see that they are too large.
Status ReadText(const std::string& path, StampedFile* file) {
  return ReadStampedFile(path.c_str(), kMaxPreferencesSize + 1, file);
}

// The text of the file at the path, and its stamp; no text and no stamp when there is no file.
Status ReadExistingText(const std::string& path, std::string* text,
                        std::optional<FileStamp>* stamp) {
  StampedFile file;
  const Status status = ReadText(path, &file);
  if (status != noErr && status != fnfErr) return status;
  *text = file.text;
  *stamp = status == noErr ? std::optional(file.stamp) : std::nullopt;
  return noErr;
}

// Why a write failed; none when it did not.
using Reason = std::optional<std::string>;

// Composes the new text from the file as it is and replaces it. `isConflict` is set when the file
// was changed meanwhile.
Reason WriteOnce(const PreferenceChanges& changes, FileReplacement* replacement, bool* isConflict) {
  *isConflict = false;
  std::string text;
  std::optional<FileStamp> stamp;
  Status status = ReadExistingText(replacement->target(), &text, &stamp);
  if (status != noErr) return DescribeStatus(status);
  std::string changed;
  if (auto reason = ChangePreferences(text, changes, &changed)) return reason;
  if (changed == text) return std::nullopt;
  status = replacement->Commit(changed, stamp);
  if (status == noErr) return std::nullopt;
  *isConflict = status == fBsyErr;
  return DescribeStatus(status);
}

Reason WriteChanges(const std::string& path, const PreferenceChanges& changes) {
  std::string text;
  std::optional<FileStamp> stamp;
  Status status = ReadExistingText(path, &text, &stamp);
  if (status != noErr) return DescribeStatus(status);
  // What changes nothing or cannot be done makes neither a folder nor a lock.
  std::string changed;
  if (auto reason = ChangePreferences(text, changes, &changed)) return reason;
  if (changed == text) return std::nullopt;

  status = MakeConfigFolder();
  if (status != noErr) return DescribeStatus(status);
  FileReplacement replacement;
  status = replacement.Begin(path);
  if (status != noErr) return DescribeStatus(status);
  Reason reason;
  bool isConflict = true;
  for (int writes = 0; isConflict && writes < kMaxWriteAttempts; ++writes) {
    reason = WriteOnce(changes, &replacement, &isConflict);
  }
  return reason;
}

class PreferencesStore {
 public:
  std::optional<CFPropertyList> Copy(std::string_view key) {
    if (const auto overridden = overrides_.find(key); overridden != overrides_.end())
      return overridden->second;
    LoadOnce();
    if (const auto set = pendingChanges_.find(key); set != pendingChanges_.end())
      return set->second;
    const auto value = values_.find(key);
    return value == values_.end() ? std::nullopt : std::optional(value->second);
  }

  void Set(const std::string& key, const std::optional<CFPropertyList>& value) {
    LoadOnce();
    pendingChanges_.insert_or_assign(key, value);
  }

  void Override(const std::string& key, const CFPropertyList& value) {
    overrides_.insert_or_assign(key, value);
  }

  bool Synchronise() {
    UpdatePath();
    writeProblem_.reset();
    if (!pendingChanges_.empty()) {
      if (const Reason reason = WriteChanges(path_, std::exchange(pendingChanges_, {}))) {
        writeProblem_ = path_ + " was not changed, because " + *reason +
                        "; correct that and set the value again.";
      }
    }
    Refresh();
    return !readProblem_ && !writeProblem_;
  }

  std::optional<std::string> DescribeProblem() {
    LoadOnce();
    return writeProblem_ ? writeProblem_ : readProblem_;
  }

 private:
  void LoadOnce() {
    if (!path_.empty()) return;
    Open(PreferencesFilePath());
    Refresh();
  }

  void UpdatePath() {
    if (environment_.IsCurrent()) return;
    std::string path = PreferencesFilePath();
    if (path != path_) Open(std::move(path));
    environment_.Capture();
  }

  // Begins with another file; what was set for the former one is forgotten.
  void Open(std::string path) {
    path_ = std::move(path);
    pendingChanges_.clear();
    trusted_.reset();
    text_.reset();
    values_.clear();
    readProblem_.reset();
  }

  // Reads the file again unless its stamp proves that it is as it was, or that it is not there.
  void Refresh() {
    FileStamp stamp;
    Status status = ReadFileStamp(path_.c_str(), &stamp);
    if (trusted_ && status == noErr && stamp == *trusted_) return;
    trusted_.reset();
    StampedFile file;
    if (status != fnfErr) status = ReadText(path_, &file);
    if (status != noErr) {
      Forget(status == fnfErr ? std::nullopt : std::optional(DescribeStatus(status)));
      return;
    }
    if (!file.isRecentlyModified) trusted_ = file.stamp;
    if (text_ == file.text) return;
    PreferenceValues values;
    if (const auto reason = ParsePreferences(file.text, &values)) {
      Forget(*reason);
    } else {
      values_ = std::move(values);
      readProblem_.reset();
    }
    text_ = std::move(file.text);
  }

  // Stands as an empty file would, with the reason where there is one.
  void Forget(const Reason& reason) {
    text_.reset();
    values_.clear();
    readProblem_.reset();
    if (!reason) return;
    readProblem_ = path_ + " cannot be read, because " + *reason +
                   "; until that is corrected, every setting has its default.";
  }

  ConfigEnvironment environment_;
  std::string path_;                  // empty before the first use
  std::optional<FileStamp> trusted_;  // none where the file must be read to know whether it changed
  std::optional<std::string> text_;   // what values_ was read from; none where there is no file
  PreferenceValues values_;
  PreferenceChanges pendingChanges_;
  PreferenceValues overrides_;
  std::optional<std::string> readProblem_;
  std::optional<std::string> writeProblem_;
};

PreferencesStore& Store() {
  static PreferencesStore store;
  return store;
}

}  // namespace

std::optional<CFPropertyList> CFPreferencesCopyAppValue(std::string_view key) {
  return Store().Copy(key);
}

void CFPreferencesSetAppValue(const std::string& key, const std::optional<CFPropertyList>& value) {
  Store().Set(key, value);
}

bool CFPreferencesAppSynchronize() { return Store().Synchronise(); }

void OverridePreference(const std::string& key, const CFPropertyList& value) {
  Store().Override(key, value);
}

std::string PreferencesFilePath() { return ConfigFolder() + "/preferences.toml"; }

std::optional<std::string> DescribePreferencesProblem() { return Store().DescribeProblem(); }

}  // namespace tessary
