#include <sys/xattr.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "bench/groups.h"

namespace tessary::bench {
namespace {

constexpr size_t kCommentedSize = 4096;
constexpr char kAttribute[] = "user.xdg.comment";
constexpr char kComment[] = "Photographed from the pier, not yet sorted; ask Käthe for the rest.";

bool HasComment(const std::string& path) {
  std::array<char, sizeof(kComment)> text = {};
  const ssize_t size = getxattr(path.c_str(), kAttribute, text.data(), text.size());
  return size == static_cast<ssize_t>(std::strlen(kComment));
}

double TimeCopy(const ScratchDirectory& scratch, const std::string& source, bool withComments) {
  const std::string destination = scratch.MakeFolder();
  std::vector<std::string> options = {"--copy"};
  if (withComments) options.emplace_back("--preserve-comments");
  scratch.SyncFilesystem();
  const Usage usage = RunProgram(AggregateCommand(options, source, destination), scratch.path());
  const std::vector<std::string> copies = FilesBelow(destination);
  const auto commented = std::count_if(copies.begin(), copies.end(), HasComment);
  if (static_cast<size_t>(commented) != (withComments ? FilesBelow(source).size() : 0)) {
    throw std::runtime_error("wrong number of comments");
  }
  return usage.seconds;
}

}  // namespace

void MeasureComments(const Sizes& sizes, const ScratchDirectories& directories, Report* report) {
  const ScratchDirectory& scratch = directories.disk;
  const std::string source = scratch.MakeFolder();
  FillFolder(source, 0, sizes.commented, kCommentedSize);
  Row row;
  row.question = Question::kCost;
  row.key = "comments";
  row.work = "copy " + CountText(sizes.commented) + " files of 4 KiB with their comments, " +
             scratch.type();
  row.baseline = "the same without comments";
  for (const std::string& file : FilesBelow(source)) {
    const int result = setxattr(file.c_str(), kAttribute, kComment, std::strlen(kComment), 0);
    if (result != 0 && errno == ENOTSUP)
      return report->AddSkipped(row, "the filesystem has no attributes");
    Require(result == 0, file);
  }
  std::vector<Candidate> both;
  both.push_back({"with comments", [&] { return TimeCopy(scratch, source, true); }});
  both.push_back({"without comments", [&] { return TimeCopy(scratch, source, false); }});
  RunRounds(row.work, sizes.rounds, &both);
  row.value = RatioOf(both[0], both[1]);
  SetMicroseconds(both[0], both[1], sizes.commented, &row);
  report->Add(row);
}

}  // namespace tessary::bench
