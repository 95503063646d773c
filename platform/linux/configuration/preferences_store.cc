#include "platform/managers/preferences_store.h"

#include <utility>

#include "platform/linux/configuration/config_folder.h"
#include "platform/linux/configuration/file_replacement.h"
#include "platform/linux/configuration/preferences_text.h"
#include "platform/linux/configuration/stamped_file.h"

namespace tessary {
namespace {

// The number of attempts if an editor saves the file during a write.
constexpr int kMaxWriteAttempts = 10;

std::string DescribeStatus(Status status) {
  switch (status) {
    case dskFulErr:
      return "no space left on device";
    case wPrErr:
      return "read-only filesystem";
    case fBsyErr:
      return "another program keeps changing it";
    case fnfErr:
      return "its folder does not exist";
    case dirNFErr:
      return "a component of the path is not a folder";
    case paramErr:
      return "not a regular file";
    case afpAccessDenied:
      return "permission denied";
    default:
      return "filesystem error " + std::to_string(status);
  }
}

using Problem = std::optional<PreferencesProblem>;

PreferencesProblem ProblemOf(Status status) { return {.reason = DescribeStatus(status)}; }

// Returns "PATH:LINE:COLUMN: REASON; CONSEQUENCE", without line and column if there are none.
std::string FormatProblem(const std::string& path, const PreferencesProblem& problem,
                          const std::string& consequence) {
  std::string text = path;
  if (problem.line > 0) {
    text += ":" + std::to_string(problem.line) + ":" + std::to_string(problem.column);
  }
  return text + ": " + problem.reason + "; " + consequence;
}

// Reads one byte more than the limit at most, which is enough to detect a file that is too large.
Status ReadText(const std::string& path, StampedFile* file) {
  return ReadStampedFile(path.c_str(), kMaxPreferencesSize + 1, file);
}

// Reads the file at the path and its stamp; an empty text and no stamp if there is no file.
Status ReadExistingText(const std::string& path, std::string* text,
                        std::optional<FileStamp>* stamp) {
  StampedFile file;
  const Status status = ReadText(path, &file);
  if (status != noErr && status != fnfErr) return status;
  *text = file.text;
  *stamp = status == noErr ? std::optional(file.stamp) : std::nullopt;
  return noErr;
}

// Applies the changes to the current text of the file and replaces the file. Sets `*isConflict` if
// another program changed the file after it was read.
Problem WriteOnce(const PreferenceChanges& changes, FileReplacement* replacement,
                  bool* isConflict) {
  *isConflict = false;
  std::string text;
  std::optional<FileStamp> stamp;
  Status status = ReadExistingText(replacement->target(), &text, &stamp);
  if (status != noErr) return ProblemOf(status);
  std::string changed;
  if (auto problem = ChangePreferences(text, changes, &changed)) return problem;
  if (changed == text) return std::nullopt;
  status = replacement->Commit(changed, stamp);
  if (status == noErr) return std::nullopt;
  *isConflict = status == fBsyErr;
  return ProblemOf(status);
}

Problem WriteChanges(const std::string& path, const PreferenceChanges& changes) {
  std::string text;
  std::optional<FileStamp> stamp;
  Status status = ReadExistingText(path, &text, &stamp);
  if (status != noErr) return ProblemOf(status);
  // Tried without a lock first, so that changes that have no effect or are impossible create
  // neither a folder nor a lock.
  std::string changed;
  if (auto problem = ChangePreferences(text, changes, &changed)) return problem;
  if (changed == text) return std::nullopt;

  status = MakeConfigFolder();
  if (status != noErr) return ProblemOf(status);
  FileReplacement replacement;
  status = replacement.Begin(path);
  if (status != noErr) return ProblemOf(status);
  Problem problem;
  bool isConflict = true;
  for (int writes = 0; isConflict && writes < kMaxWriteAttempts; ++writes) {
    problem = WriteOnce(changes, &replacement, &isConflict);
  }
  return problem;
}

class PreferencesStore {
 public:
  std::optional<CFPropertyList> Copy(std::string_view key) {
    // An option of the command line precedes what is stored, and is never stored itself.
    if (const auto overridden = overrides_.find(key); overridden != overrides_.end())
      return overridden->second;
    LoadOnce();
    if (const auto set = pendingChanges_.find(key); set != pendingChanges_.end())
      return set->second;
    const auto value = values_.find(key);
    return value == values_.end() ? std::nullopt : std::optional(value->second);
  }

  std::vector<std::string> Keys() {
    LoadOnce();
    std::vector<std::string> keys;
    for (const auto& [key, value] : values_) keys.push_back(key);
    return keys;
  }

  void Set(const std::string& key, const std::optional<CFPropertyList>& value) {
    LoadOnce();
    pendingChanges_.insert_or_assign(key, value);
  }

  void Override(const std::string& key, const CFPropertyList& value) {
    overrides_.insert_or_assign(key, value);
  }

  bool Synchronise() {
    // The environment is read again each time, because tests and desktop sessions can change it
    // within a process. Comparing it costs no system call.
    UpdatePath();
    writeProblem_.reset();
    if (!pendingChanges_.empty()) {
      if (const Problem problem = WriteChanges(path_, std::exchange(pendingChanges_, {}))) {
        writeProblem_ = FormatProblem(path_, *problem, "not changed");
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

  // Switches to another file and discards the changes pending for the previous one.
  void Open(std::string path) {
    path_ = std::move(path);
    pendingChanges_.clear();
    trustedStamp_.reset();
    text_.reset();
    values_.clear();
    readProblem_.reset();
  }

  // Reads the file again, unless it is missing or its stamp proves that it is unchanged.
  void Refresh() {
    FileStamp stamp;
    Status status = ReadFileStamp(path_.c_str(), &stamp);
    if (trustedStamp_ && status == noErr && stamp == *trustedStamp_) return;
    trustedStamp_.reset();
    StampedFile file;
    if (status != fnfErr) status = ReadText(path_, &file);
    if (status != noErr) {
      UseDefaults(status == fnfErr ? std::nullopt : std::optional(ProblemOf(status)));
      return;
    }
    // A stamp proves nothing while a second write within the resolution of the filesystem's clock
    // could leave it unchanged. The contents are read at each synchronisation until then.
    if (!file.isRecentlyModified) trustedStamp_ = file.stamp;
    // The same text, touched or replaced: parsing it again would give the same values and problem.
    if (text_ == file.text) return;
    PreferenceValues values;
    if (const Problem problem = ParsePreferences(file.text, &values)) {
      UseDefaults(problem);
    } else {
      values_ = std::move(values);
      readProblem_.reset();
    }
    text_ = std::move(file.text);
  }

  // Behaves like an empty file, and keeps the problem, if there is one.
  void UseDefaults(const Problem& problem) {
    text_.reset();
    values_.clear();
    readProblem_.reset();
    if (problem) readProblem_ = FormatProblem(path_, *problem, "using defaults");
  }

  ConfigEnvironment environment_;
  std::string path_;                       // empty before the first use
  std::optional<FileStamp> trustedStamp_;  // none if only reading shows whether the file changed
  std::optional<std::string> text_;        // the text that values_ was parsed from; none if no file
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

std::vector<std::string> CopyPreferenceKeys() { return Store().Keys(); }

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
