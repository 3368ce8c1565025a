// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdexcept>

namespace database_provider::recordctl {

/// What the process returns to the shell.
enum class ExitStatus : int { done = 0, someFailed = 1, wrongUse = 2, storeRefused = 3, interrupted = 130 };

/// The command was called in a way that makes no sense, or its input makes none as a whole. Nothing was written.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The person asked to stop.
class Interrupted : public std::runtime_error {
 public:
  Interrupted() : std::runtime_error("interrupted") {}
};

}  // namespace database_provider::recordctl
