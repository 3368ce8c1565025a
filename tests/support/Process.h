// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace database_test {

/// A child process. It is ended with this object, and by the system when the test program dies first.
class Process {
 public:
  /// Starts `command` in `folder`, its output going to the file "log" there; throws `std::system_error`.
  Process(const std::vector<std::string>& command, const std::string& folder);
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  pid_t id() const { return id_; }
  bool isRunning();
  /// Asks it to end, and ends it after some seconds.
  void stop();

 private:
  pid_t id_ = -1;
};

/// Removes the file in shared memory that the MongoDB driver makes for each process that loads it, and that stays when
/// the process is killed: the next process of that number would find it, and say so on stderr.
void removeSharedMemoryOf(pid_t killed);

/// A port on 127.0.0.1 that nobody listened on a moment ago.
int freePort();
/// Whether something accepts connections on a port of 127.0.0.1.
bool accepts(int port);
/// Where a program lies on the PATH; empty when it does not.
std::string onPath(const std::string& program);

}  // namespace database_test
