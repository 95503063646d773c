#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/managers/change_observer.h"
#include "platform/managers/journal_file.h"
#include "programs/cli/journal_format.h"

namespace tessary {

// Writes the journal of a run. While it exists, it is the observer of all changes.
class JournalWriter : public ChangeObserver {
 public:
  JournalWriter(std::unique_ptr<JournalFile> file, const JournalHeader& header);
  ~JournalWriter() override;

  Status BeforeChange(const Change& change) override;
  void AfterChange(const std::optional<ObjectState>& result) override;
  void AfterFailure(Status status) override;
  std::string StagingUuid() const override;
  Status Sync() override;

  // Writes that the run has ended by itself.
  void End();

  // Why a line could not be written, after which no change is made any more; noErr if there is no
  // such line.
  Status error() const { return error_; }

 private:
  // Writes the line that `format` returns.
  template <typename Format>
  Status Write(Format format);

  std::unique_ptr<JournalFile> file_;
  std::string id_;
  uint64_t changes_ = 0;
  Status error_ = noErr;
};

// Creates the journal of a run, `named` by the user, with its header. `source` and `destination`
// are absolute paths without links; the destination need not exist. Returns null and a one-line
// problem if there cannot be a journal: the file exists, it cannot be written, or it would be in
// one of the two folders, where a run would file it.
std::unique_ptr<JournalWriter> CreateJournal(const std::string& named, const std::string& source,
                                             const std::string& destination, std::string* problem);

}  // namespace tessary
