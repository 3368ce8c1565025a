// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "tests/support/TemporaryFolder.h"

namespace database_client {

/// Where files are fastest, for tests that need no device below them.
inline std::string memoryFolder() {
  return access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
}

using database_test::TemporaryFolder;

inline std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline void writeFile(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

/// Removes a file, if it is there.
inline void removeFile(const std::string& path) {
  unlink(path.c_str());
}

inline bool isThere(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0;
}

/// The rights of a file as digits, "600".
inline std::string modeOf(const std::string& path) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) return "none";
  char digits[8];
  static_cast<void>(std::snprintf(digits, sizeof digits, "%03o", status.st_mode & 0777U));
  return digits;
}

}  // namespace database_client
