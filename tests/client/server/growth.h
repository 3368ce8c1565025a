// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <dirent.h>

#include <cstddef>
#include <string>

#if defined(__SANITIZE_ADDRESS__)
// As in <sanitizer/allocator_interface.h>, which GCC does not install.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();  // NOLINT(bugprone-reserved-identifier)
#else
#include <malloc.h>
#endif

namespace database_test {

inline std::size_t memoryInUse() {
#if defined(__SANITIZE_ADDRESS__)
  return __sanitizer_get_current_allocated_bytes();
#else
  return mallinfo2().uordblks;
#endif
}

/// The number of files in a folder.
inline std::size_t entriesOf(const char* folder) {
  DIR* directory = opendir(folder);
  std::size_t number = 0;
  while (const dirent* entry = readdir(directory)) {
    if (entry->d_name[0] != '.') ++number;
  }
  closedir(directory);
  return number;
}

/// Does something many times and tells what the process kept of it: open files, and memory in use. What the first
/// twenty rounds keep is not counted.
template <class Action>
std::string growth(int rounds, Action action) {
  constexpr long long slack = 4096;
  for (int i = 0; i < 20; ++i) action();
  const std::size_t memory = memoryInUse();
  const std::size_t files = entriesOf("/proc/self/fd");
  for (int i = 0; i < rounds; ++i) action();
  const auto grown = static_cast<long long>(memoryInUse()) - static_cast<long long>(memory);
  const auto opened = static_cast<long long>(entriesOf("/proc/self/fd")) - static_cast<long long>(files);
  return "files " + std::to_string(opened) + ", memory " +
         (grown < slack ? "steady" : "grown by " + std::to_string(grown));
}

}  // namespace database_test
