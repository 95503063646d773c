#include "platform/linux/changes/manifest.h"

#include <algorithm>
#include <utility>

#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/tree_walk.h"

namespace tessary {
namespace {

class ManifestReader : public TreeVisitor {
 public:
  explicit ManifestReader(Manifest* manifest) : manifest_(manifest) {}

  Status VisitObject(int /*folder*/, const char* name, const struct statx& info) override {
    manifest_->Add(name, info);
    return noErr;
  }

  Status EnterFolder(int /*folder*/, const char* name, const struct statx& info,
                     int /*opened*/) override {
    manifest_->Add(name, info);
    return noErr;
  }

  Status LeaveFolder(int /*folder*/, const char* /*name*/, const struct statx& /*info*/,
                     int /*left*/) override {
    manifest_->AddEndOfFolder();
    return noErr;
  }

 private:
  Manifest* manifest_;
};

}  // namespace

void Manifest::Add(std::string_view name, const struct statx& info) {
  entries_.push_back({std::string(name), info});
}

void Manifest::AddEndOfFolder() { entries_.emplace_back(); }

bool Manifest::HasObjectAt(size_t index, std::string_view name, const struct statx& info) const {
  return index < entries_.size() && entries_[index].name == name &&
         IsUnchangedButForName(entries_[index].info, info);
}

bool Manifest::Matches(const Manifest& other) const {
  return std::equal(entries_.begin(), entries_.end(), other.entries_.begin(), other.entries_.end(),
                    [](const Entry& first, const Entry& second) {
                      return first.name == second.name && IsUnchanged(first.info, second.info);
                    });
}

// The walk is in the byte order of the names, so that the manifests of an unchanged tree have the
// same order whatever order the filesystem lists them in.
Status ReadManifest(int folder, Manifest* manifest) {
  Manifest read;
  struct statx info = {};
  if (const Status status = ReadObjectInfo(folder, "", &info)) return status;
  read.Add(".", info);
  ManifestReader reader(&read);
  if (const Status status = WalkTree(folder, reader)) return status;
  *manifest = std::move(read);
  return noErr;
}

}  // namespace tessary
