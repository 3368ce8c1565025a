// SPDX-License-Identifier: Apache-2.0
#include "tools/terminal/Interrupt.h"

#include <poll.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>

#include "tools/values/Errors.h"

namespace database_provider::recordctl {

namespace {

constexpr std::array<int, 2> signals = {SIGINT, SIGTERM};

volatile std::sig_atomic_t requested = 0;
volatile std::sig_atomic_t isWatched[signals.size()] = {};

/// The next of either signal ends the process; what is ignored stays so.
extern "C" void remember(int) {
  requested = 1;
  for (std::size_t i = 0; i < signals.size(); ++i) {
    if (isWatched[i] != 0) static_cast<void>(std::signal(signals[i], SIG_DFL));
  }
}

}  // namespace

void watchForInterrupts() {
  struct sigaction action {};
  action.sa_handler = remember;  // without SA_RESTART, so that a read of a prompt or a pipe returns
  sigemptyset(&action.sa_mask);
  for (std::size_t i = 0; i < signals.size(); ++i) {
    struct sigaction before {};
    sigaction(signals[i], nullptr, &before);
    if (before.sa_handler == SIG_IGN) continue;
    isWatched[i] = 1;
    sigaction(signals[i], &action, nullptr);
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
  for (const int signal : signals) sigaddset(&watched, signal);
  sigprocmask(SIG_BLOCK, &watched, &before);
  pollfd input{descriptor, POLLIN, 0};
  while (!wasInterrupted() && ppoll(&input, 1, nullptr, &before) < 0 && errno == EINTR) continue;
  sigprocmask(SIG_SETMASK, &before, nullptr);
  checkInterrupt();
}

}  // namespace database_provider::recordctl
