// SPDX-License-Identifier: Apache-2.0
#include "tools/serve/Connections.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace database_provider::recordctl {

namespace {

constexpr std::chrono::seconds nextRequest{60};  ///< how long a connection may stay without asking anything more
constexpr std::chrono::seconds wholeBody{10};
constexpr int longestWait = 500;  ///< milliseconds between two looks at who has waited too long

/// Threads started in its scope leave Ctrl-C to the one that waits for it.
class SignalsHeld {
 public:
  SignalsHeld() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before_);
  }
  ~SignalsHeld() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;

 private:
  sigset_t before_{};
};

}  // namespace

Connections::Connections(std::size_t threads, Serve serve) : serve_(std::move(serve)) {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) throw std::runtime_error(std::strerror(errno));
  wakeRead_ = ends[0];
  wakeWrite_ = ends[1];
  const SignalsHeld held;
  watcher_ = std::thread([this] { watch(); });
  while (workers_.size() < threads) workers_.emplace_back([this] { work(); });
}

Connections::~Connections() {
  stop();
  static_cast<void>(::close(wakeRead_));
  static_cast<void>(::close(wakeWrite_));
}

void Connections::wake() const {
  const char byte = 0;
  static_cast<void>(::write(wakeWrite_, &byte, 1) == 1);  // a full pipe wakes as well
}

void Connections::add(int descriptor) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    added_.emplace_back(descriptor);
  }
  wake();
}

void Connections::stop() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    isStopped_ = true;
  }
  isReady_.notify_all();
  wake();
  if (watcher_.joinable()) watcher_.join();
  for (std::thread& worker : workers_) worker.join();
  workers_.clear();
  added_.clear();
  ready_.clear();
  waiting_.clear();
}

bool Connections::receive(Socket& connection) {
  return connection.takeIn() && !connection.hasHead() && connection.received().size() <= largestHead;
}

void Connections::watch() {
  std::vector<pollfd> watched;
  for (;;) {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (isStopped_) return;
      waiting_.splice(waiting_.end(), added_);
    }
    // What came in together with the request before stands there already.
    for (auto one = waiting_.begin(); one != waiting_.end();) {
      const auto current = one++;
      if (!current->hasHead()) continue;
      const std::lock_guard<std::mutex> lock(mutex_);
      ready_.splice(ready_.end(), waiting_, current);
      isReady_.notify_one();
    }
    while (waiting_.size() > mostWaiting) waiting_.pop_front();
    watched.assign(1, {wakeRead_, POLLIN, 0});
    for (const Socket& connection : waiting_) watched.push_back({connection.descriptor(), POLLIN, 0});
    static_cast<void>(::poll(watched.data(), watched.size(), longestWait));
    std::array<char, 256> bytes{};
    while (::read(wakeRead_, bytes.data(), bytes.size()) > 0) continue;
    const auto now = Socket::Clock::now();
    std::size_t place = 1;
    for (auto one = waiting_.begin(); one != waiting_.end(); ++place) {
      const auto current = one++;
      const bool hasMore = watched[place].revents != 0;
      if (hasMore && !receive(*current)) {
        const bool isRequest = current->hasHead() || current->received().size() > largestHead;
        const std::lock_guard<std::mutex> lock(mutex_);
        if (!isRequest) {
          waiting_.erase(current);
          continue;
        }
        ready_.splice(ready_.end(), waiting_, current);
        isReady_.notify_one();
      } else if (now > current->deadline()) {
        waiting_.erase(current);
      }
    }
  }
}

void Connections::work() {
  for (;;) {
    std::list<Socket> one;
    {
      std::unique_lock<std::mutex> lock(mutex_);
      isReady_.wait(lock, [this] { return isStopped_ || !ready_.empty(); });
      if (isStopped_) return;
      one.splice(one.end(), ready_, ready_.begin());
    }
    Socket& connection = one.front();
    connection.awaitFor(wholeBody);
    if (!serve_(connection)) continue;
    connection.awaitFor(nextRequest);
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      added_.splice(added_.end(), one);
    }
    wake();
  }
}

}  // namespace database_provider::recordctl
