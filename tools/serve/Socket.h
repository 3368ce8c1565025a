// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace database_provider::recordctl {

/// A connection to somebody who asks: what has come in and was not read yet, and until when more is awaited. Owns the
/// descriptor.
class Socket {
 public:
  using Clock = std::chrono::steady_clock;

  explicit Socket(int descriptor);
  ~Socket();
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;

  int descriptor() const { return descriptor_; }
  const std::string& received() const { return received_; }
  Clock::time_point deadline() const { return deadline_; }
  void awaitFor(std::chrono::milliseconds time) { deadline_ = Clock::now() + time; }

  /// Takes what is there without waiting; false at the end.
  bool takeIn();
  /// Whether the head of a request is there as a whole.
  bool hasHead() const { return received_.find("\r\n\r\n") != std::string::npos; }

  /// Reads up to `size` bytes, waiting until the deadline; 0 at the end and behind it, -1 on failure.
  long read(char* bytes, std::size_t size);
  /// Writes all, as long as the other side takes some of it every few seconds and `isWanted` holds; -1 else.
  long write(const char* bytes, std::size_t size, bool (*isWanted)()) const;
  /// Whether the other side is still there.
  bool isOpen() const;

 private:
  int descriptor_;
  std::string received_{};
  Clock::time_point deadline_;
};

}  // namespace database_provider::recordctl
