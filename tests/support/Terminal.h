// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace database_test {

/// A terminal with one program on it, as a person uses it from a shell. What the program does to the terminal is still
/// there to be seen when it has ended.
class Terminal {
 public:
  /// Starts `command` (a path and its arguments) with `environment` ("NAME=VALUE"); throws `std::system_error`.
  Terminal(std::vector<std::string> command, std::vector<std::string> environment, unsigned short columns = 80);
  /// Ends the program if it still runs.
  ~Terminal();
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  /// What was written up to and with `text`, from where the last call stopped. Throws `std::runtime_error` with what
  /// came instead when the program ends or is silent for a minute.
  std::string readUntil(const std::string& text);
  /// Keys, as they are pressed: "\n" is Enter, "\x03" Ctrl-C, "\x04" Ctrl-D.
  void type(const std::string& keys) const;
  void signal(int number) const;
  /// Whether the terminal shows what is typed.
  bool echoes() const;
  /// Waits for the program's end, and gives its exit status, 128 and the signal's number when a signal ended it.
  int finish();
  /// What was written since the last `readUntil`.
  const std::string& rest() const { return pending_; }

 private:
  /// The session that the program belongs to; it outlives the program, since the end of a session resets its terminal.
  [[noreturn]] static void lead(int slave, const std::vector<char*>& command, const std::vector<char*>& environment,
                                int report, int release);
  /// Waits until something was written or the program has ended, and takes it in.
  void takeIn();
  bool hasEnded() const { return status_ >= 0; }

  int master_ = -1;
  int report_ = -1;   ///< tells the program's exit status
  int release_ = -1;  ///< closed when the session may end
  pid_t leader_ = -1;
  pid_t program_ = -1;
  int status_ = -1;
  std::string pending_{};
};

}  // namespace database_test
