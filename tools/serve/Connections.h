// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tools/serve/Socket.h"

namespace database_provider::recordctl {

/// The connections of a server, and the threads that serve them. One thread watches all connections of which nothing is
/// complete yet; only one whose request has a whole head is given to a serving thread. So a thousand connections that
/// send nothing, or a byte now and then, cost a thousand small buffers at most and keep nobody waiting. Those beyond a
/// number of them push out the oldest, and one that stays incomplete for too long is closed.
class Connections {
 public:
  /// Serves one request of the connection; false: the connection ends with it.
  using Serve = std::function<bool(Socket& connection)>;

  static constexpr std::size_t mostWaiting = 400;
  static constexpr std::size_t largestHead = 16 * 1024;

  Connections(std::size_t threads, Serve serve);
  ~Connections();
  Connections(const Connections&) = delete;
  Connections& operator=(const Connections&) = delete;

  void add(int descriptor);
  /// Closes all connections and waits for the serving threads.
  void stop();

 private:
  void watch();
  void work();
  void wake() const;
  /// Takes what has come in; whether the connection goes on waiting.
  static bool receive(Socket& connection);

  Serve serve_;
  std::mutex mutex_{};
  std::condition_variable isReady_{};
  std::list<Socket> added_{};    ///< that the watching thread has not taken over yet
  std::list<Socket> ready_{};    ///< with a whole head
  std::list<Socket> waiting_{};  ///< the watching thread's own, the oldest first
  bool isStopped_ = false;
  int wakeRead_ = -1;
  int wakeWrite_ = -1;
  std::thread watcher_{};
  std::vector<std::thread> workers_{};
};

}  // namespace database_provider::recordctl
