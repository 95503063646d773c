#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/temporary_folder.h"

// The dependencies between the folders, checked over the sources: what a file includes is
// what it can call.
namespace tessary::test {
namespace {

namespace fs = std::filesystem;

// A folder of sources and the folders, besides itself, whose headers its files may include. Tests
// and benchmarks may include anything and are not checked.
struct Layer {
  std::string_view folder;
  std::vector<std::string_view> mayInclude = {};
  bool mayCallLinux = false;
  bool mayCallQt = false;
  std::vector<std::string_view> libraryHeaders = {};  // of C libraries that make no system call
};

const std::vector<Layer>& Layers() {
  static const std::vector<Layer> kLayers = {
      {.folder = "platform/managers"},
      {.folder = "platform/linux", .mayInclude = {"platform/managers"}, .mayCallLinux = true},
      {.folder = "platform/linux/descriptors",
       .mayInclude = {"platform/managers", "platform/linux"},
       .mayCallLinux = true},
      {.folder = "platform/linux/log",
       .mayInclude = {"platform/managers", "platform/linux", "platform/linux/descriptors",
                      "platform/linux/time"},
       .mayCallLinux = true},
      {.folder = "platform/linux/strings",
       .mayInclude = {"platform/managers", "platform/linux"},
       .mayCallLinux = true},
      {.folder = "platform/linux/time",
       .mayInclude = {"platform/managers", "platform/linux"},
       .mayCallLinux = true},
      // Readings of bytes, which make no system call.
      {.folder = "platform/linux/mac_formats", .mayInclude = {"platform/managers"}},
      {.folder = "platform/linux/catalog",
       .mayInclude = {"platform/managers", "platform/linux", "platform/linux/descriptors",
                      "platform/linux/mac_formats", "platform/linux/time"},
       .mayCallLinux = true},
      {.folder = "platform/linux/changes",
       .mayInclude = {"platform/managers", "platform/linux", "platform/linux/catalog",
                      "platform/linux/descriptors", "platform/linux/mac_formats"},
       .mayCallLinux = true},
      {.folder = "platform/linux/sidecars",
       .mayInclude = {"platform/managers", "platform/linux", "platform/linux/catalog",
                      "platform/linux/changes", "platform/linux/descriptors",
                      "platform/linux/mac_formats"},
       .mayCallLinux = true},
      {.folder = "platform/linux/operations",
       .mayInclude = {"platform/managers", "platform/linux", "platform/linux/catalog",
                      "platform/linux/changes", "platform/linux/descriptors",
                      "platform/linux/mac_formats", "platform/linux/sidecars"},
       .mayCallLinux = true},
      {.folder = "platform/linux/configuration",
       .mayInclude = {"platform/managers", "platform/linux", "platform/linux/descriptors"},
       .mayCallLinux = true},
      {.folder = "platform/linux/apple_events",
       .mayInclude = {"platform/managers", "platform/linux", "platform/linux/catalog"},
       .mayCallLinux = true},
      {.folder = "platform/qt",
       .mayInclude = {"platform/managers", "platform/qt/forms"},
       .mayCallQt = true},
      {.folder = "platform", .mayInclude = {"platform/managers"}},
      {.folder = "settings", .mayInclude = {"platform", "platform/managers"}},
      {.folder = "engine", .mayInclude = {"settings", "platform", "platform/managers"}},
      {.folder = "app", .mayInclude = {"engine", "settings", "platform", "platform/managers"}},
      {.folder = "programs/cli",
       .mayInclude = {"engine", "settings", "platform", "platform/managers"},
       .libraryHeaders = {"expat.h"}},
      {.folder = "programs",
       .mayInclude = {"programs/cli", "app", "engine", "settings", "platform", "platform/managers",
                      "platform/linux", "platform/linux/apple_events", "platform/qt"}},
  };
  return kLayers;
}

// The C++ standard library's own headers end in no ".h"; whatever does belongs to C or to the
// system. Those named here are C++ and yet reach the system past the managers.
bool IsSystemCallHeader(std::string_view header) {
  static constexpr std::array<std::string_view, 2> kCppHeaders = {"filesystem", "fstream"};
  return header.ends_with(".h") || std::ranges::count(kCppHeaders, header) != 0;
}

bool IsQtHeader(std::string_view header) {
  return header.size() > 1 && header[0] == 'Q' && header[1] >= 'A' && header[1] <= 'z';
}

struct Include {
  std::string header;
  bool quoted = false;
};

// The include that a line of source holds, or none.
std::optional<Include> ParseInclude(std::string_view line) {
  const auto skipBlanks = [&line] {
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
  };
  skipBlanks();
  if (!line.starts_with('#')) return std::nullopt;
  line.remove_prefix(1);
  skipBlanks();
  if (!line.starts_with("include")) return std::nullopt;
  line.remove_prefix(std::string_view("include").size());
  skipBlanks();
  if (line.empty() || (line[0] != '"' && line[0] != '<')) return std::nullopt;
  const bool quoted = line[0] == '"';
  const size_t end = line.find(quoted ? '"' : '>', 1);
  if (end == std::string_view::npos) return std::nullopt;
  return Include{.header = std::string(line.substr(1, end - 1)), .quoted = quoted};
}

std::string FolderOf(std::string_view path) {
  const size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? "" : std::string(path.substr(0, slash));
}

// True for a header of ours, and for one that the build makes of a form of ours.
bool IsHeaderOfOurs(const std::string& header, const fs::path& root) {
  if (fs::is_regular_file(root / header)) return true;
  return header.ends_with(".ui.h") &&
         fs::is_regular_file(root /
                             header.substr(0, header.size() - std::string_view(".h").size()));
}

// What is wrong with the include in a file of the layer; empty when nothing is.
std::string DescribeViolation(const Layer& layer, const Include& include, const fs::path& root) {
  if (!include.quoted) {
    if (IsQtHeader(include.header)) return layer.mayCallQt ? "" : "only platform/qt includes Qt";
    if (!IsSystemCallHeader(include.header) || layer.mayCallLinux) return "";
    if (std::ranges::count(layer.libraryHeaders, include.header) != 0) return "";
    return "only platform/linux makes system calls";
  }
  if (!IsHeaderOfOurs(include.header, root)) return "not a path from the repository root";
  const std::string folder = FolderOf(include.header);
  if (folder == layer.folder || std::ranges::count(layer.mayInclude, folder) != 0) return "";
  return std::string(layer.folder) + " may not include " + folder;
}

void CheckFile(const Layer& layer, const fs::path& file, const fs::path& root,
               std::vector<std::string>* violations) {
  std::ifstream source(file);
  ASSERT_TRUE(source) << "cannot read " << file;
  for (std::string line; std::getline(source, line);) {
    const std::optional<Include> include = ParseInclude(line);
    if (!include) continue;
    const std::string violation = DescribeViolation(layer, *include, root);
    if (violation.empty()) continue;
    std::string text = fs::relative(file, root).string();
    violations->push_back(text.append(": ").append(line).append(": ").append(violation));
  }
}

bool IsSource(const fs::path& file) {
  return file.extension() == ".h" || file.extension() == ".cc";
}

// The sources below the folders that layers live in.
std::set<fs::path> ListSources(const fs::path& root) {
  std::set<fs::path> sources;
  for (const Layer& layer : Layers()) {
    const fs::path top = root / *fs::path(layer.folder).begin();
    if (!fs::is_directory(top)) continue;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(top)) {
      if (entry.is_regular_file() && IsSource(entry.path())) sources.insert(entry.path());
    }
  }
  return sources;
}

// Every include below `root` that goes against the arrows, and every source outside all layers.
std::vector<std::string> FindViolations(const fs::path& root) {
  std::vector<std::string> violations;
  for (const fs::path& file : ListSources(root)) {
    const std::string folder = fs::relative(file.parent_path(), root).string();
    const auto layer = std::ranges::find(Layers(), folder, &Layer::folder);
    if (layer == Layers().end()) {
      violations.push_back(fs::relative(file, root).string() + ": lies in no known folder");
    } else {
      CheckFile(*layer, file, root, &violations);
    }
  }
  return violations;
}

TEST(Layers, EveryIncludeFollowsTheArrows) {
  const fs::path root = TESSARY_SOURCE_DIR;
  ASSERT_TRUE(fs::is_regular_file(root / "engine/run.h")) << "not the repository: " << root;
  for (const std::string& violation : FindViolations(root)) ADD_FAILURE() << violation;
}

TEST(Layers, AreFoldersWithSources) {
  for (const std::string_view folder : {"platform/managers", "platform/linux", "platform",
                                        "settings", "engine", "programs", "programs/cli"}) {
    const auto isThere = [folder](const fs::path& file) {
      return fs::relative(file.parent_path(), TESSARY_SOURCE_DIR) == folder;
    };
    EXPECT_TRUE(std::ranges::any_of(ListSources(TESSARY_SOURCE_DIR), isThere)) << folder;
  }
}

// A tree with one header in every folder, into which a file with one line is planted.
class PlantedInclude : public testing::Test {
 protected:
  PlantedInclude() {
    for (const Layer& layer : Layers()) {
      WriteFile(folder_ / (std::string(layer.folder) + "/there.h"), "#pragma once\n");
    }
    WriteFile(folder_ / "platform/qt/forms/there.ui", "<ui/>\n");
  }

  std::vector<std::string> ViolationsOf(const std::string& file, const std::string& line) {
    WriteFile(folder_ / file, "// A line before.\n" + line + "\n");
    std::vector<std::string> violations = FindViolations(folder_.path());
    fs::remove(folder_ / file);
    return violations;
  }

 private:
  TemporaryFolder folder_;
};

struct PlantedRow {
  const char* file;
  const char* line;
};

TEST_F(PlantedInclude, IsAcceptedAlongTheArrows) {
  static constexpr std::array kRows = {
      PlantedRow{"engine/x.cc", "#include \"engine/there.h\""},
      PlantedRow{"engine/x.cc", "#include \"settings/there.h\""},
      PlantedRow{"engine/x.h", "#include \"platform/there.h\""},
      PlantedRow{"engine/x.cc", "#include \"platform/managers/there.h\""},
      PlantedRow{"engine/x.cc", "#include <cstdint>"},
      PlantedRow{"engine/x.cc", "// #include \"app/there.h\""},
      PlantedRow{"settings/x.cc", "#include \"platform/there.h\""},
      PlantedRow{"platform/x.cc", "#include \"platform/managers/there.h\""},
      PlantedRow{"platform/linux/x.cc", "#include <unistd.h>"},
      PlantedRow{"platform/linux/x.cc", "#include <sys/stat.h>"},
      PlantedRow{"platform/qt/x.cc", "#include <QWidget>"},
      PlantedRow{"platform/qt/x.cc", "#include \"platform/qt/forms/there.ui.h\""},
      PlantedRow{"programs/x.cc", "#include \"platform/linux/there.h\""},
      PlantedRow{"programs/cli/x.cc", "#include \"engine/there.h\""},
      PlantedRow{"programs/cli/x.cc", "#include <expat.h>"},
      PlantedRow{"programs/x.cc", "#include \"app/there.h\""},
  };
  for (const PlantedRow& row : kRows) {
    for (const std::string& violation : ViolationsOf(row.file, row.line))
      ADD_FAILURE() << violation;
  }
}

TEST_F(PlantedInclude, IsFoundAgainstTheArrows) {
  static constexpr std::array kRows = {
      PlantedRow{"settings/x.cc", "#include \"engine/there.h\""},
      PlantedRow{"settings/x.cc", "  #  include  \"engine/there.h\""},
      PlantedRow{"platform/x.h", "#include \"settings/there.h\""},
      PlantedRow{"platform/x.cc", "#include \"platform/linux/there.h\""},
      PlantedRow{"platform/managers/x.h", "#include \"platform/there.h\""},
      PlantedRow{"platform/linux/x.cc", "#include \"platform/there.h\""},
      PlantedRow{"engine/x.cc", "#include \"app/there.h\""},
      PlantedRow{"engine/x.cc", "#include \"platform/linux/there.h\""},
      PlantedRow{"app/x.cc", "#include \"programs/there.h\""},
      PlantedRow{"programs/cli/x.cc", "#include \"platform/linux/there.h\""},
      PlantedRow{"programs/cli/x.cc", "#include \"app/there.h\""},
      PlantedRow{"programs/cli/x.cc", "#include <unistd.h>"},
      PlantedRow{"engine/x.cc", "#include \"there.h\""},
      PlantedRow{"engine/x.cc", "#include \"engine/absent.h\""},
      PlantedRow{"engine/x.cc", "#include <unistd.h>"},
      PlantedRow{"engine/x.cc", "#include <expat.h>"},
      PlantedRow{"settings/x.cc", "#include <fcntl.h>"},
      PlantedRow{"platform/x.cc", "#include <sys/stat.h>"},
      PlantedRow{"engine/x.cc", "#include <filesystem>"},
      PlantedRow{"engine/x.cc", "#include <QString>"},
      PlantedRow{"app/x.cc", "#include \"platform/qt/forms/there.ui.h\""},
      PlantedRow{"platform/qt/x.cc", "#include \"platform/qt/forms/absent.ui.h\""},
      PlantedRow{"platform/linux/x.cc", "#include <QtCore/QString>"},
      PlantedRow{"engine/deeper/x.cc", "#include <cstdint>"},
  };
  for (const PlantedRow& row : kRows) {
    const std::vector<std::string> violations = ViolationsOf(row.file, row.line);
    ASSERT_EQ(1U, violations.size()) << row.file << ": " << row.line;
    EXPECT_TRUE(violations[0].starts_with(std::string(row.file) + ": ")) << violations[0];
  }
}

}  // namespace
}  // namespace tessary::test
