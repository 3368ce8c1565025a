#include "tools/core/Terminal.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>

#include "tools/core/Errors.h"
#include "tools/core/Interrupt.h"
#include "tools/values/Number.h"

namespace database_provider::recordctl {

namespace {

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

/// Switches the echo of the terminal off for a scope.
class Silence {
 public:
  Silence() : wasSet_(::tcgetattr(STDIN_FILENO, &before_) == 0) {
    termios silent = before_;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    if (wasSet_) ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
  }
  ~Silence() {
    if (wasSet_) ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &before_);
  }
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;

 private:
  termios before_{};
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

void keepStandardStreams() {
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
    const Silence silence;
    answer = askLine(prompt);
  }
  std::cerr << '\n';
  return answer;
}

}  // namespace database_provider::recordctl
