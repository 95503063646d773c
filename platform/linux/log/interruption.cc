#include "platform/managers/interruption.h"

#include <unistd.h>

#include <csignal>

namespace tessary {
namespace {

volatile sig_atomic_t gSignal = 0;

void Remember(int signal) { gSignal = signal; }

void Catch(int signal) {
  struct sigaction previous = {};
  if (sigaction(signal, nullptr, &previous) != 0 || previous.sa_handler == SIG_IGN) return;
  struct sigaction action = {};
  action.sa_handler = Remember;
  // Without SA_RESTART, the system call in progress could fail. SA_RESETHAND makes a second signal
  // end the process, which loses nothing: it is as safe as a kill.
  action.sa_flags = static_cast<int>(SA_RESTART | SA_RESETHAND);
  // Fails only for unknown signals.
  (void)sigaction(signal, &action, nullptr);
}

}  // namespace

void CatchInterruption() {
  Catch(SIGINT);
  Catch(SIGTERM);
}

bool IsInterrupted() { return gSignal != 0; }

void EndByInterruption() {
  (void)std::signal(gSignal, SIG_DFL);
  (void)raise(gSignal);
  // Reached only if the signal is blocked.
  _exit(128 + gSignal);
}

}  // namespace tessary
