// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/storage/OpenFiles.h"

#include <sys/stat.h>

#include <utility>

namespace database_client::embedded {

std::optional<OpenFiles::Identity> OpenFiles::of(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return std::nullopt;
  return Identity{status.st_dev, status.st_ino, status.st_nlink};
}

OpenFiles::OpenFiles(std::string path)
    : path_(std::move(path)),
      logPath_(path_ + "-wal"),
      indexPath_(path_ + "-shm"),
      file_(of(path_)),
      log_(of(logPath_)),
      index_(of(indexPath_)) {}

OpenFiles::Change OpenFiles::look() const {
  const auto file = of(path_);
  // In the order of what is lost: without the file itself it does not matter what became of its log.
  if (!(file == file_)) return Change::moved;
  if (file && file->names != 1) return Change::secondName;
  // There may be none of them: one who can only read makes none, and one who is alone needs no index.
  if (log_ && !(of(logPath_) == log_)) return Change::logLost;
  if (index_ && !(of(indexPath_) == index_)) return Change::logLost;
  return Change::none;
}

bool OpenFiles::hasNoLog() const {
  struct stat status {};
  return stat(logPath_.c_str(), &status) != 0 || status.st_size == 0;
}

}  // namespace database_client::embedded
