// SPDX-License-Identifier: Apache-2.0
#include "tools/input/InputSource.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>
#include <vector>

#include "tools/terminal/Interrupt.h"
#include "tools/values/Errors.h"

namespace database_provider::recordctl {

namespace {

constexpr std::array<std::pair<const char*, RowFormat>, 8> formats = {{{"json", RowFormat::json},
                                                                       {"jsonl", RowFormat::jsonl},
                                                                       {"csv", RowFormat::csv},
                                                                       {"records", RowFormat::records},
                                                                       {"junit", RowFormat::junit},
                                                                       {"google-benchmark", RowFormat::googleBenchmark},
                                                                       {"pytest-benchmark", RowFormat::pytestBenchmark},
                                                                       {"mlflow", RowFormat::mlflow}}};

[[noreturn]] void fail(const std::string& path) {
  checkInterrupt();
  throw UsageError(path + ": " + std::strerror(errno));
}

std::shared_ptr<const int> owned(int descriptor) {
  return {new int(descriptor), [](const int* descriptorOwned) {
            if (*descriptorOwned > STDIN_FILENO) ::close(*descriptorOwned);
            delete descriptorOwned;
          }};
}

ByteReader bytesOf(const std::string& path, const std::shared_ptr<const int>& descriptor) {
  return [path, descriptor](char* bytes, std::size_t size) {
    for (;;) {
      const ssize_t count = ::read(*descriptor, bytes, size);
      if (count >= 0) return static_cast<std::size_t>(count);
      if (errno != EINTR) fail(path);
    }
  };
}

}  // namespace

bool InputSource::canBeReadOnlyOnce() const {
  std::error_code error;
  if (spooled) return false;
  return path == "-" || (std::filesystem::exists(path, error) && !std::filesystem::is_regular_file(path, error) &&
                         !std::filesystem::is_directory(path, error));
}

std::unique_ptr<RowReader> InputSource::open() const {
  if (spooled) {
    if (::lseek(*spooled, 0, SEEK_SET) != 0) fail(path);
    return readRows(path, format, bytesOf(path, spooled), options);
  }
  return canBeReadOnlyOnce() ? readRows(path, format, awaitedBytes(path), options) : openRows(path, format, options);
}

void InputSource::spool() {
  std::string name = (std::filesystem::temp_directory_path() / "recordctl-XXXXXX").string();
  const int opened = ::mkostemp(name.data(), O_CLOEXEC);
  if (opened < 0) fail(name);
  const std::shared_ptr<const int> file = owned(opened);
  ::unlink(name.c_str());
  const ByteReader read = awaitedBytes(path);
  std::vector<char> bytes(1U << 16U);
  while (const std::size_t count = read(bytes.data(), bytes.size())) {
    std::size_t written = 0;
    while (written < count) {
      const ssize_t more = ::write(*file, bytes.data() + written, count - written);
      if (more < 0 && errno != EINTR) fail(name);
      written += more < 0 ? 0 : static_cast<std::size_t>(more);
    }
  }
  spooled = file;
}

RowFormat rowFormat(const std::string& name, const std::string& path) {
  for (const auto& [known, format] : formats) {
    if (name == known) return format;
  }
  if (!name.empty())
    throw UsageError("unknown format \"" + name +
                     "\"; json, jsonl, csv, records, junit, google-benchmark, pytest-benchmark and mlflow are known");
  if (const auto format = rowFormatOf(path)) return *format;
  throw UsageError(path + ": the name does not tell the format; give --format json, jsonl, csv or records");
}

ByteReader awaitedBytes(const std::string& path) {
  const int opened = path == "-" ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (opened < 0) fail(path);
  const std::shared_ptr<const int> descriptor = owned(opened);
  const ByteReader read = bytesOf(path, descriptor);
  return [descriptor, read](char* bytes, std::size_t size) {
    awaitInput(*descriptor);
    return read(bytes, size);
  };
}

}  // namespace database_provider::recordctl
