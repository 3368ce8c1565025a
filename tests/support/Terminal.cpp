// SPDX-License-Identifier: Apache-2.0
#include "tests/support/Terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <system_error>

#include "tests/support/Process.h"

namespace database_test {

namespace {

constexpr int longestSilence = 60'000;
constexpr char endMark = '\0';     // behind the last of what the program wrote
constexpr int killedStatus = 128;  // and the signal's number

[[noreturn]] void fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (std::string& text : texts) result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

void handle(void (*handler)(int)) {
  for (const int number : {SIGINT, SIGTERM}) static_cast<void>(std::signal(number, handler));
}

int statusOf(int waited) {
  return WIFEXITED(waited) ? WEXITSTATUS(waited) : killedStatus + WTERMSIG(waited);
}

// Between fork and exec nothing may allocate.
[[noreturn]] void become(int terminal, char* const* command, char* const* environment) {
  handle(SIG_DFL);
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(terminal, descriptor);
  execve(command[0], command, environment);
  _exit(127);
}

// The key for a signal sends it and then throws away what waits to be shown: the answer to it, if that was quick.
void keepOutputAtSignals(int terminal) {
  termios settings{};
  if (tcgetattr(terminal, &settings) != 0) fail("tcgetattr");
  settings.c_lflag |= NOFLSH;
  if (tcsetattr(terminal, TCSANOW, &settings) != 0) fail("tcsetattr");
}

}  // namespace

Terminal::Terminal(std::vector<std::string> command, std::vector<std::string> environment, unsigned short columns) {
  winsize size{};
  size.ws_row = 24;
  size.ws_col = columns;
  int slave = -1;
  std::array<int, 2> report{};
  std::array<int, 2> release{};
  if (openpty(&master_, &slave, nullptr, nullptr, &size) != 0) fail("openpty");
  keepOutputAtSignals(slave);
  for (const int descriptor : {master_, slave}) fcntl(descriptor, F_SETFD, FD_CLOEXEC);
  if (pipe2(report.data(), O_CLOEXEC) != 0 || pipe2(release.data(), O_CLOEXEC) != 0) fail("pipe2");
  const auto arguments = pointersTo(command);
  const auto variables = pointersTo(environment);
  leader_ = fork();
  if (leader_ < 0) fail("fork");
  if (leader_ == 0) {
    close(release[1]);
    lead(slave, arguments, variables, report[1], release[0]);
  }
  for (const int descriptor : {slave, report[1], release[0]}) close(descriptor);
  report_ = report[0];
  release_ = release[1];
  if (read(report_, &program_, sizeof program_) != sizeof program_) fail("read");
}

void Terminal::lead(int slave, const std::vector<char*>& command, const std::vector<char*>& environment, int report,
                    int release) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  handle(SIG_IGN);
  setsid();
  ioctl(slave, TIOCSCTTY, 0);
  const pid_t program = fork();
  if (program == 0) {
    // A job of its own in the foreground, as a shell makes it: such a one can be stopped.
    setpgid(0, 0);
    static_cast<void>(std::signal(SIGTTOU, SIG_IGN));
    tcsetpgrp(slave, getpid());
    static_cast<void>(std::signal(SIGTTOU, SIG_DFL));
    become(slave, command.data(), environment.data());
  }
  if (write(report, &program, sizeof program) != sizeof program) _exit(1);
  int waited = 0;
  waitpid(program, &waited, 0);
  const int status = statusOf(waited);
  if (write(report, &status, sizeof status) != sizeof status || write(slave, &endMark, 1) != 1) _exit(1);
  char ignored = 0;
  while (read(release, &ignored, 1) > 0) continue;
  _exit(0);
}

Terminal::~Terminal() {
  if (!hasEnded()) {
    signal(SIGKILL);
    kill(leader_, SIGKILL);
  }
  for (const int descriptor : {release_, report_, master_}) close(descriptor);
  waitpid(leader_, nullptr, 0);
  if (status_ < 0 || status_ > killedStatus) removeSharedMemoryOf(program_);
}

void Terminal::takeIn() {
  pollfd source{master_, POLLIN, 0};
  if (poll(&source, 1, longestSilence) <= 0) throw std::runtime_error("the program is silent after: " + pending_);
  std::array<char, 4096> buffer{};
  const ssize_t count = read(master_, buffer.data(), buffer.size());
  if (count <= 0) throw std::runtime_error("the terminal is gone after: " + pending_);
  pending_.append(buffer.data(), static_cast<std::size_t>(count));
  if (pending_.back() != endMark) return;
  pending_.pop_back();
  if (read(report_, &status_, sizeof status_) != sizeof status_) fail("read");
}

std::string Terminal::readUntil(const std::string& text) {
  std::size_t found = pending_.find(text);
  while (found == std::string::npos) {
    if (hasEnded())
      throw std::runtime_error("the program ended with " + std::to_string(status_) + " after: " + pending_);
    takeIn();
    found = pending_.find(text);
  }
  std::string taken = pending_.substr(0, found + text.size());
  pending_.erase(0, taken.size());
  return taken;
}

void Terminal::type(const std::string& keys) const {
  if (write(master_, keys.data(), keys.size()) != static_cast<ssize_t>(keys.size())) fail("write");
}

void Terminal::signal(int number) const {
  kill(-program_, number);
}

bool Terminal::echoes() const {
  termios settings{};
  if (tcgetattr(master_, &settings) != 0) fail("tcgetattr");
  return (settings.c_lflag & ECHO) != 0;
}

int Terminal::finish() {
  while (!hasEnded()) takeIn();
  return status_;
}

}  // namespace database_test
