// SPDX-License-Identifier: Apache-2.0
#include "tools/terminal/Terminal.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <iostream>

#include "tools/terminal/Interrupt.h"
#include "tools/values/Errors.h"
#include "values/Number.h"

namespace database_provider::recordctl {

namespace {

using values::parseInteger;

constexpr std::size_t usualWidth = 80;

std::size_t widthFromEnvironment() {
  const char* columns = std::getenv("COLUMNS");
  const auto width = columns == nullptr ? std::nullopt : parseInteger(columns);
  return width && *width > 0 ? static_cast<std::size_t>(*width) : 0;
}

std::size_t widthOfTerminal() {
  winsize size{};
  if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
  return usualWidth;
}

// What the handlers of signals need while a password is typed.
termios withEcho;
termios withoutEcho;
const std::string* shownPrompt = nullptr;

constexpr std::array endings{SIGINT, SIGTERM, SIGHUP, SIGQUIT};
std::array<struct sigaction, endings.size()> actionsAtEndings;
struct sigaction actionAtStop;
struct sigaction actionAtGoingOn;

/// No handler interrupts another: what comes after the prompt was shown again finds every handler in its place.
struct sigaction actionOf(void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  sigfillset(&action.sa_mask);
  return action;
}

/// Gives the echo back, then lets the signal do what it would have done without the prompt.
extern "C" void endWithEcho(int signal) {
  const int error = errno;
  ::tcsetattr(STDIN_FILENO, TCSANOW, &withEcho);
  for (std::size_t i = 0; i < endings.size(); ++i) {
    if (endings[i] == signal) sigaction(signal, &actionsAtEndings[i], nullptr);
  }
  static_cast<void>(::raise(signal));
  errno = error;
}

/// The shell has used the terminal meanwhile.
extern "C" void goOnWithoutEcho(int) {
  const int error = errno;
  ::tcsetattr(STDIN_FILENO, TCSANOW, &withoutEcho);
  const ssize_t written = ::write(STDERR_FILENO, shownPrompt->data(), shownPrompt->size());
  static_cast<void>(written);
  errno = error;
}

/// Stops, as the key for it asks, with the echo on.
extern "C" void stopWithEcho(int signal) {
  const int error = errno;
  ::tcsetattr(STDIN_FILENO, TCSANOW, &withEcho);
  struct sigaction mine {};
  sigaction(signal, &actionAtStop, &mine);
  sigset_t stop;
  sigset_t before;
  sigemptyset(&stop);
  sigaddset(&stop, signal);
  static_cast<void>(::raise(signal));
  sigprocmask(SIG_UNBLOCK, &stop, &before);  // here it stands still
  sigprocmask(SIG_SETMASK, &before, nullptr);
  sigaction(signal, &mine, nullptr);
  ::tcsetattr(STDIN_FILENO, TCSANOW, &withoutEcho);
  errno = error;
}

/// Takes a signal over, unless it is ignored.
void take(int signal, void (*handler)(int), struct sigaction& former) {
  const struct sigaction mine = actionOf(handler);
  sigaction(signal, nullptr, &former);
  if (former.sa_handler != SIG_IGN) sigaction(signal, &mine, nullptr);
}

/// Gives a signal back, unless that was done when it came.
void giveBack(int signal, void (*handler)(int), const struct sigaction& former) {
  struct sigaction current {};
  sigaction(signal, nullptr, &current);
  if (current.sa_handler == handler) sigaction(signal, &former, nullptr);
}

/// Switches the echo of the terminal off for a scope. Whatever signal ends or stops the process in it, the echo is on
/// then.
class EchoOff {
 public:
  explicit EchoOff(const std::string& prompt) : wasSet_(::tcgetattr(STDIN_FILENO, &withEcho) == 0) {
    if (!wasSet_) return;
    shownPrompt = &prompt;
    withoutEcho = withEcho;
    withoutEcho.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    for (std::size_t i = 0; i < endings.size(); ++i) take(endings[i], endWithEcho, actionsAtEndings[i]);
    take(SIGTSTP, stopWithEcho, actionAtStop);
    take(SIGCONT, goOnWithoutEcho, actionAtGoingOn);
    ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &withoutEcho);
  }
  ~EchoOff() {
    if (!wasSet_) return;
    ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &withEcho);
    giveBack(SIGCONT, goOnWithoutEcho, actionAtGoingOn);
    giveBack(SIGTSTP, stopWithEcho, actionAtStop);
    for (std::size_t i = 0; i < endings.size(); ++i) giveBack(endings[i], endWithEcho, actionsAtEndings[i]);
  }
  EchoOff(const EchoOff&) = delete;
  EchoOff& operator=(const EchoOff&) = delete;

 private:
  bool wasSet_;
};

std::string askLine(const std::string& prompt) {
  std::cerr << prompt << std::flush;
  awaitInput(STDIN_FILENO);
  std::string answer;
  std::getline(std::cin, answer);
  checkInterrupt();
  return answer;
}

}  // namespace

Layout outputLayout() {
  Layout result;
  const bool isTerminal = ::isatty(STDOUT_FILENO) == 1;
  const char* noColour = std::getenv("NO_COLOR");
  result.hasColours = isTerminal && (noColour == nullptr || *noColour == '\0');
  result.width = widthFromEnvironment();
  if (result.width == 0 && isTerminal) result.width = widthOfTerminal();
  return result;
}

void reserveStandardStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    const bool isClosed = ::fcntl(stream, F_GETFD) < 0;
    if (isClosed && ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY) != stream) std::abort();
  }
}

bool standardErrorIsTerminal() {
  return ::isatty(STDERR_FILENO) == 1;
}

bool standardInputIsTerminal() {
  return ::isatty(STDIN_FILENO) == 1;
}

bool confirmed(const std::string& question) {
  const std::string answer = askLine(question + " [y/N] ");
  return answer == "y" || answer == "Y" || answer == "yes";
}

std::string askPassword(const std::string& prompt) {
  std::string answer;
  {
    const EchoOff silence(prompt);
    answer = askLine(prompt);
  }
  std::cerr << '\n';
  return answer;
}

}  // namespace database_provider::recordctl
