#pragma once

#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace database_client::testing {

/// A folder for one test, removed with all it holds.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    if (mkdtemp(path_) == nullptr) throw std::runtime_error("no temporary folder");
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    nftw(
        path_, [](const char* name, const struct stat*, int, FTW*) { return std::remove(name); }, 8,
        FTW_DEPTH | FTW_PHYS);
  }
  std::string operator/(const std::string& name) const { return std::string(path_) + "/" + name; }

 private:
  char path_[32] = "/tmp/store_test_XXXXXX";
};

inline std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline void writeFile(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
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
  std::snprintf(digits, sizeof digits, "%03o", status.st_mode & 0777U);
  return digits;
}

}  // namespace database_client::testing
