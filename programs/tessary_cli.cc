// The headless program: Linux below, a terminal in front.

#include <algorithm>

#include "platform/linux/comment_agent.h"
#include "platform/managers/standard_files.h"
#include "programs/cli/command_line.h"

int main(int argc, char** argv) {
  tessary::PrepareStandardFiles();
  tessary::RegisterCommentAgent();
  return tessary::RunCommandLine({argv + std::min(argc, 1), argv + argc});
}
