#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "platform/linux/catalog/folder_table.h"
#include "platform/linux/changes/copied_item.h"
#include "platform/linux/changes/copy_item.h"
#include "platform/linux/changes/folder_inheritance.h"
#include "platform/linux/changes/prepared_copy.h"
#include "platform/linux/descriptors/unique_fd.h"
#include "platform/managers/status.h"

// Copies that are prepared ahead of their turn by a second thread (FSCopyAhead). That thread only
// fills anonymous files, which have no name and vanish with the process. Everything that can be
// observed, such as names and log lines, comes from the calling thread and in order. An error of
// the second thread is not reported: the calling thread meets it itself when it copies the file.
namespace tessary {

// A window of copies that are prepared in the order of their turns. All functions are for the
// calling thread. There is at most one object at a time; PublishSmallCopy and PublishCopy use it.
class CopyAhead {
 public:
  // Starts the second thread, which creates its files in the open folder. `inheritance` is that of
  // the folder. Throws std::bad_alloc or std::system_error.
  CopyAhead(FolderHandle folder, FolderInheritance inheritance);

  // Ends the thread and drops everything that is prepared. Waits for the file that is being copied.
  ~CopyAhead();
  CopyAhead(const CopyAhead&) = delete;
  CopyAhead& operator=(const CopyAhead&) = delete;

  // Begins the turn of the item with this number: drops what was prepared for the items before it.
  // Returns how many more items may be added now.
  size_t BeginTurn(size_t number);

  // Adds files, whose turns come after all others.
  struct Entry {
    size_t number = 0;
    FileToPrepare file;
  };
  void Add(std::vector<Entry> entries);

  // Publishes the prepared copy of the source. Waits for it if it is being prepared, and prepares
  // others meanwhile. Returns noErr; dupFNErr (the target's name exists), after which the copy can
  // still be published under another name in the same turn; none if there is no copy that fits, so
  // that the source is to be copied. `*copied` is written with noErr only.
  std::optional<Status> Publish(const CopySource& source, const CopyTarget& target,
                                CopiedItem* copied);

  // Drops everything that is prepared, waits until nothing of it remains, and prepares nothing any
  // more. Returns false if there was nothing.
  bool Stop();

 private:
  enum class State { kQueued, kRunning, kReady, kFailed };
  struct Job {
    size_t number = 0;
    FileToPrepare file;
    PreparedCopy copy;
    State state = State::kQueued;
  };
  using JobPointer = std::shared_ptr<Job>;
  using Lock = std::unique_lock<std::mutex>;

  void Run();
  bool PrepareNext(Lock* lock);
  JobPointer NextJob() const;
  JobPointer Find(const CopySource& source);
  bool FitsInto(const CopyTarget& target);
  int OpenForComparison(const CopyTarget& target);
  void Remove(const JobPointer& job);
  void RemoveAll(std::vector<JobPointer>* removed);
  void WakeIfIdle();

  const FolderHandle folder_;
  const FolderInheritance inheritance_;
  const size_t maxFiles_;

  // Of the calling thread: the target folders whose inheritance was compared last.
  struct OpenFolder {
    UniqueFd opened;
    Identity identity;
  };
  std::vector<OpenFolder> openFolders_;
  const size_t maxFolders_;
  size_t nextFolder_ = 0;  // the one that is replaced next

  std::mutex mutex_;  // for all that follows
  std::condition_variable wake_;
  std::condition_variable done_;
  std::vector<JobPointer> jobs_;  // by number
  size_t limit_;                  // of the window, in files
  uint64_t bytes_ = 0;            // of the copies that are ready
  size_t running_ = 0;
  size_t untilSpaceCheck_ = 0;
  bool isIdle_ = false;     // the second thread waits for `wake_`
  bool isWaiting_ = false;  // the calling thread waits for `done_`
  bool isStopped_ = false;
  bool isEnding_ = false;

  std::thread thread_;
};

// Publishes the prepared copy of the source if there is one. Returns what CopyAhead::Publish does.
std::optional<Status> PublishPreparedCopy(const CopySource& source, const CopyTarget& target,
                                          CopiedItem* copied);

// Returns true if this thread may run on two or more processors. Otherwise a second thread would
// only take time.
bool HasSecondProcessor();

// Returns true if a CopyAhead exists.
bool AreCopiesPrepared();

// Drops all prepared copies. Returns false if there are none.
bool DropPreparedCopies();

// Calls `operation`, and again without prepared copies if it fails because these may have used up
// what it needs: space, descriptors or memory.
template <typename Operation>
Status RetryWithoutPreparedCopies(const Operation& operation) {
  const Status status = operation();
  const bool isExhausted = status == dskFulErr || status == tmfoErr || status == memFullErr;
  return isExhausted && DropPreparedCopies() ? operation() : status;
}

// The number of copies that this process has prepared, and of those that it has published.
struct PreparedCopyCounts {
  uint64_t prepared = 0;
  uint64_t published = 0;
};
PreparedCopyCounts CountPreparedCopies();

}  // namespace tessary
