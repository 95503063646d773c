#pragma once

#include <memory>
#include <string>

#include "tests/support/memory_volume.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {

// Two scratch folders on different volumes, as far as the machine has any that this user may write
// to, and a third one on the disk, where everything takes longer.
class TwoVolumes {
 public:
  TwoVolumes();

  // Whether they are different volumes indeed.
  bool AreDifferent() const { return areDifferent_; }

  // In memory, where there is such a volume.
  const std::string& first() const { return first_; }

  // Another one in memory where this process may mount it, else that on the disk.
  const std::string& second() const { return second_; }

  const std::string& OnDisk() const { return onDisk_.path(); }

 private:
  TemporaryFolder onDisk_;
  MemoryVolume mounted_ = MemoryVolume("size=512m");
  std::unique_ptr<TemporaryFolder> shared_;
  std::string first_;
  std::string second_;
  bool areDifferent_ = false;
};

}  // namespace tessary::test
