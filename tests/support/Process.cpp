// SPDX-License-Identifier: Apache-2.0
#include "tests/support/Process.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <system_error>
#include <thread>

namespace database_test {

namespace {

[[noreturn]] void fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

sockaddr_in loopback(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<in_port_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

class Socket {
 public:
  Socket() : descriptor_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    if (descriptor_ < 0) fail("socket");
  }
  ~Socket() { close(descriptor_); }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;
  int descriptor() const { return descriptor_; }

 private:
  int descriptor_;
};

// Runs in the child, between fork and exec: nothing here may allocate.
[[noreturn]] void become(char* const* arguments, const char* folder, pid_t parent) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent || chdir(folder) != 0) _exit(126);
  const int log = open("log", O_CREAT | O_WRONLY | O_APPEND, 0600);
  const int nothing = open("/dev/null", O_RDONLY);
  if (log < 0 || nothing < 0) _exit(126);
  dup2(nothing, STDIN_FILENO);
  dup2(log, STDOUT_FILENO);
  dup2(log, STDERR_FILENO);
  execv(arguments[0], arguments);
  _exit(127);
}

}  // namespace

Process::Process(const std::vector<std::string>& command, const std::string& folder) {
  std::vector<std::string> words = command;
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  const pid_t parent = getpid();
  id_ = fork();
  if (id_ < 0) fail("fork");
  if (id_ == 0) become(arguments.data(), folder.c_str(), parent);
}

Process::~Process() {
  stop();
}

bool Process::isRunning() {
  int status = 0;
  if (id_ > 0 && waitpid(id_, &status, WNOHANG) == id_) {
    if (WIFSIGNALED(status)) removeSharedMemoryOf(id_);
    id_ = -1;
  }
  return id_ > 0;
}

void Process::stop() {
  if (!isRunning()) return;
  kill(id_, SIGTERM);
  for (int i = 0; i < 250 && isRunning(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(20));
  if (id_ <= 0) return;
  kill(id_, SIGKILL);
  waitpid(id_, nullptr, 0);
  removeSharedMemoryOf(id_);
  id_ = -1;
}

void removeSharedMemoryOf(pid_t killed) {
  std::error_code ignored;  // most have left none
  std::filesystem::remove("/dev/shm/mongoc-" + std::to_string(killed), ignored);
}

int freePort() {
  const Socket probe;
  sockaddr_in address = loopback(0);
  socklen_t size = sizeof address;
  if (bind(probe.descriptor(), reinterpret_cast<sockaddr*>(&address), size) != 0) fail("bind");
  if (getsockname(probe.descriptor(), reinterpret_cast<sockaddr*>(&address), &size) != 0) fail("getsockname");
  return ntohs(address.sin_port);
}

bool accepts(int port) {
  const Socket probe;
  const sockaddr_in address = loopback(port);
  return connect(probe.descriptor(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

std::string onPath(const std::string& program) {
  const char* path = std::getenv("PATH");
  std::istringstream folders(path == nullptr ? "" : path);
  std::string folder;
  while (std::getline(folders, folder, ':')) {
    std::string candidate = folder + "/" + program;
    if (access(candidate.c_str(), X_OK) == 0) return candidate;
  }
  return {};
}

}  // namespace database_test
