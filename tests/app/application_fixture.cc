#include "tests/app/application_fixture.h"

#include <algorithm>
#include <iterator>

namespace tessary::test {

Status ApplicationTest::RunProgram(const std::function<void()>& actions) {
  system_.duringEventLoop = [this, actions] {
    system_.TakeCalls();
    actions();
  };
  return RunApplication();
}

std::string ApplicationTest::MakeSource(const std::string& name) {
  WriteFile(folder_ / (name + "/letter.txt"), "letter");
  return folder_ / name;
}

std::string ApplicationTest::MakeDestination(const std::string& name) {
  MakeFolder(folder_ / name);
  return folder_ / name;
}

Calls ApplicationTest::PanelMessages() const {
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

}  // namespace tessary::test
