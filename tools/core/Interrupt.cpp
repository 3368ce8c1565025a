#include "tools/core/Interrupt.h"

#include <csignal>

#include "tools/core/Errors.h"

namespace database_provider::recordctl {

namespace {

volatile std::sig_atomic_t requested = 0;

extern "C" void remember(int) {
  requested = 1;
}

}  // namespace

void watchForInterrupts() {
  struct sigaction action {};
  action.sa_handler = remember;
  action.sa_flags = static_cast<int>(SA_RESETHAND);  // without SA_RESTART, so that a read of a prompt or a pipe returns
  sigemptyset(&action.sa_mask);
  for (const int signal : {SIGINT, SIGTERM}) sigaction(signal, &action, nullptr);
}

void checkInterrupt() {
  if (requested != 0) throw Interrupted();
}

}  // namespace database_provider::recordctl
