#include "programs/cli/nautilus_script.h"

namespace tessary {
namespace {

// The beginning by which our script is recognized.
constexpr std::string_view kHead = R"(#!/bin/sh
# Made by "tessary-cli integrate install", and taken away by "tessary-cli integrate remove".
)";

// Nautilus passes names as arguments, relative to the folder that it shows, which is the working
// folder. In folders for which it passes none, a variable has the paths, one per line.
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
