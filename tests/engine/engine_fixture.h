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

// The fixture of the engine tests: folders "source" and "destination" in the real filesystem, an
// empty preferences file, the captured log, and hooks that record their calls.
class EngineFixture : public testing::Test {
 protected:
  EngineFixture();
  ~EngineFixture() override;

  std::string InSource(const std::string& name) const { return source_ + "/" + name; }
  std::string InDestination(const std::string& name) const { return destination_ + "/" + name; }

  // Runs AggregateFolder on the source and the destination folder.
  void Run() const;

  // All messages of the log, and those after the first, which names the source.
  std::vector<std::string> Messages() const { return log_.Messages(); }
  std::vector<std::string> MessagesAfterFirst() const;

  // Replaces the preferences file from another process.
  void WritePreferencesInChild(const std::string& text) const;

  // Makes the ordinary user of RunAsOrdinaryUser the owner of the test's folders and of everything
  // in them.
  void OpenToOrdinaryUser() const;

  const TemporaryFolder root_;
  const std::string source_;
  const std::string destination_;
  const PreferencesFolder preferences_;
  CapturedLog log_;

  std::vector<std::string> progress_;  // each progress text: target, space, text
  std::vector<std::string> sources_;   // the paths of the sources of the runs that were started
  std::map<std::string, std::vector<ItemOutcome>> outcomes_;  // by path
  std::vector<std::string> reports_;                          // the fields that are set
  std::function<void(const std::string&)> onProgress_;        // also called with each text
  std::function<void(const std::string&)> onItem_;            // also called with each path
};

// The lines that a run logs.
std::string AggregatingLine(const std::string& name);
std::string MovedLine(const std::string& name, const std::string& folder);
std::string MovingLine(const std::string& path);
std::string NotMovedLine(const std::string& path, const std::string& folderPath);

// A regular expression for a distinct name with these regular expressions around the UUID.
std::string DistinctName(const std::string& before, const std::string& after);

}  // namespace tessary::test
