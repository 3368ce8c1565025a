// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace database_test {

/// A folder of its own under the system's temporary folder, or another one, removed with everything in it.
class TemporaryFolder {
 public:
  explicit TemporaryFolder(const std::filesystem::path& base = std::filesystem::temp_directory_path())
      : path_((base / "database-test-XXXXXX").string()) {
    if (mkdtemp(path_.data()) == nullptr) throw std::system_error(errno, std::generic_category(), "mkdtemp " + path_);
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& path() const { return path_; }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

}  // namespace database_test
