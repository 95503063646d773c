#include "programs/cli/nautilus_script.h"

namespace tessary {
namespace {

// What no script of another's begins with.
constexpr std::string_view kHead = R"(#!/bin/sh
# Made by "tessary-cli integrate install", and taken away by "tessary-cli integrate remove".
)";

// Names come as arguments and are relative to the folder that is shown, which is the working
// folder. Where they are missing, paths come in a variable, a line each.
constexpr std::string_view kBody = R"(if [ "$#" -eq 0 ]; then
  set -f
  IFS='
'
  set -- $NAUTILUS_SCRIPT_SELECTED_FILE_PATHS
fi
[ "$#" -gt 0 ] || exit 0
exec tessary --aggregate -- "$@"
)";

}  // namespace

std::string NautilusScript() { return std::string(kHead).append(kBody); }

bool IsNautilusScript(std::string_view text) { return text.starts_with(kHead); }

}  // namespace tessary
