// SPDX-License-Identifier: Apache-2.0
#include "tools/terminal/Progress.h"

#include <algorithm>
#include <cmath>
#include <iostream>
#include <string>
#include <utility>

#include "tools/terminal/Terminal.h"

namespace database_provider::recordctl {

namespace {

constexpr int barWidth = 30;
constexpr std::chrono::milliseconds betweenBars(200);
constexpr std::chrono::milliseconds betweenLines(10'000);

std::string inSeconds(double seconds) {
  const long long whole = std::llround(seconds);
  const std::string rest = std::to_string(whole % 60);
  return std::to_string(whole / 60) + (rest.size() < 2 ? ":0" : ":") + rest;
}

std::string percent(double part) {
  return std::to_string(static_cast<int>(part * 100)) + " %";
}

}  // namespace

Progress::Progress(std::uint64_t total) : Progress(total, std::cerr, standardErrorIsTerminal(), Clock::now) {}

Progress::Progress(std::uint64_t total, std::ostream& out, bool isTerminal, std::function<Clock::time_point()> now)
    : total_(total), out_(out), isTerminal_(isTerminal), now_(std::move(now)), start_(now_()), shown_(start_) {}

Progress::~Progress() {
  hide();
}

double Progress::seconds() const {
  return std::chrono::duration<double>(now_() - start_).count();
}

void Progress::hide() {
  if (isVisible_) out_ << "\r\x1b[K" << std::flush;
  isVisible_ = false;
}

void Progress::update(std::uint64_t position, std::uint64_t records) {
  const auto now = now_();
  if (now - shown_ < (isTerminal_ ? betweenBars : betweenLines)) return;
  shown_ = now;
  const double part = total_ == 0 ? 0 : std::min(1.0, static_cast<double>(position) / static_cast<double>(total_));
  const double rate = static_cast<double>(records) / seconds();
  if (isTerminal_) {
    writeBar(part, rate);
    isVisible_ = true;
  } else {
    writeLine(records, part, rate);
  }
}

void Progress::writeBar(double part, double rate) const {
  out_ << "\r\x1b[K";
  if (total_ > 0) {
    const auto full = static_cast<std::size_t>(part * barWidth);
    out_ << '[' << std::string(full, '#') << std::string(barWidth - full, ' ') << "] " << percent(part) << ", ";
  }
  out_ << static_cast<long long>(rate) << " records/s";
  if (part > 0) out_ << ", " << inSeconds(seconds() / part * (1 - part)) << " left";
  out_ << std::flush;
}

void Progress::writeLine(std::uint64_t records, double part, double rate) const {
  out_ << "recordctl: " << records << " records";
  if (part > 0) out_ << ", " << percent(part);
  out_ << ", " << static_cast<long long>(rate) << " records/s" << std::endl;
}

}  // namespace database_provider::recordctl
