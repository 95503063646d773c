#include "programs/cli/journal_writer.h"

#include <new>
#include <utility>

#include "platform/managers/uuid.h"
#include "programs/cli/messages.h"
#include "programs/cli/named_paths.h"

namespace tessary {

template <typename Format>
Status JournalWriter::Write(Format format) try {
  if (error_ == noErr) error_ = file_->Append(format());
  return error_;
} catch (const std::bad_alloc&) {
  error_ = memFullErr;
  return error_;
}

JournalWriter::JournalWriter(std::unique_ptr<JournalFile> file, const JournalHeader& header)
    : file_(std::move(file)), id_(header.id) {
  // The caller asks for the error.
  (void)Write([&header] { return FormatHeader(header); });
  gChangeObserver = this;
}

JournalWriter::~JournalWriter() { gChangeObserver = nullptr; }

Status JournalWriter::BeforeChange(const Change& change) {
  const ChangeLine line = {changes_ + 1, change};
  const Status status = Write([&line] { return FormatChange(line); });
  if (status == noErr) ++changes_;
  return status;
}

void JournalWriter::AfterChange(const std::optional<ObjectState>& result) {
  if (!result) return;
  // The change has been announced. That the journal has an error is found before the next one.
  (void)Write([this, &result] { return FormatResult({changes_, *result}); });
}

void JournalWriter::AfterFailure(Status status) {
  // As above.
  (void)Write([this, status] { return FormatFailure({changes_, status}); });
}

std::string JournalWriter::StagingUuid() const { return StagingUuidOf(id_, changes_); }

Status JournalWriter::Sync() {
  if (error_ == noErr) error_ = file_->Sync();
  return error_;
}

void JournalWriter::End() {
  // The caller asks for the error.
  (void)Write(FormatEnd);
}

std::unique_ptr<JournalWriter> CreateJournal(const std::string& named, const std::string& source,
                                             const std::string& destination, std::string* problem) {
  std::string path;
  Status status = ResolveItemPath(named, &path);
  if (status == noErr && (IsPathWithin(path, source) || IsPathWithin(path, destination))) {
    *problem = named + ": the journal must not be in the source or the destination";
    return nullptr;
  }
  const std::optional<std::string> id = CFUUIDCreateString();
  if (!id) status = ioErr;
  std::unique_ptr<JournalFile> file;
  if (status == noErr) status = CreateJournalFile(path, &file);
  std::unique_ptr<JournalWriter> journal;
  if (status == noErr) {
    journal =
        std::make_unique<JournalWriter>(std::move(file), JournalHeader{*id, source, destination});
    status = journal->error();
  }
  if (status == noErr) return journal;
  *problem = Shown(named) + ": cannot create the journal: " + DescribeStatus(status);
  return nullptr;
}

}  // namespace tessary
