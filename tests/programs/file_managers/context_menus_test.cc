#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "programs/cli/command_specs.h"
#include "programs/cli/nautilus_script.h"
#include "programs/cli/thunar_actions.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Texts = std::vector<std::string>;

// Names with characters that are special in shells, URIs, lists or encodings.
const Texts& OddNames() {
  static const Texts kNames = {
      "a b  c",        "it's \"quoted\"", "#1 50% %20", "K\xC3\xA4the \xE6\x97\xA5\xE6\x9C\xAC",
      "\xFF\xFE\x80",  "new\nline",       "-n --",      "a,b;c&d|e",
      "$HOME `id` \\", "[x] {y} <z> *?!", ".two..dots", "file:",
  };
  return kNames;
}

bool IsUnreserved(unsigned char byte) {
  return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
         (byte >= '0' && byte <= '9') ||
         std::string("-._~/").find(static_cast<char>(byte)) != std::string::npos;
}

// The URI of a path. Characters in `kept` are not escaped.
std::string UriOf(const std::string& path, const std::string& kept = "") {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string uri = "file://";
  for (const char character : path) {
    const auto byte = static_cast<unsigned char>(character);
    if (IsUnreserved(byte) || kept.find(character) != std::string::npos) {
      uri += character;
    } else {
      uri += {'%', kDigits[byte >> 4U], kDigits[byte & 15U]};
    }
  }
  return uri;
}

// Characters that the file managers of GNOME and Xfce do not escape in URIs.
constexpr char kSubDelimiters[] = "!$&'()*+,;=:@";

std::string SingleQuoted(const std::string& text) {
  std::string quoted = "'";
  for (const char character : text) {
    quoted += character == '\'' ? std::string("'\\''") : std::string(1, character);
  }
  return quoted + "'";
}

// The values of a key file, by "[GROUP] KEY".
std::map<std::string, std::string> ReadKeyFile(const std::string& name) {
  std::map<std::string, std::string> values;
  std::istringstream text(ReadFile(TESSARY_SOURCE_DIR "/packaging/" + name));
  std::string group;
  for (std::string line; std::getline(text, line);) {
    const size_t equals = line.find('=');
    if (line.starts_with('[')) {
      group = line;
    } else if (!line.empty() && line[0] != '#') {
      EXPECT_NE(std::string::npos, equals) << name << ": " << line;
      if (equals == std::string::npos) continue;
      const bool isNew =
          values.emplace(group + " " + line.substr(0, equals), line.substr(equals + 1)).second;
      EXPECT_TRUE(isNew) << name << ": " << line;
    }
  }
  return values;
}

void ExpectLanguages(const std::map<std::string, std::string>& values, const std::string& key) {
  for (const char* language : {"de", "es", "fr", "ja"}) {
    const auto found = values.find(key + "[" + language + "]");
    ASSERT_NE(values.end(), found) << key << " " << language;
    EXPECT_NE(values.at(key), found->second);
    EXPECT_NE("", found->second);
  }
}

constexpr char kKio[] = "kio/org.tessary.Tessary.aggregate.desktop";
constexpr char kNemo[] = "nemo/org.tessary.Tessary.aggregate.nemo_action";
constexpr char kFileManager[] = "file-manager/org.tessary.Tessary.aggregate.desktop";

TEST(ContextMenuFiles, Dolphin) {
  auto values = ReadKeyFile(kKio);
  EXPECT_EQ("Service", values["[Desktop Entry] Type"]);
  EXPECT_EQ("KonqPopupMenu/Plugin", values["[Desktop Entry] X-KDE-ServiceTypes"]);
  EXPECT_EQ("inode/directory;", values["[Desktop Entry] MimeType"]);
  EXPECT_EQ("aggregate", values["[Desktop Entry] Actions"].substr(0, 9));
  EXPECT_EQ("tessary --aggregate %U", values["[Desktop Action aggregate] Exec"]);
  EXPECT_EQ("Aggregate with Tessary…", values["[Desktop Action aggregate] Name"]);
  ExpectLanguages(values, "[Desktop Action aggregate] Name");
}

TEST(ContextMenuFiles, Nemo) {
  auto values = ReadKeyFile(kNemo);
  EXPECT_EQ("Aggregate with Tessary…", values["[Nemo Action] Name"]);
  EXPECT_EQ("tessary --aggregate %U", values["[Nemo Action] Exec"]);
  EXPECT_EQ("notnone", values["[Nemo Action] Selection"]);
  EXPECT_EQ("dir;", values["[Nemo Action] Extensions"]);
  EXPECT_EQ("double", values["[Nemo Action] Quote"]);
  EXPECT_EQ("tessary;", values["[Nemo Action] Dependencies"]);
  ExpectLanguages(values, "[Nemo Action] Name");
  ExpectLanguages(values, "[Nemo Action] Comment");
}

TEST(ContextMenuFiles, PcmanfmQt) {
  auto values = ReadKeyFile(kFileManager);
  EXPECT_EQ("Action", values["[Desktop Entry] Type"]);
  EXPECT_EQ("Aggregate with Tessary…", values["[Desktop Entry] Name"]);
  EXPECT_EQ("folders;", values["[Desktop Entry] Profiles"]);
  EXPECT_EQ("inode/directory;", values["[X-Action-Profile folders] MimeTypes"]);
  EXPECT_EQ("tessary --aggregate %F", values["[X-Action-Profile folders] Exec"]);
  ExpectLanguages(values, "[Desktop Entry] Name");
  ExpectLanguages(values, "[Desktop Entry] Tooltip");
}

// A session of its own; a stub on its bus replaces the program.
class ContextMenus : public testing::Test {
 protected:
  void SetUp() override {
    if (std::system("command -v dbus-run-session >/dev/null") != 0) {
      GTEST_SKIP() << "dbus-run-session is not installed";
    }
    MakeFolder(At("bin"));
    MakeFolder(At("run"));
    ASSERT_EQ(0, chmod(At("run").c_str(), 0700));
    MakeLink(TESSARY, At("bin/tessary"));
  }

  std::string At(const std::string& name) const { return folder_ / name; }

  // Creates folders with odd names in At("shown") and returns their paths.
  Texts MakeOddFolders() const {
    Texts paths;
    for (const std::string& name : OddNames()) {
      paths.push_back(At("shown/" + name));
      MakeFolder(paths.back());
    }
    return paths;
  }

  // Runs a command in the session, in At("shown"), and returns its exit status.
  int RunInSession(Texts command, const std::map<std::string, std::string>& environment = {}) {
    MakeFolder(At("shown"));
    const Texts session = {"dbus-run-session", "--", TESSARY_SERVICE_STUB, At("calls")};
    command.insert(command.begin(), session.begin(), session.end());
    return Run(command, environment);
  }

  // Runs a command line of a shell.
  int RunLine(const std::string& line) { return RunInSession({"sh", "-c", line}); }

  int Run(Texts command, const std::map<std::string, std::string>& environment) {
    std::vector<char*> arguments;
    for (std::string& argument : command) arguments.push_back(argument.data());
    arguments.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
      const std::string path = At("bin") + ":" + std::getenv("PATH");
      setenv("PATH", path.c_str(), 1);
      setenv("XDG_RUNTIME_DIR", At("run").c_str(), 1);
      setenv("LC_ALL", "C.UTF-8", 1);
      unsetenv("DISPLAY");
      unsetenv("WAYLAND_DISPLAY");
      unsetenv("DBUS_SESSION_BUS_ADDRESS");
      for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
      const int errors = open(At("errors").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
      if (errors < 0 || dup2(errors, STDERR_FILENO) < 0) _exit(124);
      if (chdir(At("shown").c_str()) == 0) execvp(arguments[0], arguments.data());
      _exit(124);
    }
    int status = 0;
    EXPECT_EQ(child, waitpid(child, &status, 0));
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

  std::string Errors() const { return ReadFile(At("errors")); }

  // The URIs that the stub received. Expects one well-formed request for each.
  Texts RequestedUris() const {
    Texts lines;
    std::istringstream text(ReadFile(At("calls")));
    for (std::string line; std::getline(text, line);) lines.push_back(line);
    Texts uris;
    EXPECT_EQ(0U, lines.size() % 3) << testing::PrintToString(lines);
    for (size_t i = 0; i + 2 < lines.size(); i += 3) {
      EXPECT_EQ("org.tessary.Service.Perform(sas)", lines[i]);
      EXPECT_EQ("aggregate", lines[i + 1]);
      uris.push_back(lines[i + 2]);
    }
    return uris;
  }

  static Texts UrisOf(const Texts& paths) {
    Texts uris;
    for (const std::string& path : paths) uris.push_back(UriOf(path));
    return uris;
  }

 private:
  TemporaryFolder folder_;
};

TEST_F(ContextMenus, PassUrisPathsAndRelativeNames) {
  const Texts paths = MakeOddFolders();
  Texts command = {"tessary", "--aggregate"};
  for (const std::string& path : paths) command.push_back(UriOf(path));
  EXPECT_EQ(0, RunInSession(command)) << Errors();
  EXPECT_EQ(UrisOf(paths), RequestedUris());

  command = {"tessary", "--aggregate"};
  command.insert(command.end(), paths.begin(), paths.end());
  EXPECT_EQ(0, RunInSession(command)) << Errors();
  EXPECT_EQ(UrisOf(paths), RequestedUris());

  command = {"tessary", "--aggregate", "--"};
  command.insert(command.end(), OddNames().begin(), OddNames().end());
  EXPECT_EQ(0, RunInSession(command)) << Errors();
  EXPECT_EQ(UrisOf(paths), RequestedUris());
}

// ---- The desktop program's own arguments, without a display ----

using DesktopCommandLine = ContextMenus;

TEST_F(DesktopCommandLine, PrintsHelpAndVersionWithoutADisplay) {
  const auto outputOf = [this](const std::string& option) {
    EXPECT_EQ(0, Run({"sh", "-c", "tessary " + option + " > '" + At("output") + "'"}, {}));
    EXPECT_EQ("", Errors());
    return ReadFile(At("output"));
  };
  MakeFolder(At("shown"));
  EXPECT_EQ(HelpText(kDesktopSpec), outputOf("--help"));
  EXPECT_EQ(HelpText(kDesktopSpec), outputOf("-h absent"));
  EXPECT_EQ("tessary 0.1.0\n", outputOf("--version"));
  EXPECT_EQ("tessary 0.1.0\n", outputOf("-platform offscreen -V"));
}

// Neither reaches the instance that is running.
TEST_F(DesktopCommandLine, RefusesUnknownOptionsAndMissingFolders) {
  EXPECT_EQ(2, RunInSession({"tessary", "--fullscreen"}));
  EXPECT_THAT(Errors(), HasSubstr("tessary: --fullscreen: unknown option."));
  EXPECT_THAT(RequestedUris(), IsEmpty());
  EXPECT_EQ(1, RunInSession({"tessary", "absent", "--", "-absent"}));
  EXPECT_THAT(Errors(), HasSubstr("tessary: absent: "));
  EXPECT_THAT(Errors(), HasSubstr("tessary: -absent: "));
  EXPECT_THAT(RequestedUris(), IsEmpty());
}

// ---- What file managers call ----

// Dolphin replaces "%U" by paths for local files, quoted for a shell.
TEST_F(ContextMenus, AcceptDolphin) {
  const Texts paths = MakeOddFolders();
  std::string line = ReadKeyFile(kKio)["[Desktop Action aggregate] Exec"];
  std::string list;
  for (const std::string& path : paths) list += " " + SingleQuoted(path);
  line.replace(line.find("%U"), 2, list);
  EXPECT_EQ(0, RunLine(line)) << Errors();
  EXPECT_EQ(UrisOf(paths), RequestedUris());
}

// Nemo puts URIs between the quotes that the file specifies.
TEST_F(ContextMenus, AcceptNemo) {
  const Texts paths = MakeOddFolders();
  std::string line = ReadKeyFile(kNemo)["[Nemo Action] Exec"];
  std::string list;
  for (const std::string& path : paths) {
    // Between its quotes nothing is expanded, unlike in a shell.
    std::string uri = UriOf(path, kSubDelimiters);
    for (size_t at = uri.find('$'); at != std::string::npos; at = uri.find('$', at + 2)) {
      uri.insert(at, "\\");
    }
    list += " \"" + uri + "\"";
  }
  line.replace(line.find("%U"), 2, list);
  EXPECT_EQ(0, RunLine(line)) << Errors();
  EXPECT_EQ(UrisOf(paths), RequestedUris());
}

// PCManFM-Qt quotes paths for a shell, but not URIs.
TEST_F(ContextMenus, AcceptPcmanfmQt) {
  const Texts paths = MakeOddFolders();
  std::string line = ReadKeyFile(kFileManager)["[X-Action-Profile folders] Exec"];
  std::string list;
  for (const std::string& path : paths) list += " " + SingleQuoted(path);
  ASSERT_NE(std::string::npos, line.find("%F"));
  line.replace(line.find("%F"), 2, list);
  EXPECT_EQ(0, RunLine(line)) << Errors();
  EXPECT_EQ(UrisOf(paths), RequestedUris());
}

// Thunar quotes URIs for a shell.
TEST_F(ContextMenus, AcceptThunar) {
  const Texts paths = MakeOddFolders();
  std::string actions;
  DocumentProblem problem;
  ASSERT_TRUE(AddThunarAction(EmptyThunarActions(), &actions, &problem)) << problem.reason;
  const size_t begin = actions.find("<command>") + std::string("<command>").size();
  std::string line = actions.substr(begin, actions.find("</command>") - begin);
  std::string list;
  for (const std::string& path : paths) list += " " + SingleQuoted(UriOf(path, kSubDelimiters));
  ASSERT_NE(std::string::npos, line.find("%U"));
  line.replace(line.find("%U"), 2, list);
  EXPECT_EQ(0, RunLine(line)) << Errors();
  EXPECT_EQ(UrisOf(paths), RequestedUris());
}

// Nautilus passes names relative to the folder that it shows, which is the working folder.
TEST_F(ContextMenus, AcceptRelativeNamesOfNautilus) {
  const Texts paths = MakeOddFolders();
  const std::string script = At("scripts/" + std::string(kNautilusScriptName));
  WriteFile(script, NautilusScript());
  ASSERT_EQ(0, chmod(script.c_str(), 0700));
  Texts command = {script};
  command.insert(command.end(), OddNames().begin(), OddNames().end());
  const std::map<std::string, std::string> environment = {
      {"NAUTILUS_SCRIPT_SELECTED_FILE_PATHS", paths.front() + "\n"}};
  EXPECT_EQ(0, RunInSession(command, environment)) << Errors();
  EXPECT_EQ(UrisOf(paths), RequestedUris());
}

TEST_F(ContextMenus, AcceptNautilusVariableWithoutNames) {
  Texts paths = MakeOddFolders();
  std::erase_if(paths,
                [](const std::string& path) { return path.find('\n') != std::string::npos; });
  const std::string script = At("scripts/" + std::string(kNautilusScriptName));
  WriteFile(script, NautilusScript());
  ASSERT_EQ(0, chmod(script.c_str(), 0700));
  std::string lines;
  for (const std::string& path : paths) lines += path + "\n";
  EXPECT_EQ(0, RunInSession({script}, {{"NAUTILUS_SCRIPT_SELECTED_FILE_PATHS", lines}}))
      << Errors();
  EXPECT_EQ(UrisOf(paths), RequestedUris());
  EXPECT_EQ(0, RunInSession({script}));
  EXPECT_THAT(RequestedUris(), IsEmpty());
}

TEST_F(ContextMenus, ResolveLinks) {
  MakeFolder(At("shown/real"));
  MakeLink("real", At("shown/link"));
  EXPECT_EQ(0, RunInSession({"tessary", "--aggregate", "link"})) << Errors();
  EXPECT_THAT(RequestedUris(), ElementsAre(UriOf(At("shown/real"))));
}

TEST_F(ContextMenus, ReportInvalidFoldersAndPassTheRest) {
  MakeFolder(At("shown/there"));
  for (const char* name :
       {"absent", "file:///absent", "file://elsewhere/tmp", "trash:///x", "file:///bad%zz", ""}) {
    EXPECT_EQ(1, RunInSession({"tessary", "--aggregate", name, "there"})) << name;
    EXPECT_THAT(Errors(), HasSubstr("Cannot aggregate \"" + std::string(name) + "\""));
    EXPECT_THAT(RequestedUris(), ElementsAre(UriOf(At("shown/there"))));
  }
  EXPECT_EQ(2, RunInSession({"tessary", "--aggregate"}));
  EXPECT_THAT(Errors(), HasSubstr("tessary: missing FOLDER. Try 'tessary --help'.\n"));
  EXPECT_THAT(RequestedUris(), IsEmpty());
}

TEST_F(ContextMenus, ReportMissingBusOrProgram) {
  MakeFolder(At("shown/there"));
  EXPECT_EQ(1, Run({"tessary", "--aggregate", "there"},
                   {{"DBUS_SESSION_BUS_ADDRESS", "unix:path=" + At("no bus")}}));
  EXPECT_THAT(Errors(), HasSubstr("There is no session bus"));
  EXPECT_EQ(1, Run({"dbus-run-session", "--", "tessary", "--aggregate", "there"},
                   {{"XDG_DATA_DIRS", At("run")}, {"XDG_DATA_HOME", At("run")}}));
  EXPECT_THAT(Errors(), HasSubstr("was not reached on the session bus"));
}

}  // namespace
}  // namespace tessary::test
