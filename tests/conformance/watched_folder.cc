#include "tests/conformance/watched_folder.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cstring>

namespace tessary::test {
namespace {

constexpr uint32_t kChanges = IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_MODIFY | IN_ATTRIB;

}  // namespace

WatchedFolder::WatchedFolder(const std::string& path)
    : events_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
  isWatched_ = inotify_add_watch(events_.get(), path.c_str(), kChanges) >= 0;
}

std::vector<std::string> WatchedFolder::ChangesOf(const std::string& name) const {
  std::vector<std::string> changes;
  std::array<char, 65536> buffer = {};
  while (true) {
    const ssize_t size = read(events_.get(), buffer.data(), buffer.size());
    if (size <= 0) return changes;
    for (size_t at = 0; at < static_cast<size_t>(size);) {
      struct inotify_event event = {};
      std::memcpy(&event, buffer.data() + at, sizeof(event));
      const char* eventName = buffer.data() + at + sizeof(event);
      if (event.len > 0 && name == eventName) changes.push_back(std::to_string(event.mask));
      at += sizeof(event) + event.len;
    }
  }
}

}  // namespace tessary::test
