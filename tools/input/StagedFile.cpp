// SPDX-License-Identifier: Apache-2.0
#include "tools/input/StagedFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tools/core/Session.h"

namespace database_provider::recordctl {

namespace {

[[noreturn]] void fail(const std::filesystem::path& path) {
  throw StoreError(path.string() + ": " + std::strerror(errno));
}

std::filesystem::path folderOf(const std::filesystem::path& file) {
  return file.has_parent_path() ? file.parent_path() : std::filesystem::path(".");
}

/// Not every file system can refuse to move onto a file that is there; those that cannot make a second name instead,
/// which is refused where there is one.
bool moveToFreePlace(const std::string& from, const std::string& to) {
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  return errno == EINVAL && ::link(from.c_str(), to.c_str()) == 0 && ::unlink(from.c_str()) == 0;
}

/// Else a power cut could take the name away again.
void syncFolder(const std::filesystem::path& folder) {
  const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return;
  static_cast<void>(::fsync(descriptor));
  ::close(descriptor);
}

}  // namespace

StagedFile::StagedFile(const std::string& path) : target_(path) {
  std::string folder = (folderOf(target_) / ".recordctl-XXXXXX").string();
  if (::mkdtemp(folder.data()) == nullptr) fail(target_);
  folder_ = folder;
}

StagedFile::~StagedFile() {
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

void StagedFile::publish() const {
  const std::string log = path() + "-wal";
  if (std::filesystem::exists(log)) throw StoreError(log + ": the log was not taken into the file when it was closed");
  if (!moveToFreePlace(path(), target_)) fail(target_);
  syncFolder(folderOf(target_));
}

}  // namespace database_provider::recordctl
