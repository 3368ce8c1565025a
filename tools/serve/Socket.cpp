// SPDX-License-Identifier: Apache-2.0
#include "tools/serve/Socket.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace database_provider::recordctl {

namespace {

constexpr std::chrono::seconds firstRequest{10};
constexpr std::chrono::seconds longestPause{10};  ///< in which nothing of an answer is taken
constexpr int slice = 100;                        ///< milliseconds between two looks at whether to go on

bool waitFor(int descriptor, short events, int milliseconds) {
  pollfd one{descriptor, events, 0};
  return ::poll(&one, 1, milliseconds) > 0;
}

}  // namespace

Socket::Socket(int descriptor) : descriptor_(descriptor), deadline_(Clock::now() + firstRequest) {
  static_cast<void>(::fcntl(descriptor, F_SETFL, ::fcntl(descriptor, F_GETFL) | O_NONBLOCK));
  static_cast<void>(::fcntl(descriptor, F_SETFD, FD_CLOEXEC));
}

Socket::~Socket() {
  static_cast<void>(::shutdown(descriptor_, SHUT_RDWR));
  static_cast<void>(::close(descriptor_));
}

bool Socket::takeIn() {
  std::array<char, 4096> bytes{};
  const ssize_t count = ::recv(descriptor_, bytes.data(), bytes.size(), 0);
  if (count > 0) received_.append(bytes.data(), static_cast<std::size_t>(count));
  return count > 0 || (count < 0 && (errno == EAGAIN || errno == EINTR));
}

long Socket::read(char* bytes, std::size_t size) {
  while (received_.empty()) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline_ - Clock::now()).count();
    if (left <= 0) return 0;
    if (!waitFor(descriptor_, POLLIN, static_cast<int>(left))) return 0;
    if (!takeIn()) return 0;
  }
  const std::size_t count = std::min(size, received_.size());
  std::copy_n(received_.data(), count, bytes);
  received_.erase(0, count);
  return static_cast<long>(count);
}

long Socket::write(const char* bytes, std::size_t size, bool (*isWanted)()) const {
  std::size_t written = 0;
  auto last = Clock::now();
  while (written < size) {
    const ssize_t count = ::send(descriptor_, bytes + written, size - written, MSG_NOSIGNAL);
    if (count > 0) {
      written += static_cast<std::size_t>(count);
      last = Clock::now();
      continue;
    }
    if (count == 0 || (errno != EAGAIN && errno != EINTR)) return -1;
    if (!isWanted() || Clock::now() - last > longestPause) return -1;
    static_cast<void>(waitFor(descriptor_, POLLOUT, slice));
  }
  return static_cast<long>(size);
}

bool Socket::isOpen() const {
  char byte = 0;
  const ssize_t count = ::recv(descriptor_, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
  return count > 0 || (count < 0 && (errno == EAGAIN || errno == EINTR));
}

}  // namespace database_provider::recordctl
