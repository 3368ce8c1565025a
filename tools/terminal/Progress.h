// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <iosfwd>

namespace database_provider::recordctl {

/// Tells on standard error how far a long task is: as a bar with rate and time left on a terminal, else as a line every
/// ten seconds.
class Progress {
 public:
  using Clock = std::chrono::steady_clock;

  /// `total` is 0 where the end is not known.
  explicit Progress(std::uint64_t total);
  /// The same under another clock, told elsewhere.
  Progress(std::uint64_t total, std::ostream& out, bool isTerminal, std::function<Clock::time_point()> now);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void update(std::uint64_t position, std::uint64_t records);
  /// Takes the bar away, so that other lines may follow.
  void hide();
  double seconds() const;

 private:
  void writeBar(double part, double rate) const;
  void writeLine(std::uint64_t records, double part, double rate) const;

  std::uint64_t total_;
  std::ostream& out_;
  bool isTerminal_;
  std::function<Clock::time_point()> now_;
  Clock::time_point start_;
  Clock::time_point shown_;
  bool isVisible_ = false;
};

}  // namespace database_provider::recordctl
