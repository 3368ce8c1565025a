// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace database_client::embedded {

/// The files of a store as they were when it was opened: whether the paths still lead to them.
class OpenFiles {
 public:
  explicit OpenFiles(std::string path);

  enum class Change {
    none,
    moved,       ///< the file was removed or replaced
    secondName,  ///< the file has another name, where another log would lie
    logLost,     ///< the log, or its index, was removed or replaced
  };
  /// Costs a look at each of the files.
  Change look() const;
  /// Whether nothing, or nothing yet, lies where the log was.
  bool hasNoLog() const;

 private:
  struct Identity {
    dev_t device;
    ino_t inode;
    nlink_t names;

    bool operator==(const Identity& other) const { return device == other.device && inode == other.inode; }
  };
  static std::optional<Identity> of(const std::string& path);

  std::string path_, logPath_, indexPath_;
  std::optional<Identity> file_, log_, index_;
};

}  // namespace database_client::embedded
