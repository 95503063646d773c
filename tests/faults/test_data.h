#pragma once

#include <sys/types.h>

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tests/support/soak.h"
#include "tests/support/volume_traits.h"

namespace tessary::test {

// What TestData::Scan has found.
struct ScanResult {
  using Paths = std::vector<std::string>;

  std::vector<Paths> places;    // for each item, where it is complete
  std::vector<Paths> sidecars;  // for each item, where its sidecar is complete
  Paths unexpected;             // neither an item nor a sidecar
  Paths staleTempFiles;         // including sidecars that are staged
};

// Files, links and packages that can be identified wherever they are moved or copied. An item is
// identified by everything that a copy preserves, so that an incomplete one is not recognised.
// Items are numbered from 0.
class TestData {
 public:
  // `traits` are those of all filesystems that the items may be on. What one of them does not
  // preserve is not compared; without hard links, those inside packages may become separate files.
  explicit TestData(const VolumeTraits& traits) : traits_(traits) {}

  // Creates an item and returns its number. A package is a folder that contains files, links, an
  // empty folder and a hard link. Without symbolic links, PutLink creates a file.
  size_t PutFile(const std::string& path, SoakRandom& random);
  size_t PutLink(const std::string& path, SoakRandom& random);
  size_t PutPackage(const std::string& path, SoakRandom& random);

  // Creates `count` items of all kinds in a folder, under different names, some of them unusual if
  // the filesystems take any name.
  // With `isDeep`, some are in subfolders.
  void Fill(const std::string& folder, size_t count, bool isDeep, SoakRandom& random);

  // Creates the sidecar of an item, or of about half of all items. It is identified as the items
  // are, but is not an item itself.
  void PutSidecar(size_t item, SoakRandom& random);
  void PutSidecars(SoakRandom& random);

  size_t size() const { return paths_.size(); }
  // Where the item was created.
  const std::string& PathOf(size_t item) const { return paths_[item]; }
  bool IsPackage(size_t item) const { return packages_.contains(item); }
  bool HasSidecar(size_t item) const { return withSidecar_.contains(item); }

  // The number of the item at the path, if it is complete.
  std::optional<size_t> Identify(const std::string& path) const;

  // Identifies everything below the folders except folders that are not packages.
  ScanResult Scan(const std::vector<std::string>& folders) const;

 private:
  size_t Add(const std::string& path);
  std::optional<size_t> ItemOfSidecar(const std::string& sidecar) const;
  void ScanFolder(const std::string& folder, ScanResult* scan) const;

  void ChangeMode(const std::string& path, mode_t mode) const;

  VolumeTraits traits_;
  size_t size_ = 0;  // of the items with contents, which make these different
  std::vector<std::string> paths_;
  std::map<std::string, size_t> byFingerprint_;
  std::set<size_t> packages_;
  std::set<size_t> withSidecar_;
  std::map<std::string, size_t> bySidecar_;  // by the fingerprint of the sidecar
};

// The traits of the filesystems that support everything that test data have.
VolumeTraits AllTraits();

// Everything about the object at the path that a copy between filesystems of these traits
// preserves.
std::string FingerprintOf(const std::string& path, const VolumeTraits& traits = AllTraits());

}  // namespace tessary::test
