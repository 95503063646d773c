#include "tests/app/shell_fixture.h"

#include <algorithm>
#include <iterator>

namespace tessary::testing {

Status ShellTest::RunProgram(const std::function<void()>& deeds) {
  system_.inLoop = [this, deeds] {
    system_.TakeCalls();
    deeds();
  };
  return RunApplication();
}

std::string ShellTest::MakeSource(const std::string& name) {
  WriteFile(folder_ / (name + "/letter.txt"), "letter");
  return folder_ / name;
}

std::string ShellTest::MakeDestination(const std::string& name) {
  MakeFolder(folder_ / name);
  return folder_ / name;
}

Calls ShellTest::PanelMessages() const {
  Calls messages;
  for (const NSOpenPanel& panel : system_.Panels()) messages.push_back(panel.message);
  return messages;
}

Calls CallsOf(const Calls& calls, const std::string& beginning) {
  Calls found;
  std::ranges::copy_if(calls, std::back_inserter(found), [&beginning](const std::string& call) {
    return call.starts_with(beginning);
  });
  return found;
}

Calls StatusTextCalls(const std::string& text, int control) {
  const std::string number = std::to_string(control);
  return {"SetText " + number + " \"" + text + "\"", "Draw " + number, "PumpEvents"};
}

Calls Join(const std::vector<Calls>& lists) {
  Calls joined;
  for (const Calls& list : lists) joined.insert(joined.end(), list.begin(), list.end());
  return joined;
}

}  // namespace tessary::testing
