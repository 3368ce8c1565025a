// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace database_client::embedded {

/// What stands behind "file:" in a host: a path, then options behind a "?".
///
///     synchronous=full|normal   normal: a loss of power may undo the last writes (full)
///     exclusive=true|false      no other process or client can use the file meanwhile (false)
///     timeout=MILLISECONDS      how long to wait for another's lock (30000)
///     create=true|false         whether a missing file is made (true)
///
/// The path ":memory:" is a store of one client alone.
struct StoreAddress {
  std::string path;
  bool synchronousFull = true;
  bool exclusive = false;
  bool create = true;
  int timeoutMilliseconds = 30'000;

  bool isMemory() const { return path == ":memory:"; }

  /// Throws Error{query} for an empty path, a NUL in it, an unknown option or value.
  static StoreAddress parse(const std::string& text);
};

}  // namespace database_client::embedded
