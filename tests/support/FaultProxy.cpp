// SPDX-License-Identifier: Apache-2.0
#include "tests/support/FaultProxy.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <vector>

#include "tests/support/Socket.h"

namespace database_test {

namespace {

constexpr int tick = 20;  // milliseconds until a change of plan is noticed
constexpr std::size_t chunk = 64 * 1024;

bool concernsRequests(FaultProxy::Fault fault) {
  return fault == FaultProxy::Fault::cutRequest || fault == FaultProxy::Fault::halveRequest;
}

}  // namespace

FaultProxy::FaultProxy(int target) : target_(target), listener_(listenOn(port_)) {
  thread_ = std::thread([this] { run(); });
}

FaultProxy::~FaultProxy() {
  running_ = false;
  thread_.join();
  closeSocket(listener_);
}

void FaultProxy::run() {
  while (running_) {
    std::vector<pollfd> waiting{{listener_, POLLIN, 0}};
    for (const Pair& pair : pairs_) {
      waiting.push_back({pair.client, POLLIN, 0});
      waiting.push_back({pair.server, POLLIN, 0});
    }
    if (poll(waiting.data(), waiting.size(), tick) <= 0) continue;
    std::size_t at = 1;
    for (Pair& pair : pairs_) {
      if (waiting[at++].revents != 0) carry(pair, true);
      if (waiting[at++].revents != 0 && !pair.over) carry(pair, false);
    }
    pairs_.remove_if([](const Pair& pair) { return pair.over; });
    if (waiting[0].revents != 0) take();
  }
  for (Pair& pair : pairs_) end(pair, false);
}

void FaultProxy::take() {
  const int client = acceptFrom(listener_);
  if (client < 0) return;
  const int server = connectTo(target_);
  if (server < 0) {
    closeSocket(client);
    return;
  }
  pairs_.push_back({client, server});
}

void FaultProxy::carry(Pair& pair, bool request) {
  std::vector<char> bytes(chunk);
  const ssize_t size = recv(request ? pair.client : pair.server, bytes.data(), bytes.size(), 0);
  if (size <= 0) {
    end(pair, false);
    return;
  }
  if (hold_) return;
  const auto length = static_cast<std::size_t>(size);
  const Fault fault = fault_;
  if (fault != Fault::none && concernsRequests(fault) == request) {
    fault_ = Fault::none;
    disturb(pair, fault, bytes.data(), length);
    return;
  }
  if (delay_ > 0) std::this_thread::sleep_for(std::chrono::milliseconds(delay_));
  pass(request ? pair.server : pair.client, bytes.data(), length);
}

void FaultProxy::pass(int to, const char* bytes, std::size_t size) const {
  const std::size_t slice = slice_ == 0 ? size : slice_.load();
  while (size > 0) {
    const ssize_t sent = send(to, bytes, std::min(slice, size), MSG_NOSIGNAL);
    if (sent <= 0) return;
    bytes += sent;
    size -= static_cast<std::size_t>(sent);
  }
}

void FaultProxy::disturb(Pair& pair, Fault fault, const char* bytes, std::size_t size) {
  if (fault == Fault::halveRequest) pass(pair.server, bytes, size / 2);
  if (fault == Fault::halveReply) pass(pair.client, bytes, size / 2);
  end(pair, fault == Fault::resetReply);
}

void FaultProxy::end(Pair& pair, bool reset) {
  if (reset) {
    resetSocket(pair.client);
  } else {
    closeSocket(pair.client);
  }
  closeSocket(pair.server);
  pair.over = true;
}

}  // namespace database_test
