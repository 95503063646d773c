#include "programs/cli/integrate_command.h"

#include <array>
#include <optional>
#include <string>

#include "platform/managers/integration.h"
#include "platform/managers/log.h"
#include "programs/cli/messages.h"
#include "programs/cli/nautilus_script.h"
#include "programs/cli/thunar_actions.h"

namespace tessary {
namespace {

using Text = std::optional<std::string>;

// What an edit found, besides the change that it makes.
struct Finding {
  bool wasThere = false;
  std::string problem;  // empty for none
};

// A file manager, and how its menu file is read and changed.
struct FileManager {
  const char* name;
  MenuFileKind kind;
  std::string (*path)();
  // Tells in `*finding` whether the program is in the menu.
  void (*find)(const std::string& text, Finding* finding);
  MenuFileChange (*add)(const Text& text, std::string* newText, Finding* finding);
  MenuFileChange (*remove)(const Text& text, std::string* newText, Finding* finding);
};

// ---- Thunar ----

constexpr char kThunarFile[] = "Thunar/uca.xml";

std::string ThunarPath() { return UserConfigurationPath(kThunarFile); }

// A user's file hides the system's, so that it has to begin with what stands there.
std::string InitialThunarActions() {
  const Text system = ReadSystemConfiguration(kThunarFile);
  bool isThere = false;
  std::string problem;
  if (system && HasThunarAction(*system, &isThere, &problem) && !isThere) return *system;
  return std::string(EmptyThunarActions());
}

void FindInThunar(const std::string& text, Finding* finding) {
  // The problem tells when it fails.
  (void)HasThunarAction(text, &finding->wasThere, &finding->problem);
}

MenuFileChange AddToThunar(const Text& text, std::string* newText, Finding* finding) {
  const std::string document = text ? *text : InitialThunarActions();
  FindInThunar(document, finding);
  if (!finding->problem.empty() || finding->wasThere) return MenuFileChange::kNone;
  const bool isAdded = AddThunarAction(document, newText, &finding->problem);
  return isAdded ? MenuFileChange::kWrite : MenuFileChange::kNone;
}

MenuFileChange RemoveFromThunar(const Text& text, std::string* newText, Finding* finding) {
  if (!text) return MenuFileChange::kNone;
  FindInThunar(*text, finding);
  if (!finding->problem.empty() || !finding->wasThere) return MenuFileChange::kNone;
  if (!RemoveThunarAction(*text, newText, &finding->problem)) return MenuFileChange::kNone;
  // A file that says what holds without it was made for the action, and would hide what the system
  // says later.
  return *newText == InitialThunarActions() ? MenuFileChange::kDelete : MenuFileChange::kWrite;
}

// ---- Nautilus ----

std::string NautilusPath() {
  return UserDataPath("nautilus/scripts/" + std::string(kNautilusScriptName));
}

void FindInNautilus(const std::string& text, Finding* finding) {
  finding->wasThere = IsNautilusScript(text);
}

// What is there is written again: it may be of another version, or have lost the right to be run.
MenuFileChange AddToNautilus(const Text& text, std::string* newText, Finding* finding) {
  if (text) FindInNautilus(*text, finding);
  if (text && !finding->wasThere) {
    finding->problem = "it is another program's script";
    return MenuFileChange::kNone;
  }
  *newText = NautilusScript();
  return MenuFileChange::kWrite;
}

MenuFileChange RemoveFromNautilus(const Text& text, std::string* newText, Finding* finding) {
  if (text) FindInNautilus(*text, finding);
  if (!finding->wasThere) return MenuFileChange::kNone;
  *newText = *text;
  return MenuFileChange::kDelete;
}

// ---- Both ----

constexpr std::array<FileManager, 2> kFileManagers = {{
    {"Thunar", MenuFileKind::kDocument, ThunarPath, FindInThunar, AddToThunar, RemoveFromThunar},
    {"Nautilus", MenuFileKind::kProgram, NautilusPath, FindInNautilus, AddToNautilus,
     RemoveFromNautilus},
}};

std::string Sentence(const FileManager& manager, const char* state, const std::string& path) {
  return std::string(manager.name) + ": " + state + " " + EscapeControlCharacters(Quoted(path)) +
         "\n";
}

ExitStatus Refuse(const FileManager& manager, const std::string& path, const std::string& why) {
  PrintProblem(std::string(manager.name) + ": " + Quoted(path) + " was left as it is, because " +
               why);
  return ExitStatus::kFailure;
}

std::string DescribeFileStatus(Status status) {
  if (status == paramErr) return "it is no file of a text's size";
  if (status == fBsyErr) return "another program keeps changing it";
  return DescribeStatus(status);
}

ExitStatus Show(const FileManager& manager) {
  const std::string path = manager.path();
  std::string text;
  Finding finding;
  const Status status = ReadMenuFile(path, &text);
  if (status != noErr && status != fnfErr) {
    return Refuse(manager, path, DescribeFileStatus(status));
  }
  if (status == noErr) manager.find(text, &finding);
  if (!finding.problem.empty()) return Refuse(manager, path, finding.problem);
  return PrintOutput(Sentence(manager, finding.wasThere ? "is in" : "is not in", path));
}

ExitStatus Change(const FileManager& manager, bool isInstalled) {
  const std::string path = manager.path();
  Finding finding;
  const auto edit = isInstalled ? manager.add : manager.remove;
  const Status status =
      EditMenuFile(path, manager.kind, [edit, &finding](const Text& text, std::string* newText) {
        finding = {};
        return edit(text, newText, &finding);
      });
  if (status != noErr) return Refuse(manager, path, DescribeFileStatus(status));
  if (!finding.problem.empty()) return Refuse(manager, path, finding.problem);
  const char* added = finding.wasThere ? "was there already, in" : "added to";
  const char* removed = finding.wasThere ? "removed from" : "was not there, in";
  return PrintOutput(Sentence(manager, isInstalled ? added : removed, path));
}

ExitStatus Perform(const FileManager& manager, IntegrateAction action) {
  if (action == IntegrateAction::kStatus) return Show(manager);
  return Change(manager, action == IntegrateAction::kInstall);
}

}  // namespace

ExitStatus Integrate(const IntegrateOptions& options) {
  ExitStatus worst = ExitStatus::kSuccess;
  for (const FileManager& manager : kFileManagers) {
    const ExitStatus status = Perform(manager, options.action);
    if (status != ExitStatus::kSuccess) worst = status;
  }
  return worst;
}

}  // namespace tessary
