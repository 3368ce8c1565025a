// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>

/// A file with some content for the length of a test.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& content, const std::string& ending = "") {
    std::string name = "/tmp/recordctl_test_XXXXXX" + ending;
    const int descriptor = ::mkstemps(name.data(), static_cast<int>(ending.size()));
    if (descriptor < 0) throw std::runtime_error("no temporary file");
    ::close(descriptor);
    path_ = name;
    std::ofstream(path_, std::ios::binary) << content;
  }
  ~TemporaryFile() { ::unlink(path_.c_str()); }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};
