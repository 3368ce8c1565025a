// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <list>
#include <mutex>
#include <thread>

namespace database_test {

/// Stands on a free port of 127.0.0.1 between a client and a server, and disturbs what passes.
class FaultProxy {
 public:
  enum class Fault {
    none,
    cutRequest,    ///< the next request does not arrive, and the connection ends
    halveRequest,  ///< half of the next request arrives, then the connection ends
    cutReply,      ///< the next request arrives, its reply does not, and the connection ends
    resetReply,    ///< the same, with a TCP reset
    halveReply,    ///< half of the next reply arrives, then the connection ends
  };

  explicit FaultProxy(int target);
  ~FaultProxy();
  FaultProxy(const FaultProxy&) = delete;
  FaultProxy& operator=(const FaultProxy&) = delete;

  int port() const { return port_; }
  /// Is done once, to whatever passes next.
  void arm(Fault fault) { fault_ = fault; }
  bool isArmed() const { return fault_ != Fault::none; }
  /// Waits so long, in milliseconds, before it passes anything on.
  void delay(int milliseconds) { delay_ = milliseconds; }
  /// Passes on in pieces of so many bytes; 0 for as it comes.
  void slice(std::size_t bytes) { slice_ = bytes; }
  /// Takes what comes and passes nothing on.
  void hold(bool on) { hold_ = on; }

 private:
  struct Pair {
    int client;
    int server;
    bool over = false;
  };

  void run();
  void take();
  void carry(Pair& pair, bool request);
  void pass(int to, const char* bytes, std::size_t size) const;
  void disturb(Pair& pair, Fault fault, const char* bytes, std::size_t size);
  static void end(Pair& pair, bool reset);

  int target_;
  int port_ = 0;
  int listener_;
  std::atomic<bool> running_{true};
  std::atomic<Fault> fault_{Fault::none};
  std::atomic<int> delay_{0};
  std::atomic<std::size_t> slice_{0};
  std::atomic<bool> hold_{false};
  std::list<Pair> pairs_{};
  std::thread thread_{};
};

}  // namespace database_test
