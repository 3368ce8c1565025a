#include "tools/core/Interrupt.h"

#include <poll.h>

#include <cerrno>
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
  for (const int signal : {SIGINT, SIGTERM}) {
    struct sigaction before {};
    sigaction(signal, nullptr, &before);
    if (before.sa_handler != SIG_IGN) sigaction(signal, &action, nullptr);
  }
}

bool wasInterrupted() {
  return requested != 0;
}

void checkInterrupt() {
  if (wasInterrupted()) throw Interrupted();
}

/// The signals are held back but for the wait itself, so that none is missed between the look at the request and it.
void awaitInput(int descriptor) {
  sigset_t watched;
  sigset_t before;
  sigemptyset(&watched);
  for (const int signal : {SIGINT, SIGTERM}) sigaddset(&watched, signal);
  sigprocmask(SIG_BLOCK, &watched, &before);
  pollfd input{descriptor, POLLIN, 0};
  while (!wasInterrupted() && ppoll(&input, 1, nullptr, &before) < 0 && errno == EINTR) continue;
  sigprocmask(SIG_SETMASK, &before, nullptr);
  checkInterrupt();
}

}  // namespace database_provider::recordctl
