#include "tools/core/Progress.h"

#include <algorithm>
#include <cmath>
#include <iostream>
#include <string>

#include "tools/core/Terminal.h"

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

Progress::Progress(std::uint64_t total)
    : total_(total), isTerminal_(standardErrorIsTerminal()), start_(Clock::now()), shown_(start_) {}

Progress::~Progress() {
  hide();
}

double Progress::seconds() const {
  return std::chrono::duration<double>(Clock::now() - start_).count();
}

void Progress::hide() {
  if (isVisible_) std::cerr << "\r\x1b[K" << std::flush;
  isVisible_ = false;
}

void Progress::update(std::uint64_t position, std::uint64_t records) {
  const auto now = Clock::now();
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
  std::cerr << "\r\x1b[K";
  if (total_ > 0) {
    const auto full = static_cast<std::size_t>(part * barWidth);
    std::cerr << '[' << std::string(full, '#') << std::string(barWidth - full, ' ') << "] " << percent(part) << ", ";
  }
  std::cerr << static_cast<long long>(rate) << " records/s";
  if (part > 0) std::cerr << ", " << inSeconds(seconds() / part * (1 - part)) << " left";
  std::cerr << std::flush;
}

void Progress::writeLine(std::uint64_t records, double part, double rate) {
  std::cerr << "recordctl: " << records << " records";
  if (part > 0) std::cerr << ", " << percent(part);
  std::cerr << ", " << static_cast<long long>(rate) << " records/s" << std::endl;
}

}  // namespace database_provider::recordctl
