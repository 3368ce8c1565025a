// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <unistd.h>

#include <array>
#include <cstdio>
#include <memory>
#include <string>

namespace database_test {

/// Takes what the process writes to stdout and stderr while it lives, whoever writes it.
class Capture {
 public:
  Capture() {
    flush();
    for (std::size_t i = 0; i < taken_.size(); ++i) dup2(fileno(file_.get()), descriptor(i));
  }
  ~Capture() { giveBack(); }
  Capture(const Capture&) = delete;
  Capture& operator=(const Capture&) = delete;

  /// Ends the taking.
  std::string text() {
    giveBack();
    std::string text;
    std::rewind(file_.get());
    for (int byte = std::fgetc(file_.get()); byte != EOF; byte = std::fgetc(file_.get())) {
      text.push_back(static_cast<char>(byte));
    }
    return text;
  }

 private:
  struct Close {
    void operator()(std::FILE* file) const noexcept { static_cast<void>(std::fclose(file)); }
  };

  static void flush() { static_cast<void>(std::fflush(nullptr)); }
  static int descriptor(std::size_t i) { return static_cast<int>(i) + STDOUT_FILENO; }
  void giveBack() {
    flush();
    for (std::size_t i = 0; i < taken_.size(); ++i) {
      if (taken_[i] < 0) continue;
      dup2(taken_[i], descriptor(i));
      close(taken_[i]);
      taken_[i] = -1;
    }
  }

  std::unique_ptr<std::FILE, Close> file_{std::tmpfile()};
  std::array<int, 2> taken_{dup(STDOUT_FILENO), dup(STDERR_FILENO)};
};

}  // namespace database_test
