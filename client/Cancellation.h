// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ctime>
#include <functional>

namespace database_client {

/// Whether the caller of an operation still wants its result, which the operation asks from within, on the caller's
/// thread. Asking costs a look at the clock: the caller's function is called a few hundred times a second at most.
class Cancellation {
 public:
  /// The function is to return false when the result is wanted no more; an empty one always wants it.
  void set(std::function<bool()> isWanted);

  /// False when the result is wanted no more. An exception of the caller's function counts as that.
  bool isWanted() noexcept { return !isWanted_ || !isDue() || ask(); }
  /// Throws Error{cancelled} when the result is wanted no more.
  void check() {
    if (!isWanted()) refuse();
  }
  /// Throws Error{cancelled}.
  [[noreturn]] static void refuse();

 private:
  bool isDue() noexcept;
  bool ask() noexcept;

  std::function<bool()> isWanted_{};
  timespec askedAt_{};
  bool wasWanted_ = true;
};

}  // namespace database_client
