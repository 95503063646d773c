#include "tests/programs/program.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <grp.h>
#include <linux/close_range.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>

namespace tessary::test {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr uid_t kOrdinaryUser = 65534;
constexpr std::string_view kProblemPrefix = "tessary-cli: ";

bool IsDigit(char character) { return character >= '0' && character <= '9'; }

std::vector<std::string> LinesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// An anonymous file, initially empty.
class Capture {
 public:
  Capture() : fd_(memfd_create("capture", MFD_CLOEXEC)) { EXPECT_GE(fd_, 0); }
  ~Capture() { close(fd_); }
  Capture(const Capture&) = delete;
  Capture& operator=(const Capture&) = delete;

  int fd() const { return fd_; }

  std::string Text() const {
    std::string text(static_cast<size_t>(lseek(fd_, 0, SEEK_END)), '\0');
    EXPECT_EQ(static_cast<ssize_t>(text.size()), pread(fd_, text.data(), text.size(), 0));
    return text;
  }

 private:
  int fd_;
};

std::vector<char*> Pointers(std::vector<std::string>* texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts->size() + 1);
  for (std::string& text : *texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

bool MountForThisProcess(const std::string& source, const std::string& target) {
  return unshare(CLONE_NEWNS) == 0 &&
         mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         mount(source.c_str(), target.c_str(), nullptr, MS_BIND, nullptr) == 0;
}

bool BecomeOrdinaryUser() {
  return geteuid() != 0 ||
         (setgroups(0, nullptr) == 0 && setgid(kOrdinaryUser) == 0 && setuid(kOrdinaryUser) == 0);
}

// Returns true also if the limit is 0, which means none.
bool Limit(__rlimit_resource resource, unsigned value) {
  const rlimit limit = {value, value};
  return value == 0 || setrlimit(resource, &limit) == 0;
}

bool SetUpChild(const ProgramSetup& setup, int output, int errors) {
  for (const auto& [name, value] : setup.environment) setenv(name.c_str(), value.c_str(), 1);
  if (!setup.bindTarget.empty() && !MountForThisProcess(setup.bindSource, setup.bindTarget)) {
    return false;
  }
  if (dup2(output, STDOUT_FILENO) < 0 || dup2(errors, STDERR_FILENO) < 0) return false;
  if (setup.isOrdinaryUser && !BecomeOrdinaryUser()) return false;
  if (chdir(setup.folder.c_str()) != 0) return false;
  for (const int file : setup.closedFiles) close(file);
  // What the test runner passed on would count towards the limit of descriptors.
  if (close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC) != 0) return false;
  return Limit(RLIMIT_NOFILE, setup.descriptors) && Limit(RLIMIT_FSIZE, setup.fileSize);
}

int StatusOf(pid_t child, CallCounts* calls) {
  int status = 0;
  if (calls != nullptr) {
    status = CountCalls(child, calls);
  } else {
    EXPECT_EQ(child, waitpid(child, &status, 0));
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::string DescribeEntry(const fs::path& path, const std::string& name) {
  struct stat info = {};
  if (lstat(path.c_str(), &info) != 0) return name + " is not accessible";
  std::ostringstream text;
  text << name << " mode " << std::oct << info.st_mode << std::dec << " inode " << info.st_ino
       << " size " << info.st_size << " modified " << info.st_mtim.tv_sec << "."
       << info.st_mtim.tv_nsec << " changed " << info.st_ctim.tv_sec << "." << info.st_ctim.tv_nsec;
  if (S_ISREG(info.st_mode) && access(path.c_str(), R_OK) == 0) text << " holds " << ReadFile(path);
  if (S_ISLNK(info.st_mode)) text << " links to " << fs::read_symlink(path).string();
  return text.str();
}

}  // namespace

std::optional<std::string> LogMessageOf(std::string_view line) {
  // A "0" stands for any digit.
  constexpr std::string_view kForm = "0000-00-00 00:00:00.000 tessary-cli[0";
  for (size_t i = 0; i < kForm.size(); ++i) {
    if (i == line.size()) return std::nullopt;
    if (kForm[i] == '0' ? !IsDigit(line[i]) : line[i] != kForm[i]) return std::nullopt;
  }
  line.remove_prefix(kForm.size());
  while (!line.empty() && IsDigit(line[0])) line.remove_prefix(1);
  if (!line.starts_with("] ")) return std::nullopt;
  return std::string(line.substr(2));
}

std::vector<std::string> ProgramResult::Problems() const {
  std::vector<std::string> problems;
  for (const std::string& line : LinesOf(errors)) {
    if (line.starts_with(kProblemPrefix)) problems.push_back(line.substr(kProblemPrefix.size()));
  }
  return problems;
}

std::vector<std::string> ProgramResult::LogMessages() const {
  std::vector<std::string> messages;
  for (const std::string& line : LinesOf(errors)) {
    if (const std::optional<std::string> message = LogMessageOf(line)) {
      messages.push_back(*message);
    } else {
      EXPECT_TRUE(line.starts_with(kProblemPrefix)) << "neither log nor error: " << line;
    }
  }
  return messages;
}

ProgramResult RunProgram(const std::vector<std::string>& arguments, const ProgramSetup& setup) {
  const Capture output;
  const Capture errors;
  int outputFile = setup.outputFile >= 0 ? setup.outputFile : output.fd();
  if (!setup.outputPath.empty()) outputFile = open(setup.outputPath.c_str(), O_WRONLY | O_CLOEXEC);
  const int errorFile = setup.errorFile >= 0 ? setup.errorFile : errors.fd();
  // Opened before privileges are dropped: an ordinary user may not reach it.
  const int program = open(TESSARY_CLI, O_PATH | O_CLOEXEC);
  EXPECT_GE(program, 0) << TESSARY_CLI;

  std::vector<std::string> texts = {TESSARY_CLI};
  texts.insert(texts.end(), arguments.begin(), arguments.end());
  const std::vector<char*> argv = Pointers(&texts);
  const pid_t child = fork();
  if (child == 0) {
    const bool isReady =
        SetUpChild(setup, outputFile, errorFile) && (setup.calls == nullptr || AllowCallCounting());
    if (isReady) fexecve(program, argv.data(), environ);
    _exit(kCannotStart);
  }
  ProgramResult result;
  result.status = StatusOf(child, setup.calls);
  result.output = output.Text();
  result.errors = errors.Text();
  close(program);
  if (!setup.outputPath.empty()) close(outputFile);
  return result;
}

std::vector<std::string> DescribeTree(const std::string& folder) {
  std::vector<std::string> lines;
  for (const fs::directory_entry& entry :
       fs::recursive_directory_iterator(folder, fs::directory_options::skip_permission_denied)) {
    lines.push_back(DescribeEntry(entry.path(), entry.path().string().substr(folder.size())));
  }
  std::sort(lines.begin(), lines.end());
  return lines;
}

ProgramTest::ProgramTest() {
  MakeFolder(At("config"));
  MakeFolder(At("data"));
}

ProgramResult ProgramTest::Run(const std::vector<std::string>& arguments,
                               ProgramSetup setup) const {
  setup.environment.insert({
      {"XDG_CONFIG_HOME", At("config")},
      {"XDG_DATA_HOME", At("data")},
      {"XDG_DATA_DIRS", At("data")},
      {"TZ", "UTC"},
      {"LC_ALL", "C"},
  });
  return RunProgram(arguments, setup);
}

ProgramResult ProgramTest::Aggregate(std::vector<std::string> options, ProgramSetup setup) const {
  options.insert(options.begin(), "aggregate");
  options.push_back(At("source"));
  options.push_back(At("destination"));
  return Run(options, std::move(setup));
}

void ProgramTest::ExpectError(const std::vector<std::string>& arguments, const std::string& reason,
                              int status, const ProgramSetup& setup) const {
  const std::vector<std::string> before = DescribeTree(At(""));
  const ProgramResult result = Run(arguments, setup);
  EXPECT_EQ(status, result.status) << result.errors;
  EXPECT_THAT(result.Problems(), ElementsAre(HasSubstr(reason)));
  EXPECT_THAT(result.LogMessages(), IsEmpty());
  EXPECT_EQ("", result.output);
  EXPECT_EQ(before, DescribeTree(At(""))) << reason;
}

void ProgramTest::OpenToOrdinaryUser() const { EXPECT_EQ(0, chmod(folder_.path().c_str(), 0777)); }

}  // namespace tessary::test
