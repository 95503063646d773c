// The headless program: Linux below, a terminal in front.

#include <algorithm>

#include "platform/linux/apple_events/comment_agent.h"
#include "platform/managers/standard_files.h"
#include "platform/managers/window_system.h"
#include "platform/terminal/terminal_window_system.h"
#include "programs/cli/command_line.h"

int main(int argc, char** argv) {
  tessary::PrepareStandardFiles();
  tessary::TerminalWindowSystem terminal;
  tessary::gWindowSystem = &terminal;
  tessary::RegisterCommentAgent();
  return tessary::RunCommandLine({argv + std::min(argc, 1), argv + argc}, &terminal);
}
