#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "engine/shell.h"
#include "tests/support/captured_log.h"
#include "tests/support/preferences_folder.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {

// The ground of a test of the engine: folders "source" and "destination" in the real file system, a
// preferences file of its own with nothing in it, the captured log, and hooks that remember what
// the engine tells the shell.
class EngineFixture : public testing::Test {
 protected:
  EngineFixture();
  ~EngineFixture() override;

  std::string InSource(const std::string& name) const { return source_ + "/" + name; }
  std::string InDestination(const std::string& name) const { return destination_ + "/" + name; }

  // Runs the engine from the source folder into the destination folder.
  void Run() const;

  // The log's messages, and those after its first line, which names the source.
  std::vector<std::string> Messages() const { return log_.Messages(); }
  std::vector<std::string> MessagesAfterFirst() const;

  // Replaces the preferences file from another process, without this one taking any notice.
  void WritePreferencesInChild(const std::string& text) const;

  // Lets everybody look into the test's folders, as RunAsOrdinaryUser needs it, and gives
  // everything in them to the ordinary user.
  void OpenToOrdinaryUser() const;

  const TemporaryFolder root_;
  const std::string source_;
  const std::string destination_;
  const PreferencesFolder preferences_;
  CapturedLog log_;

  std::vector<std::string> progress_;  // what was shown, with its target before it
  std::vector<std::string> sources_;   // the paths of the sources that a run began on
  std::map<std::string, std::vector<ItemOutcome>> outcomes_;  // by path
  std::function<void(const std::string&)> onProgress_;        // called with each text as well
  std::function<void(const std::string&)> onItem_;            // called with each path as well
};

// The lines that a run writes.
std::string AggregatingLine(const std::string& name);
std::string MovedLine(const std::string& name, const std::string& folder);
std::string MovingLine(const std::string& path);
std::string NotMovedLine(const std::string& path, const std::string& folderPath);

// A regular expression for a distinct name made of what stands before and after the UUID.
std::string DistinctName(const std::string& before, const std::string& after);

}  // namespace tessary::test
