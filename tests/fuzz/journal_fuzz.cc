#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <array>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include "platform/managers/journal_file.h"
#include "programs/cli/journal_format.h"
#include "programs/cli/journal_reader.h"
#include "programs/cli/undo_plan.h"
#include "tests/fuzz/fuzz.h"

// Journals, which may be crafted. The first byte of the input decides: the rest is the text of a
// journal, or chooses the changes of one, which is then undone in a small tree. Nothing outside the
// two folders changes, and no contents are lost.
namespace tessary::test {
namespace {

namespace fs = std::filesystem;

constexpr char kId[] = "40DFCCB2-2A2F-473B-BD6A-280CC8431FE0";

// ---- Text ----

bool IsNormalised(const std::string& path) {
  const std::string slashed = path + "/";
  return path.starts_with('/') && slashed.find("/../") == std::string::npos &&
         slashed.find("/./") == std::string::npos &&
         (path == "/" || slashed.find("//") == std::string::npos);
}

void CheckLine(std::string_view text) {
  const std::optional<JournalLine> line = ParseJournalLine(text);
  if (!line) return;
  if (const auto* header = std::get_if<JournalHeader>(&*line)) {
    Require(IsNormalised(header->source) && IsNormalised(header->destination),
            "the folders of a header are normalised");
  }
  const auto* change = std::get_if<ChangeLine>(&*line);
  if (change == nullptr) return;
  const Change& parsed = change->change;
  Require(parsed.source.empty() || IsNormalised(parsed.source), "a source path is normalised");
  Require(parsed.target.empty() || IsNormalised(parsed.target), "a target path is normalised");
  const std::string formatted = FormatChange(*change);
  const std::optional<JournalLine> again = ParseJournalLine(formatted);
  Require(again && FormatChange(std::get<ChangeLine>(*again)) == formatted,
          "a formatted change parses to itself");
}

void TryText(std::string_view text) {
  while (!text.empty()) CheckLine(TakeInputLine(&text));
}

// ---- Undo ----

constexpr std::array kPaths = {
    "/source/a",        "/source/b",          "/source/sub/c",        "/source/q.app",
    "/destination",     "/destination/x",     "/destination/x/a",     "/destination/x/b",
    "/destination/x/c", "/destination/q.app", "/destination/y",       "/destination/link/o",
    "/source/link/o",   "/outside/o",         "/source/../outside/o", "/source/sub/new",
};

void PutFile(const std::string& path, const std::string& contents) {
  fs::create_directories(fs::path(path).parent_path());
  WriteScratchFile(path, contents);
  const std::array<timespec, 2> times = {timespec{1, 0}, timespec{1, 0}};
  Require(utimensat(AT_FDCWD, path.c_str(), times.data(), 0) == 0, "a date can be set");
}

// Some files have the same contents, so that one of them is a copy of the other.
void MakeTree(const std::string& top) {
  fs::remove_all(top);
  PutFile(top + "/source/a", "1");
  PutFile(top + "/source/sub/c", "3");
  PutFile(top + "/source/q.app/file", "package");
  PutFile(top + "/destination/x/a", "1");
  PutFile(top + "/destination/x/b", "2");
  PutFile(top + "/destination/q.app/file", "package");
  PutFile(top + "/outside/o", "outside");
  fs::create_directory(top + "/destination/y");
  fs::create_directory_symlink("../outside", top + "/destination/link");
  fs::create_directory_symlink("../outside", top + "/source/link");
}

std::set<std::string> ContentsBelow(const std::string& top) {
  std::set<std::string> contents;
  for (const auto& entry : fs::recursive_directory_iterator(top)) {
    if (entry.is_regular_file() && !entry.is_symlink()) {
      contents.insert(ReadScratchFile(entry.path()));
    }
  }
  return contents;
}

// The state of the object at the path, or one that matches nothing.
ObjectState StateAt(const std::string& path, bool isExact) {
  ObjectState state;
  struct stat info = {};
  if (lstat(path.c_str(), &info) != 0) return state;
  state.type = S_ISDIR(info.st_mode)   ? ItemKind::kFolder
               : S_ISLNK(info.st_mode) ? ItemKind::kLink
                                       : ItemKind::kFile;
  state.device = (uint64_t{gnu_dev_major(info.st_dev)} << 20) | gnu_dev_minor(info.st_dev);
  state.inode = isExact ? info.st_ino : 0;
  state.size = S_ISDIR(info.st_mode) ? 0 : static_cast<uint64_t>(info.st_size);
  state.modified = {info.st_mtim.tv_sec, static_cast<uint32_t>(info.st_mtim.tv_nsec)};
  return state;
}

std::string MakeJournal(const std::string& top, std::string_view input) {
  std::string text = R"({"journal":1,"id":")" + std::string(kId) + R"(","source":")" + top +
                     R"(/source","destination":")" + top + "/destination\"}\n";
  for (uint64_t number = 1; !input.empty() && number <= 12; ++number) {
    const uint8_t choice = TakeInputByte(&input);
    const std::string from = top + kPaths[TakeInputByte(&input) % kPaths.size()];
    const std::string to = top + kPaths[TakeInputByte(&input) % kPaths.size()];
    ChangeLine line;
    line.number = number;
    line.change.kind = static_cast<ChangeKind>(choice % 4);
    line.change.hasSidecar = (choice & 4U) != 0;
    line.change.target = to;
    if (line.change.kind != ChangeKind::kFolderCreated) {
      line.change.source = from;
      line.change.object = StateAt((choice & 8U) != 0 ? from : to, (choice & 16U) != 0);
    }
    text += FormatChange(line) + "\n";
    if ((choice & 32U) != 0) {
      text += FormatResult({number, StateAt(to, (choice & 64U) != 0)}) + "\n";
    } else if ((choice & 128U) != 0) {
      text += FormatFailure({number, dupFNErr}) + "\n";
    }
  }
  return text;
}

void UndoJournal(const std::string& path) {
  std::unique_ptr<JournalFile> file;
  Require(OpenJournalFile(path, &file) == noErr, "the journal can be opened");
  Journal journal;
  std::string problem;
  if (!ReadJournal(*file, &journal, &problem)) return;
  const std::unique_ptr<ChangeReversal> reversal = MakeChangeReversal(/*isDryRun=*/false);
  for (const UndoStep& step : MakeUndoPlan(journal).steps) {
    const auto* item = std::get_if<FiledItem>(&step);
    if (item != nullptr) {
      (void)reversal->ReverseItem(*item);
    } else {
      (void)reversal->RemoveFolder(std::get<CreatedFolder>(step));
    }
  }
}

void TryUndo(std::string_view input) {
  const std::string top = ScratchPath("tree");
  const std::string path = ScratchPath("journal");
  MakeTree(top);
  WriteScratchFile(path, MakeJournal(top, input));
  const std::set<std::string> before = ContentsBelow(top);
  UndoJournal(path);
  Require(ContentsBelow(top) == before, "no contents are lost");
  Require(ContentsBelow(top + "/outside") == std::set<std::string>{"outside"} &&
              fs::exists(top + "/outside/o"),
          "nothing outside the two folders has changed");
  Require(fs::is_symlink(top + "/destination/link") && fs::is_symlink(top + "/source/link"),
          "links are left alone");
}

}  // namespace

void TryInput(std::string_view input) {
  if (TakeInputByte(&input) % 4 == 0) {
    TryText(input);
  } else {
    TryUndo(input);
  }
}

}  // namespace tessary::test
