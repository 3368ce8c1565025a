// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <string>

namespace database_provider::recordctl {

/// A file that gets its name when it is whole: it is made in a folder of its own beside its place, and moved there by
/// `publish`. What was never published is removed again.
class StagedFile {
 public:
  /// Throws `StoreError` when nothing can be made beside `path`.
  explicit StagedFile(const std::string& path);
  ~StagedFile();
  StagedFile(const StagedFile&) = delete;
  StagedFile& operator=(const StagedFile&) = delete;

  /// Where the file is to be made.
  std::string path() const { return folder_ / target_.filename(); }
  /// Moves the file, which nobody may have open any more. Throws `StoreError` when another has come to its place,
  /// or when a part of a store is still in its log.
  void publish() const;

 private:
  std::filesystem::path target_;
  std::filesystem::path folder_{};
};

}  // namespace database_provider::recordctl
