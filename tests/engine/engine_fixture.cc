#include "tests/engine/engine_fixture.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <map>

#include "engine/run.h"
#include "platform/managers/file_manager.h"
#include "platform/managers/text.h"

namespace tessary::test {
namespace {

constexpr unsigned kOrdinaryId = 65534;

std::string PathOf(const FSRef& ref) {
  std::array<char, 4096> path;
  EXPECT_EQ(noErr, FSRefMakePath(ref, path.data(), path.size()));
  return path.data();
}

std::string TextOf(const ItemReport& report) {
  static const std::map<ItemOutcome, std::string> kOutcomes = {
      {ItemOutcome::kFiled, "filed"},
      {ItemOutcome::kSkipped, "skipped"},
      {ItemOutcome::kNotRead, "not read"},
      {ItemOutcome::kNoKeyFolder, "no key folder"},
      {ItemOutcome::kNotTransferred, "not transferred"},
      {ItemOutcome::kCommentNotCopied, "comment not copied"},
      {ItemOutcome::kFolderNotListed, "folder not listed"},
      {ItemOutcome::kNoRun, "no run"},
  };
  std::string text = std::string(report.path) + ": " + kOutcomes.at(report.outcome);
  if (report.step != FilingStep::kOnly) {
    text += report.step == FilingStep::kYear ? ", year" : ", day";
  }
  if (report.isCopy) text += ", copy";
  if (report.status != noErr) text += ", " + std::to_string(report.status);
  if (report.replace != noErr) text += ", replace " + std::to_string(report.replace);
  if (!report.folderPath.empty()) text += ", in " + std::string(report.folderPath);
  if (!report.newName.empty()) text += ", as " + Utf8FromUtf16(report.newName);
  return text;
}

void GiveToOrdinaryUser(const std::string& folder) {
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    EXPECT_EQ(0, lchown(entry.path().c_str(), kOrdinaryId, kOrdinaryId)) << entry.path();
  }
  EXPECT_EQ(0, chown(folder.c_str(), kOrdinaryId, kOrdinaryId)) << folder;
}

}  // namespace

EngineFixture::EngineFixture() : source_(root_ / "source"), destination_(root_ / "destination") {
  MakeFolder(source_);
  MakeFolder(destination_);
  SetEngineHooks(
      {.showProgressText =
           [this](const std::string& text, int target) {
             progress_.push_back(std::to_string(target) + " " + text);
             if (onProgress_) onProgress_(text);
           },
       .runAggregation = [this](const FSRef& source) { sources_.push_back(PathOf(source)); },
       .observeItem =
           [this](const ItemReport& report) {
             const std::string path(report.path);
             outcomes_[path].push_back(report.outcome);
             reports_.push_back(TextOf(report));
             if (onItem_) onItem_(path);
           }});
}

EngineFixture::~EngineFixture() { SetEngineHooks({}); }

void EngineFixture::Run() const { AggregateFolder(RefAt(source_), RefAt(destination_)); }

std::vector<std::string> EngineFixture::MessagesAfterFirst() const {
  std::vector<std::string> messages = Messages();
  EXPECT_FALSE(messages.empty());
  if (!messages.empty()) messages.erase(messages.begin());
  return messages;
}

void EngineFixture::WritePreferencesInChild(const std::string& text) const {
  (void)std::fflush(stdout);
  const pid_t child = fork();
  if (child == 0) {
    // A rename replaces the file atomically, as a careful program does.
    const std::string path = preferences_.PreferencesPath();
    WriteFile(path + ".new", text);
    _exit(std::rename((path + ".new").c_str(), path.c_str()) == 0 ? 0 : 1);
  }
  int status = 0;
  ASSERT_GT(child, 0);
  ASSERT_EQ(child, waitpid(child, &status, 0));
  ASSERT_TRUE(WIFEXITED(status));
  ASSERT_EQ(0, WEXITSTATUS(status));
}

void EngineFixture::OpenToOrdinaryUser() const {
  if (geteuid() != 0) return;
  GiveToOrdinaryUser(root_.path());
  const std::filesystem::path preferences(preferences_.PreferencesPath());
  GiveToOrdinaryUser(preferences.parent_path().parent_path());
}

std::string AggregatingLine(const std::string& name) { return "Aggregating folder " + name; }

std::string MovedLine(const std::string& name, const std::string& folder) {
  return "Moved \"" + name + "\" to \"" + folder + "\"";
}

std::string MovingLine(const std::string& path) { return "Moving: " + path; }

std::string NotMovedLine(const std::string& path, const std::string& folderPath) {
  return "The file \"" + path + "\" could not be moved to \"" + folderPath +
         "\". A file by the same name may exists there already.";
}

std::string DistinctName(const std::string& before, const std::string& after) {
  return before + "[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}" + after;
}

}  // namespace tessary::test
