// SPDX-License-Identifier: Apache-2.0
#include "tools/input/InputSource.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

#include "tools/terminal/Interrupt.h"
#include "tools/values/Errors.h"

namespace database_provider::recordctl {

namespace {

constexpr std::array<std::pair<const char*, RowFormat>, 4> formats = {
    {{"json", RowFormat::json}, {"jsonl", RowFormat::jsonl}, {"csv", RowFormat::csv}, {"records", RowFormat::records}}};

[[noreturn]] void fail(const std::string& path) {
  checkInterrupt();
  throw UsageError(path + ": " + std::strerror(errno));
}

}  // namespace

bool InputSource::canBeReadOnlyOnce() const {
  std::error_code error;
  return path == "-" || (std::filesystem::exists(path, error) && !std::filesystem::is_regular_file(path, error) &&
                         !std::filesystem::is_directory(path, error));
}

std::unique_ptr<RowReader> InputSource::open() const {
  return canBeReadOnlyOnce() ? readRows(path, format, awaitedBytes(path)) : openRows(path, format);
}

RowFormat rowFormat(const std::string& name, const std::string& path) {
  for (const auto& [known, format] : formats) {
    if (name == known) return format;
  }
  if (!name.empty()) throw UsageError("unknown format \"" + name + "\"; json, jsonl, csv and records are known");
  if (const auto format = rowFormatOf(path)) return *format;
  throw UsageError(path + ": the name does not tell the format; give --format json, jsonl, csv or records");
}

ByteReader awaitedBytes(const std::string& path) {
  const int opened = path == "-" ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (opened < 0) fail(path);
  const std::shared_ptr<const int> descriptor(new int(opened), [](const int* owned) {
    if (*owned > STDIN_FILENO) ::close(*owned);
    delete owned;
  });
  return [path, descriptor](char* bytes, std::size_t size) {
    for (;;) {
      awaitInput(*descriptor);
      const ssize_t count = ::read(*descriptor, bytes, size);
      if (count >= 0) return static_cast<std::size_t>(count);
      if (errno != EINTR) fail(path);
    }
  };
}

}  // namespace database_provider::recordctl
