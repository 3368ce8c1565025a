// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>

/// A server that does nothing, at once: whatever takes time against it is the client's and the network's. It speaks the
/// wire protocol on 127.0.0.1 from a child process, which ends with this object, with its parent, or after some
/// minutes.
///
/// The two take one processor each, of those that the program may run on, or the same if there is one.
///
/// `found` is the bytes of the document that a read finds: one for a read with a limit, `records` without, the first
/// 101 at once and the others when they are asked for.
class NullServer {
 public:
  static constexpr std::size_t records = 1000;

  explicit NullServer(const std::string& found);
  ~NullServer();
  NullServer(const NullServer&) = delete;
  NullServer& operator=(const NullServer&) = delete;

  std::string address() const { return "mongodb://127.0.0.1:" + std::to_string(port_) + "/"; }

 private:
  int port_ = 0;
  pid_t child_ = -1;
};
