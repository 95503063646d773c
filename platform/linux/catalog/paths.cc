#include "platform/linux/catalog/paths.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "platform/linux/errors.h"
#include "platform/managers/file_manager.h"
#include "platform/managers/text.h"

namespace tessary {
namespace {

Status ResolveLinks(const std::string& path, std::string* resolved) {
  struct Free {
    void operator()(char* text) const { std::free(text); }
  };
  const std::unique_ptr<char, Free> real(realpath(path.c_str(), nullptr));
  if (real == nullptr) return LastError();
  *resolved = real.get();
  return noErr;
}

std::string WithoutTrailingSlashes(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

// Interns the folder at an absolute path without links, and all folders above it: a folder is
// interned by its parent and its name. The components are looked up one at a time in verified
// folders, so a path that is swapped meanwhile is not followed.
Status InternChain(const std::string& path, uint32_t* number) {
  Catalog& catalog = Catalog::Get();
  Reference folder;
  Status status = catalog.MakeRootReference(&folder);
  if (status != noErr) return status;
  uint32_t interned = catalog.folders().Intern(folder);
  for (size_t at = 1; at < path.size();) {
    const size_t end = std::min(path.find('/', at), path.size());
    status = catalog.LookUp(interned, path.substr(at, end - at), &folder);
    if (status != noErr) return status;
    if (!folder.IsFolder()) return dirNFErr;
    interned = catalog.folders().Intern(folder);
    at = end + 1;
  }
  *number = interned;
  return noErr;
}

Status InternFolderAt(const std::string& path, uint32_t* number) {
  const uint32_t known = Catalog::Get().folders().FindByPath(path);
  if (known != 0) {
    *number = known;
    return noErr;
  }
  std::string real;
  const Status status = ResolveLinks(path, &real);
  return status == noErr ? InternChain(real, number) : status;
}

bool IsDotOrDotDot(const std::string& component) { return component == "." || component == ".."; }

}  // namespace

Status FindPlaceOfPath(const std::string& path, uint32_t* folder, std::string* name) {
  if (path.empty() || path.front() != '/') return paramErr;
  std::string whole = WithoutTrailingSlashes(path);
  // "." and ".." are not names of objects; only the kernel can say which folder they mean.
  if (IsDotOrDotDot(whole.substr(whole.rfind('/') + 1))) {
    const Status status = ResolveLinks(whole, &whole);
    if (status != noErr) return status;
  }
  if (whole == "/") {
    *folder = 0;
    name->clear();
    return noErr;
  }
  const size_t slash = whole.rfind('/');
  uint32_t number = 0;
  const Status status =
      InternFolderAt(slash == 0 ? "/" : WithoutTrailingSlashes(whole.substr(0, slash)), &number);
  if (status != noErr) return status == errFSNotAFolder ? dirNFErr : status;
  *folder = number;
  *name = whole.substr(slash + 1);
  return noErr;
}

Status FSPathMakeRef(const char* path, FSRef* ref) {
  if (ref == nullptr) return paramErr;
  *ref = FSRef{};
  if (path == nullptr) return paramErr;
  uint32_t folder = 0;
  std::string name;
  Status status = FindPlaceOfPath(path, &folder, &name);
  if (status != noErr) return status;
  Reference found;
  status = folder == 0 ? Catalog::Get().MakeRootReference(&found)
                       : Catalog::Get().LookUp(folder, name, &found);
  if (status == noErr) *ref = RefOf(found);
  return status;
}

Status FSRefMakePath(const FSRef& ref, char* buffer, size_t size) {
  if (buffer == nullptr) return paramErr;
  Catalog& catalog = Catalog::Get();
  const Reference reference = ReferenceOf(ref);
  const CachedStat* cached = nullptr;
  const Status status = catalog.Stat(reference, &cached);
  if (status != noErr) return status;
  const std::string path = catalog.PathOf(reference);
  if (path.size() >= size) return bdNamErr;
  std::memcpy(buffer, path.c_str(), path.size() + 1);
  return noErr;
}

std::string FSLastKnownPath(const FSRef& ref) { return Catalog::Get().PathOf(ReferenceOf(ref)); }

std::string FSPathOfChild(const FSRef& folder, std::u16string_view name) {
  std::string child = Utf8FromUtf16(name);
  std::ranges::replace(child, '/', ':');
  const std::string path = FSLastKnownPath(folder);
  return path == "/" ? path + child : path + "/" + child;
}

// Forgets the interned folders along the path that are no longer found there. A user who deletes
// and recreates a folder between two runs means the new one, while FindPlaceOfPath would still
// return the old one.
Status ResolveNamedPath(const std::string& path, std::string* resolved) {
  if (path.empty()) return paramErr;
  std::string real;
  const Status status = ResolveLinks(path, &real);
  if (status != noErr) return status;
  FolderTable& folders = Catalog::Get().folders();
  for (size_t end = real.find('/', 1); end != std::string::npos; end = real.find('/', end + 1)) {
    folders.ForgetPathIfStale(real.substr(0, end));
  }
  folders.ForgetPathIfStale(real);
  *resolved = real;
  return noErr;
}

}  // namespace tessary
