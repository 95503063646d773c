#include "programs/cli/desktop_options.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "programs/cli/command_specs.h"
#include "programs/cli/option_parser.h"

namespace tessary {
namespace {

// The options of QApplication and of its X11 plugin, which take one dash or two.
constexpr std::array<std::string_view, 16> kQtOptionsWithValue = {
    "display",         "geometry",           "icon",          "name",
    "platform",        "platformpluginpath", "platformtheme", "plugin",
    "qwindowgeometry", "qwindowicon",        "qwindowtitle",  "session",
    "style",           "stylesheet",         "title",         "visual"};
constexpr std::array<std::string_view, 7> kQtFlags = {
    "dograb", "nograb", "qdebug", "qdevel", "reverse", "testability", "widgetcount"};
constexpr std::array<std::string_view, 3> kQtPrefixes = {"qmljsdebugger=", "style=", "stylesheet="};

// The argument without its dashes; empty if it is not an option.
std::string_view OptionName(std::string_view argument) {
  if (!argument.starts_with('-')) return {};
  argument.remove_prefix(argument.starts_with("--") ? 2 : 1);
  return argument;
}

bool IsQtFlag(std::string_view name) {
  return std::ranges::count(kQtFlags, name) != 0 ||
         std::ranges::any_of(kQtPrefixes,
                             [name](std::string_view prefix) { return name.starts_with(prefix); });
}

// Moves what Qt interprets from `*arguments` to `*qtOptions`, as far as the "--" that ends options.
bool TakeQtOptions(std::vector<std::string>* arguments, std::vector<std::string>* qtOptions,
                   std::string* problem) {
  std::vector<std::string> rest;
  auto at = arguments->begin();
  for (; at != arguments->end() && *at != "--"; ++at) {
    const std::string_view name = OptionName(*at);
    if (std::ranges::count(kQtOptionsWithValue, name) != 0) {
      if (at + 1 == arguments->end()) {
        *problem = WithHelpHint("option " + *at + " requires a value", kDesktopSpec);
        return false;
      }
      qtOptions->push_back(*at++);
      qtOptions->push_back(*at);
    } else if (IsQtFlag(name)) {
      qtOptions->push_back(*at);
    } else {
      rest.push_back(*at);
    }
  }
  rest.insert(rest.end(), at, arguments->end());
  *arguments = std::move(rest);
  return true;
}

}  // namespace

bool ParseDesktopOptions(const std::vector<std::string>& arguments, DesktopOptions* options,
                         std::string* problem) {
  DesktopOptions result;
  std::vector<std::string> own = arguments;
  ParsedArguments parsed;
  if (!TakeQtOptions(&own, &result.qtOptions, problem) ||
      !ParseArguments(kDesktopSpec, own, &parsed, problem)) {
    return false;
  }
  if (parsed.isHelpWanted) {
    result.text = HelpText(kDesktopSpec);
  } else if (parsed.options.contains("--version")) {
    result.text = VersionText(kDesktopSpec);
  }
  result.isAggregate = parsed.options.contains("--aggregate");
  if (result.isAggregate && result.text.empty() && parsed.operands.empty()) {
    *problem = WithHelpHint("missing FOLDER", kDesktopSpec);
    return false;
  }
  result.folders = std::move(parsed.operands);
  *options = std::move(result);
  return true;
}

}  // namespace tessary
