#include "tests/faults/errors/real_limits.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "tests/faults/errors/inventory.h"

namespace tessary::test {
namespace {

using testing::IsEmpty;

constexpr TreeAspects kContentsOnly = {.modes = false,
                                       .owners = false,
                                       .times = false,
                                       .linkTimes = false,
                                       .attributes = false,
                                       .hardLinks = false};

std::vector<std::string> ContentsIn(const std::string& folder) {
  std::vector<std::string> contents;
  for (const FoundItem& item : TakeInventory(folder, kContentsOnly)) {
    contents.push_back(item.contents);
  }
  std::sort(contents.begin(), contents.end());
  return contents;
}

std::vector<std::string> MergeSorted(std::vector<std::string> first,
                                     const std::vector<std::string>& second) {
  first.insert(first.end(), second.begin(), second.end());
  std::sort(first.begin(), first.end());
  return first;
}

}  // namespace

SupervisedResult RealLimits::Run(const std::vector<std::string>& options, const std::string& source,
                                 const std::string& destination) const {
  std::vector<std::string> arguments = {"aggregate"};
  arguments.insert(arguments.end(), options.begin(), options.end());
  arguments.insert(arguments.end(), {source, destination});
  return RunWithoutFaults(arguments, config_.path());
}

SupervisedResult RealLimits::Aggregate(const std::string& operation, const std::string& source,
                                       const std::string& destination,
                                       const std::string& kind) const {
  const std::vector<std::string> sourceBefore = ContentsIn(source);
  const std::vector<std::string> destinationBefore = ContentsIn(destination);
  SupervisedResult result = Run({"--recurse", "--kind", kind, operation}, source, destination);
  EXPECT_EQ(0, result.signal) << result.output;
  EXPECT_FALSE(result.hasTimedOut) << result.output;
  const std::vector<std::string> sourceNow = ContentsIn(source);
  const std::vector<std::string> destinationNow = ContentsIn(destination);
  const std::vector<std::string> allBefore = MergeSorted(sourceBefore, destinationBefore);
  if (operation == "--move") {
    EXPECT_EQ(allBefore, MergeSorted(sourceNow, destinationNow)) << result.output;
  } else {
    EXPECT_EQ(sourceBefore, sourceNow) << result.output;
    EXPECT_TRUE(std::ranges::includes(allBefore, destinationNow)) << result.output;
  }
  if (!mayLeaveTempFiles_) {
    EXPECT_THAT(FindTempFiles(source), IsEmpty()) << result.output;
    EXPECT_THAT(FindTempFiles(destination), IsEmpty()) << result.output;
  }
  return result;
}

}  // namespace tessary::test
