// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_provider/import.h>

#include <cstdint>
#include <memory>
#include <string>

namespace database_provider::recordctl {

/// A file that is imported, or standard input for "-".
struct InputSource {
  std::string path;
  RowFormat format;
  RowOptions options{};
  std::shared_ptr<const int> spooled{};  ///< a file that holds what could be read only once

  /// Standard input, a pipe, a device.
  bool canBeReadOnlyOnce() const;
  /// Keeps what can be read only once in a file without a name under TMPDIR, so that it can be read again.
  void spool();
  /// Throws `ImportError`; waiting for a pipe ends with `Interrupted` on a request to stop.
  std::unique_ptr<RowReader> open() const;
};

/// The format of that name, or, for an empty name, the one that the file's ending tells. Throws `UsageError`.
RowFormat rowFormat(const std::string& name, const std::string& path);

/// Reads standard input for "-", else the file. A request to stop ends waiting with `Interrupted`.
ByteReader awaitedBytes(const std::string& path);

}  // namespace database_provider::recordctl
