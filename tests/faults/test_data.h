#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tests/support/soak.h"

namespace tessary::test {

// What has been found below a folder.
struct ScanResult {
  std::map<size_t, std::vector<std::string>> places;    // of each item, the paths where it is whole
  std::map<size_t, std::vector<std::string>> sidecars;  // the same of its sidecar, hidden ones too
  std::vector<std::string> unexpected;                  // visible, and not whole or not ours
  std::vector<std::string> staleTempFiles;              // hidden names of the program's own

  // The places of an item or of its sidecar, none of what is nowhere.
  std::vector<std::string> PlacesOf(size_t item) const;
  std::vector<std::string> SidecarsOf(size_t item) const;
};

// Items that are told apart by what they hold, wherever they are: files, links and packages, no two
// of them alike. Knows each from its contents, names, modes, times, attributes and inner links, so
// that one that is not whole is not known at all.
class TestData {
 public:
  // Without `hasLinks`, packages are whole where their inner links have become files of their own.
  explicit TestData(bool hasLinks) : hasLinks_(hasLinks) {}

  // Makes an item and answers its number. A package is a folder with files, links, an empty folder
  // and a hard link inside.
  size_t PutFile(const std::string& path, SoakRandom& random);
  size_t PutLink(const std::string& path);
  size_t PutPackage(const std::string& path, SoakRandom& random);

  // Makes `count` items in a folder, of all kinds, with names that no two of them share, among them
  // names that are awkward; some of them below plain folders where `isDeep`.
  void Fill(const std::string& folder, size_t count, bool isDeep, SoakRandom& random);

  // Puts a sidecar beside an item, or beside about half of those that there are, which can be no
  // other item's. It is none of the items, and is known from everything that those are known from.
  void PutSidecar(size_t item, SoakRandom& random);
  void PutSidecars(SoakRandom& random);

  // How many items there are, where one was put, whether it is a package, and whether it was given
  // a sidecar.
  size_t size() const { return paths_.size(); }
  const std::string& PathOf(size_t item) const { return paths_[item]; }
  bool IsPackage(size_t item) const { return packages_.contains(item); }
  bool HasSidecar(size_t item) const { return withSidecar_.contains(item); }

  // The number of the item at the path if it is whole. None bears the name of a sidecar.
  std::optional<size_t> Identify(const std::string& path) const;

  // Looks at everything below the folders; plain folders are entered, and count for nothing. What
  // bears the name of a sidecar is one or a stranger. A sidecar may bear one of the names, too,
  // that the program gives it while its item is deleted.
  ScanResult Scan(const std::vector<std::string>& folders) const;

 private:
  size_t Add(const std::string& path);
  std::optional<size_t> ItemOfSidecar(const std::string& sidecar) const;
  void ScanFolder(const std::string& folder, ScanResult* scan) const;

  bool hasLinks_;
  size_t size_ = 0;  // of those made, so that no two hold the same
  std::vector<std::string> paths_;
  std::map<std::string, size_t> byFingerprint_;
  std::set<size_t> packages_;
  std::set<size_t> withSidecar_;
  std::map<std::string, size_t> bySidecar_;  // by its fingerprint
};

// Everything about the object at the path that a copy of it keeps; with `hasLinks`, which of the
// files inside are one file, too.
std::string FingerprintOf(const std::string& path, bool hasLinks);

}  // namespace tessary::test
