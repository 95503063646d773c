#include "platform/linux/changes/copy_ahead.h"

#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <sys/statfs.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <utility>

#include "platform/linux/descriptors/descriptor_limit.h"

namespace tessary {
namespace {

constexpr uint64_t kMaxBytes = 32 << 20;
constexpr size_t kFilesPerSpaceCheck = 16;

// The space that the copies between two checks can take, and as much again for other programs.
constexpr uint64_t kMinFreeBytes = 2 * (kMaxBytes + kFilesPerSpaceCheck * kMaxPreparedSize);
constexpr uint64_t kMinFreeFiles = 1024;

// The window begins small, grows with each copy that is used, and shrinks with each that is not: in
// a list of which only few items are copied, little is copied in vain.
constexpr size_t kFirstLimit = 8;
constexpr size_t kGrowth = 2;

CopyAhead* gCopyAhead = nullptr;  // used by the calling thread only

std::atomic<uint64_t> gPreparedCount = 0;
std::atomic<uint64_t> gPublishedCount = 0;

// The descriptors of prepared copies: few, so that the rest of the process has enough.
size_t MaxFiles() {
  constexpr size_t kUsual = 32;
  constexpr size_t kShares = 8;
  return DescriptorBudget(kUsual, kShares);
}

// The key folders of a run are few, and the items of a list often alternate between them.
size_t MaxFolders() {
  constexpr size_t kUsual = 32;
  constexpr size_t kShares = 16;
  return DescriptorBudget(kUsual, kShares);
}

// Returns true if prepared copies cannot make the filesystem full, on which other items may need
// the space before them.
bool HasSpace(int folder) {
  struct statfs info = {};
  if (fstatfs(folder, &info) != 0) return false;
  const uint64_t bytes = uint64_t{info.f_bavail} * static_cast<uint64_t>(info.f_bsize);
  // A filesystem without a fixed number of files reports 0 of them.
  return bytes >= kMinFreeBytes && (info.f_files == 0 || info.f_ffree >= kMinFreeFiles);
}

// Blocks all signals of the thread while it exists, so that a thread started meanwhile handles
// none: the handlers are meant for the main thread.
class SignalBlock {
 public:
  SignalBlock() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &saved_);
  }
  ~SignalBlock() { pthread_sigmask(SIG_SETMASK, &saved_, nullptr); }
  SignalBlock(const SignalBlock&) = delete;
  SignalBlock& operator=(const SignalBlock&) = delete;

 private:
  sigset_t saved_ = {};
};

}  // namespace

CopyAhead::CopyAhead(FolderHandle folder, FolderInheritance inheritance)
    : folder_(std::move(folder)),
      inheritance_(std::move(inheritance)),
      maxFiles_(MaxFiles()),
      maxFolders_(MaxFolders()),
      limit_(std::min(kFirstLimit, maxFiles_)) {
  const SignalBlock block;
  thread_ = std::thread([this] { Run(); });
  gCopyAhead = this;
}

CopyAhead::~CopyAhead() {
  gCopyAhead = nullptr;
  {
    const std::lock_guard lock(mutex_);
    isEnding_ = true;
    wake_.notify_one();
  }
  thread_.join();
}

size_t CopyAhead::BeginTurn(size_t number) {
  std::vector<JobPointer> dropped;  // closed after the mutex is released
  const std::lock_guard lock(mutex_);
  while (!jobs_.empty() && jobs_.front()->number < number) {
    dropped.push_back(jobs_.front());
    Remove(jobs_.front());
    limit_ = std::max<size_t>(limit_ - 1, 1);
  }
  if (isStopped_) return 0;
  // Adding several at once wakes the thread less often.
  return jobs_.size() <= limit_ / 2 ? limit_ - jobs_.size() : 0;
}

void CopyAhead::Add(std::vector<Entry> entries) {
  std::vector<JobPointer> added;
  added.reserve(entries.size());
  for (Entry& entry : entries) {
    added.push_back(std::make_shared<Job>());
    added.back()->number = entry.number;
    added.back()->file = std::move(entry.file);
  }
  const std::lock_guard lock(mutex_);
  if (isStopped_) return;
  jobs_.insert(jobs_.end(), added.begin(), added.end());
  WakeIfIdle();
}

std::optional<Status> CopyAhead::Publish(const CopySource& source, const CopyTarget& target,
                                         CopiedItem* copied) {
  const JobPointer job = Find(source);
  if (!job) return std::nullopt;
  if (!IsUpToDate(job->copy, source)) {
    const std::lock_guard lock(mutex_);
    Remove(job);
    return std::nullopt;
  }
  if (!FitsInto(target)) {
    (void)Stop();
    return std::nullopt;
  }
  const Status status = job->copy.copied.item.PublishIn(target.folder, target.name.c_str());
  if (status == dupFNErr) return status;
  if (status == bdNamErr) return std::nullopt;
  if (status != noErr) {
    // The target folder is on another filesystem, in another subvolume or has another project. The
    // copy that is made now meets any other error again.
    (void)Stop();
    return std::nullopt;
  }
  gPublishedCount.fetch_add(1, std::memory_order_relaxed);
  {
    const std::lock_guard lock(mutex_);
    Remove(job);
    limit_ = std::min(limit_ + kGrowth, maxFiles_);
  }
  *copied = std::move(job->copy.copied);
  return noErr;
}

bool CopyAhead::Stop() {
  std::vector<JobPointer> dropped;
  Lock lock(mutex_);
  isStopped_ = true;
  const bool hasAny = !jobs_.empty() || running_ > 0;
  RemoveAll(&dropped);
  isWaiting_ = true;
  done_.wait(lock, [this] { return running_ == 0; });
  isWaiting_ = false;
  lock.unlock();
  dropped.clear();
  return hasAny;
}

void CopyAhead::Run() {
  Lock lock(mutex_);
  while (!isEnding_) {
    if (PrepareNext(&lock)) continue;
    isIdle_ = true;
    wake_.wait(lock);
    isIdle_ = false;
  }
}

// Prepares the next copy, on whichever thread. Returns false if there is none to prepare. Allocates
// nothing of its own, as nothing could catch the exception on the second thread.
bool CopyAhead::PrepareNext(Lock* lock) {
  JobPointer job = NextJob();
  if (!job) return false;
  job->state = State::kRunning;
  ++running_;
  const bool isSpaceChecked = untilSpaceCheck_ == 0;
  untilSpaceCheck_ = isSpaceChecked ? kFilesPerSpaceCheck - 1 : untilSpaceCheck_ - 1;
  lock->unlock();
  const bool hasSpace = !isSpaceChecked || HasSpace(folder_->get());
  const Preparation outcome =
      hasSpace ? PrepareCopy(job->file, folder_->get(), &job->copy) : Preparation::kImpossible;
  lock->lock();
  std::vector<JobPointer> dropped;
  job->state = outcome == Preparation::kDone ? State::kReady : State::kFailed;
  if (outcome == Preparation::kImpossible) {
    isStopped_ = true;
    RemoveAll(&dropped);
  }
  const bool isWanted = std::find(jobs_.begin(), jobs_.end(), job) != jobs_.end();
  if (outcome == Preparation::kDone) gPreparedCount.fetch_add(1, std::memory_order_relaxed);
  if (isWanted && outcome == Preparation::kDone) bytes_ += job->copy.copied.source.stx_size;
  if (!isWanted) {
    // Closing the file may take a while.
    lock->unlock();
    job.reset();
    dropped.clear();
    lock->lock();
  }
  --running_;
  if (isWaiting_) done_.notify_one();
  return true;
}

CopyAhead::JobPointer CopyAhead::NextJob() const {
  if (bytes_ >= kMaxBytes) return nullptr;
  const auto isQueued = [](const JobPointer& job) { return job->state == State::kQueued; };
  const auto next = std::find_if(jobs_.begin(), jobs_.end(), isQueued);
  return next == jobs_.end() ? nullptr : *next;
}

// Returns the job of the source if its copy is ready, and removes it otherwise.
CopyAhead::JobPointer CopyAhead::Find(const CopySource& source) {
  Lock lock(mutex_);
  const auto isOfSource = [&source](const JobPointer& job) {
    return job->file.identity.Equals(source.identity) && job->file.name == source.name;
  };
  const auto found = std::find_if(jobs_.begin(), jobs_.end(), isOfSource);
  if (found == jobs_.end()) return nullptr;
  JobPointer job = *found;
  while (job->state == State::kRunning && PrepareNext(&lock)) {
  }
  isWaiting_ = true;
  done_.wait(lock, [&job] { return job->state != State::kRunning; });
  isWaiting_ = false;
  if (job->state == State::kReady) return job;
  Remove(job);
  return nullptr;
}

// Compares what a file inherits.
bool CopyAhead::FitsInto(const CopyTarget& target) {
  const int folder = OpenForComparison(target);
  return folder >= 0 && ReadInheritance(folder, target.identity.device) == inheritance_;
}

// Returns a descriptor that is kept for the next items, or -1.
int CopyAhead::OpenForComparison(const CopyTarget& target) {
  for (const OpenFolder& each : openFolders_) {
    if (each.identity.Equals(target.identity)) return each.opened.get();
  }
  UniqueFd opened(openat(target.folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!opened) return -1;
  if (openFolders_.size() < maxFolders_) openFolders_.emplace_back();
  OpenFolder& place = openFolders_[nextFolder_++ % maxFolders_];
  place = {std::move(opened), target.identity};
  return place.opened.get();
}

void CopyAhead::Remove(const JobPointer& job) {
  const auto found = std::find(jobs_.begin(), jobs_.end(), job);
  if (found == jobs_.end()) return;
  if (job->state == State::kReady) bytes_ -= job->copy.copied.source.stx_size;
  jobs_.erase(found);
  // There may be room for the next copy.
  WakeIfIdle();
}

// Moves all jobs to the empty `*removed`, which the caller destroys without holding the mutex.
void CopyAhead::RemoveAll(std::vector<JobPointer>* removed) {
  removed->swap(jobs_);
  bytes_ = 0;
}

void CopyAhead::WakeIfIdle() {
  if (isIdle_ && NextJob()) wake_.notify_one();
}

std::optional<Status> PublishPreparedCopy(const CopySource& source, const CopyTarget& target,
                                          CopiedItem* copied) {
  return gCopyAhead == nullptr ? std::nullopt : gCopyAhead->Publish(source, target, copied);
}

bool DropPreparedCopies() { return gCopyAhead != nullptr && gCopyAhead->Stop(); }

bool HasSecondProcessor() {
  cpu_set_t processors;
  CPU_ZERO(&processors);
  return sched_getaffinity(0, sizeof(processors), &processors) == 0 && CPU_COUNT(&processors) > 1;
}

bool AreCopiesPrepared() { return gCopyAhead != nullptr; }

PreparedCopyCounts CountPreparedCopies() { return {gPreparedCount, gPublishedCount}; }

}  // namespace tessary
