#include "tests/model/run_model.h"

#include <algorithm>

namespace tessary::test {
namespace {

// The extension of a name, in its own case. None without a "."; may be empty.
std::optional<std::string> ExtensionOf(const std::string& name) {
  const size_t dot = name.rfind('.');
  if (dot == std::string::npos) return std::nullopt;
  return name.substr(dot + 1);
}

std::string InLowerCase(std::string text) {
  for (char& c : text) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return text;
}

std::optional<std::string> Find(const std::map<std::string, std::string>& table,
                                const std::string& key) {
  const auto found = table.find(key);
  if (found == table.end()) return std::nullopt;
  return found->second;
}

bool IsItem(const RandomObject& object) {
  return object.kind != ObjectKind::kFolder && !object.isInvisible && NameIn(object.path)[0] != '.';
}

}  // namespace

const std::map<std::string, std::string>& MappedFileTypes() {
  static const std::map<std::string, std::string> kTypes = {
      {"txt", "TEXT"},    {"jpg", "JPEG"},  {"gz", "GZIP"},       {"app", "APPX"},
      {"bundle", "BNDL"}, {"rtfd", "RTFD"}, {"framework", "FMWK"}};
  return kTypes;
}

const std::map<std::string, std::string>& KnownMimeTypes() {
  static const std::map<std::string, std::string> kTypes = {
      {"txt", "text/plain"}, {"jpg", "image/jpeg"}, {"gz", "application/gzip"}};
  return kTypes;
}

std::string NameIn(const std::string& path) { return path.substr(path.rfind('/') + 1); }

std::string FolderOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

RunModel::RunModel(const RandomRun& run, bool isAcross)
    : run_(run),
      isAcross_(isAcross),
      isPredictable_(run.kind < 4 || run.place != RunPlace::kInside || !run.recurses) {
  for (const RandomObject& object : run.objects) {
    Expectation expected = run.kind < 4 ? Expect(object) : ExpectByDate(object);
    expected.collisionFolders.push_back(FolderOf(object.path));
    expectations_.push_back(std::move(expected));
  }
}

// Returns whether the run lists the folder that contains the object.
bool RunModel::IsListed(const RandomObject& object) const {
  const std::string top = run_.Source() + "/";
  const std::string folder = FolderOf(object.path) + "/";
  if (!folder.starts_with(top)) return false;
  if (folder == top) return true;
  return run_.recurses && ("/" + folder.substr(top.size())).find("/.") == std::string::npos;
}

// Returns whether a run by date sorts the folder that contains the object by day.
bool RunModel::IsInSortedFolder(const RandomObject& object) const {
  const std::string folder = FolderOf(object.path);
  return FolderOf(folder) == run_.Destination() && NameIn(folder)[0] != '.';
}

bool RunModel::CanBeTransferred(const RandomObject& object) const {
  const bool isCopyable = object.kind != ObjectKind::kFifo && !object.hasFifo;
  return isCopyable || (!run_.isCopy && !isAcross_);
}

// The name of the key folder; ".." for a key that cannot be the name of a folder.
std::optional<std::string> RunModel::KeyOf(const RandomObject& object) const {
  const std::optional<std::string> extension = ExtensionOf(NameIn(object.path));
  std::string key;
  if (run_.kind == 2) {
    const std::string type = object.fileType.substr(0, object.fileType.find('\0'));
    if (!type.empty() && type[0] != '\xff') {
      key = type;
    } else {
      const std::optional<std::string> mapped =
          extension ? Find(MappedFileTypes(), InLowerCase(*extension)) : std::nullopt;
      if (!mapped) return std::nullopt;
      key = *mapped;
    }
  } else if (!extension) {
    return std::nullopt;
  } else if (run_.kind == 3) {
    key = Find(KnownMimeTypes(), InLowerCase(*extension)).value_or("application/" + *extension);
  } else {
    key = *extension;
  }
  std::replace(key.begin(), key.end(), '/', ':');
  return key;
}

Expectation RunModel::Expect(const RandomObject& object) const {
  if (!IsItem(object) || !IsListed(object)) return {};
  const std::optional<std::string> key = KeyOf(object);
  if (!key || key->empty()) return {.outcome = ExpectedOutcome::kSkipped};
  if (*key == "..") return {.outcome = ExpectedOutcome::kFailedUnlogged};
  const std::string folder = run_.Destination() + "/" + *key;
  if (FolderOf(object.path) == folder) return {.outcome = ExpectedOutcome::kSkipped};
  const ExpectedOutcome outcome =
      CanBeTransferred(object) ? ExpectedOutcome::kFiled : ExpectedOutcome::kFailed;
  return {.outcome = outcome,
          .folder = folder,
          .keepsOriginal = run_.isCopy,
          .collisionFolders = {folder}};
}

Expectation RunModel::ExpectByDate(const RandomObject& object) const {
  const bool isSorted = IsInSortedFolder(object);
  if (!IsItem(object) || (!IsListed(object) && !isSorted)) return {};
  // All links are dangling, and have no date.
  if (object.kind == ObjectKind::kLink) return {.outcome = ExpectedOutcome::kSkipped};
  const RunDate& date = RunDates()[static_cast<size_t>(object.date)];
  if (isSorted) {
    const std::string day = FolderOf(object.path) + "/" + date.day;
    return {.outcome = ExpectedOutcome::kFiled, .folder = day, .collisionFolders = {day}};
  }
  const std::string year = run_.Destination() + "/" + date.year;
  const std::string day = year + "/" + date.day;
  if (!CanBeTransferred(object)) {
    return {.outcome = ExpectedOutcome::kFailed, .folder = year, .collisionFolders = {year}};
  }
  return {.outcome = ExpectedOutcome::kFiled,
          .folder = day,
          .keepsOriginal = run_.isCopy,
          .collisionFolders = {year, day}};
}

bool RunModel::HasNameCollision(size_t object) const {
  const std::string name = NameIn(run_.objects[object].path);
  for (size_t i = 0; i < expectations_.size(); ++i) {
    if (i == object || NameIn(run_.objects[i].path) != name) continue;
    if (!isPredictable_) return true;
    for (const std::string& folder : expectations_[object].collisionFolders) {
      const auto& others = expectations_[i].collisionFolders;
      if (std::find(others.begin(), others.end(), folder) != others.end()) return true;
    }
  }
  return false;
}

bool RunModel::MayBeReplaced(size_t object) const {
  // Packages and folders are not replaced, as none is empty.
  return run_.replaces && run_.objects[object].kind != ObjectKind::kPackage &&
         HasNameCollision(object);
}

size_t RunModel::Count(ExpectedOutcome outcome) const {
  return static_cast<size_t>(
      std::count_if(expectations_.begin(), expectations_.end(),
                    [outcome](const auto& e) { return e.outcome == outcome; }));
}

}  // namespace tessary::test
