// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

namespace database_client {

/// Something that was done to a file.
struct FileChange {
  enum class Kind { write, truncate, sync, remove };

  Kind kind;
  std::string file;
  long long offset = 0;  ///< of a write; the new size of what is cut
  std::string bytes{};
};

/// The files of SQLite with faults: while an object lives, every file of the process is opened through it. A fault hits
/// the operations that change a file: writing, syncing, truncating, deleting; `full` only writing.
class FaultyFiles {
 public:
  enum class Fault { inputOutput, full };

  FaultyFiles();
  FaultyFiles(const FaultyFiles&) = delete;
  FaultyFiles& operator=(const FaultyFiles&) = delete;
  ~FaultyFiles();

  /// Lets operation number `nth` (from 1) from now on fail: that one alone, or all from there on.
  static void failAt(long nth, bool forGood, Fault fault);
  static void failNoMore();
  /// Whether a fault has hit since the last `failAt`.
  static bool hasHit();
  /// Tells of everything that is done to a file from now on; nothing stands for nobody.
  static void tell(std::function<void(FileChange&&)> listener);
  /// Runs `work` once, when the size of a file was asked for the next time and before it is told.
  static void afterNextSize(std::function<void()> work);
};

}  // namespace database_client
