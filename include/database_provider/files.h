// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "database_provider/records.h"

/// The files that records refer to. A reference is a host and a path on it; the library stores nothing of the file
/// itself, so whether it is still there is to be looked at on a machine that sees it.
namespace database_provider {

/// What became of a file that a record refers to, seen from this machine.
enum class FileState {
  ok,          ///< it is there and can be read
  missing,     ///< there is nothing of that name
  unreadable,  ///< it is there, or may be, and cannot be read
  elsewhere,   ///< it lies on another host, and nobody said where that host's files are seen here
};

/// "ok", "missing", "unreadable" or "elsewhere".
DATABASE_PROVIDER_EXPORT const char* fileStateName(FileState state);

/// What a look at a file showed.
struct FileLook {
  FileState state = FileState::elsewhere;
  std::string path{};    ///< what was looked at; empty where nothing was
  std::string reason{};  ///< why it is missing or unreadable, as a sentence about the path; empty else
};

/// Where the files of hosts are seen from this machine.
///
/// This machine's own files are looked at as they are named: those of its own host name, of "localhost", of its
/// loopback addresses and of no host at all. Those of another host are seen below the folder that was given for it. A
/// path with ".." in it that leads out of that folder is not followed: its file counts as unreadable, for the reason
/// that it says.
class DATABASE_PROVIDER_EXPORT FileRoots {
 public:
  /// Files of `host` (in either letter case) are seen below `folder`, at their whole paths; also those of this machine.
  FileRoots& add(const std::string& host, const std::string& folder);
  /// Looks at the file, or rather at its name: nothing is read. A folder counts as a file.
  FileLook look(const FileReference& file) const;

 private:
  std::optional<std::string> rootOf(const std::string& host) const;

  std::vector<std::pair<std::string, std::string>> roots_{};
};

/// A file, and the record that refers to it.
struct FileOfRecord {
  std::string record;  ///< its id
  FileReference file;
};

/// Hands over every file that the selected records refer to, in their order, until `receive` returns false. Memory does
/// not grow with the number of records; of each, only its references are read.
DATABASE_PROVIDER_EXPORT void forEachFile(const Records& records, const Selection& selection,
                                          const std::function<bool(FileOfRecord&&)>& receive);

}  // namespace database_provider
