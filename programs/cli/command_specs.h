#pragma once

#include <string>
#include <string_view>

#include "programs/cli/option_parser.h"

// The two programs, the commands of tessary-cli, their options, and the texts of their help.
namespace tessary {

extern const CommandSpec kProgramSpec;
extern const CommandSpec kAggregateSpec;
extern const CommandSpec kDefaultsSpec;
extern const CommandSpec kInfoSpec;
extern const CommandSpec kIntegrateSpec;
extern const CommandSpec kUndoSpec;
extern const CommandSpec kDesktopSpec;

// What "--version" of either program prints: "tessary-cli 0.1.0".
std::string VersionText(const CommandSpec& program);

}  // namespace tessary
