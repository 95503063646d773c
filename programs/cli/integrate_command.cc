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

// What a menu file contains before it is changed.
struct Finding {
  bool isInstalled = false;
  DocumentProblem problem = {};  // why the file cannot be used
};

// A file manager, and the functions that read and change the text of its menu file.
struct FileManager {
  const char* name;
  MenuFileKind kind;
  std::string (*path)();
  void (*find)(const std::string& text, Finding* finding);
  MenuFileChange (*add)(const Text& text, std::string* newText, Finding* finding);
  MenuFileChange (*remove)(const Text& text, std::string* newText, Finding* finding);
};

// ---- Thunar ----

constexpr char kThunarFile[] = "Thunar/uca.xml";

std::string ThunarPath() { return UserConfigurationPath(kThunarFile); }

// A user's file replaces that of the system, so that it has to start with its contents.
std::string InitialThunarActions() {
  const Text system = ReadSystemConfiguration(kThunarFile);
  bool isThere = false;
  DocumentProblem problem;
  if (system && HasThunarAction(*system, &isThere, &problem) && !isThere) return *system;
  return std::string(EmptyThunarActions());
}

void FindInThunar(const std::string& text, Finding* finding) {
  // A failure is in the problem.
  (void)HasThunarAction(text, &finding->isInstalled, &finding->problem);
}

MenuFileChange AddToThunar(const Text& text, std::string* newText, Finding* finding) {
  const std::string document = text ? *text : InitialThunarActions();
  FindInThunar(document, finding);
  if (!finding->problem.reason.empty() || finding->isInstalled) return MenuFileChange::kNone;
  const bool isAdded = AddThunarAction(document, newText, &finding->problem);
  return isAdded ? MenuFileChange::kWrite : MenuFileChange::kNone;
}

MenuFileChange RemoveFromThunar(const Text& text, std::string* newText, Finding* finding) {
  if (!text) return MenuFileChange::kNone;
  FindInThunar(*text, finding);
  if (!finding->problem.reason.empty() || !finding->isInstalled) return MenuFileChange::kNone;
  if (!RemoveThunarAction(*text, newText, &finding->problem)) return MenuFileChange::kNone;
  // A file with nothing but the system's actions was created for ours. If it stayed, it would hide
  // later changes of the system's file.
  return *newText == InitialThunarActions() ? MenuFileChange::kDelete : MenuFileChange::kWrite;
}

// ---- Nautilus ----

std::string NautilusPath() {
  return UserDataPath("nautilus/scripts/" + std::string(kNautilusScriptName));
}

void FindInNautilus(const std::string& text, Finding* finding) {
  finding->isInstalled = IsNautilusScript(text);
}

// An installed script is written again: it may be of another version, or not executable any more.
MenuFileChange AddToNautilus(const Text& text, std::string* newText, Finding* finding) {
  if (text) FindInNautilus(*text, finding);
  if (text && !finding->isInstalled) {
    finding->problem.reason = "it is the script of another program";
    return MenuFileChange::kNone;
  }
  *newText = NautilusScript();
  return MenuFileChange::kWrite;
}

MenuFileChange RemoveFromNautilus(const Text& text, std::string* newText, Finding* finding) {
  if (text) FindInNautilus(*text, finding);
  if (!finding->isInstalled) return MenuFileChange::kNone;
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

ExitStatus Refuse(const std::string& path, const char* failure, const DocumentProblem& problem) {
  PrintProblem(path + problem.position + failure + problem.reason);
  return ExitStatus::kFailure;
}

std::string DescribeFileStatus(Status status) {
  if (status == paramErr) return "not a regular file, or too large";
  if (status == fBsyErr) return "another program keeps changing it";
  return DescribeStatus(status);
}

ExitStatus Show(const FileManager& manager) {
  const std::string path = manager.path();
  std::string text;
  Finding finding;
  const Status status = ReadMenuFile(path, &text);
  if (status == noErr) manager.find(text, &finding);
  if (status != noErr && status != fnfErr) finding.problem.reason = DescribeFileStatus(status);
  if (!finding.problem.reason.empty())
    return Refuse(path, ": cannot be checked: ", finding.problem);
  return PrintOutput(Sentence(manager, finding.isInstalled ? "in" : "not in", path));
}

ExitStatus ChangeEntry(const FileManager& manager, bool isInstall) {
  const std::string path = manager.path();
  Finding finding;
  const auto edit = isInstall ? manager.add : manager.remove;
  const Status status =
      EditMenuFile(path, manager.kind, [edit, &finding](const Text& text, std::string* newText) {
        finding = {};
        return edit(text, newText, &finding);
      });
  if (status != noErr) finding.problem.reason = DescribeFileStatus(status);
  if (!finding.problem.reason.empty()) return Refuse(path, ": not changed: ", finding.problem);
  const char* added = finding.isInstalled ? "already in" : "added to";
  const char* removed = finding.isInstalled ? "removed from" : "not in";
  return PrintOutput(Sentence(manager, isInstall ? added : removed, path));
}

ExitStatus Perform(const FileManager& manager, IntegrateAction action) {
  if (action == IntegrateAction::kStatus) return Show(manager);
  return ChangeEntry(manager, action == IntegrateAction::kInstall);
}

}  // namespace

ExitStatus Integrate(const IntegrateOptions& options) {
  if (options.action == IntegrateAction::kInstall && !IsProgramInstalled("tessary")) {
    PrintProblem("tessary: desktop program not found in PATH; menu entries need it");
    return ExitStatus::kFailure;
  }
  ExitStatus worst = ExitStatus::kSuccess;
  for (const FileManager& manager : kFileManagers) {
    const ExitStatus status = Perform(manager, options.action);
    if (status != ExitStatus::kSuccess) worst = status;
  }
  return worst;
}

}  // namespace tessary
