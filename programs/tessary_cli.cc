// The command line program.

#include <algorithm>

#include "platform/linux/apple_events/comment_agent.h"
#include "platform/managers/standard_files.h"
#include "programs/cli/command_line.h"

int main(int argc, char** argv) {
  tessary::PrepareStandardFiles();
  tessary::RegisterCommentAgent();
  return static_cast<int>(tessary::RunCommandLine({argv + std::min(argc, 1), argv + argc}));
}
