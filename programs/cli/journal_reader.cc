#include "programs/cli/journal_reader.h"

#include <utility>

#include "programs/cli/messages.h"

namespace tessary {
namespace {

bool IsBelow(const std::string& path, const std::string& folder) {
  return path != folder && IsPathWithin(path, folder);
}

class JournalBuilder {
 public:
  explicit JournalBuilder(Journal* journal) : journal_(journal) {}

  // Each returns whether the line fits those before it.
  bool Add(JournalHeader header) {
    if (std::exchange(hasHeader_, true)) return false;
    journal_->header = std::move(header);
    return true;
  }

  bool Add(ChangeLine line) {
    if (!IsExpected() || line.number != journal_->changes.size() + 1) return false;
    if (!HasAllowedPaths(line.change)) return false;
    journal_->changes.push_back({std::move(line.change)});
    isConcluded_ = false;
    return true;
  }

  bool Add(const ResultLine& line) {
    if (!Conclude(line.number)) return false;
    journal_->changes.back().result = line.state;
    return true;
  }

  bool Add(const FailureLine& line) {
    if (!Conclude(line.number)) return false;
    journal_->changes.back().hasFailed = true;
    return true;
  }

  bool Add(const EndLine& /*line*/) { return IsExpected() && !std::exchange(hasEnd_, true); }

  bool HasHeader() const { return hasHeader_; }

 private:
  bool IsExpected() const { return hasHeader_ && !hasEnd_; }

  bool Conclude(uint64_t number) {
    return IsExpected() && number == journal_->changes.size() && !std::exchange(isConcluded_, true);
  }

  bool HasAllowedPaths(const Change& change) const {
    const std::string& source = journal_->header.source;
    const std::string& destination = journal_->header.destination;
    if (change.kind == ChangeKind::kFolderCreated) return IsPathWithin(change.target, destination);
    if (change.kind == ChangeKind::kItemDeleted) return IsBelow(change.source, destination);
    return (IsBelow(change.source, source) || IsBelow(change.source, destination)) &&
           IsBelow(change.target, destination);
  }

  Journal* journal_;
  bool hasHeader_ = false;
  bool hasEnd_ = false;
  bool isConcluded_ = true;  // the last change has a result or a failure
};

}  // namespace

bool ReadJournal(JournalFile& file, Journal* journal, std::string* problem) {
  JournalBuilder builder(journal);
  Status status = noErr;
  uint64_t number = 0;
  while (std::optional<std::string> text = file.ReadLine(&status)) {
    ++number;
    std::optional<JournalLine> line = ParseJournalLine(*text);
    const bool fits =
        line &&
        std::visit([&builder](auto& parsed) { return builder.Add(std::move(parsed)); }, *line);
    if (fits) continue;
    *problem = number == 1 ? "not a journal" : "line " + std::to_string(number) + " is not valid";
    return false;
  }
  if (status == paramErr)
    *problem = "line " + std::to_string(number + 1) + " is too long";
  else if (status != noErr)
    *problem = DescribeStatus(status);
  else if (!builder.HasHeader())
    *problem = "not a journal";
  else
    return true;
  return false;
}

}  // namespace tessary
