// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>

namespace database_client::embedded::sqlite {

/// Keeps a file that is open here from being taken for one that nobody uses, for as long as it lives.
///
/// SQLite's own locks belong to the process, and the system drops all of them when the process closes any descriptor of
/// the file, also one that SQLite knows nothing of; others then remove the log, and what is written to it afterwards is
/// lost. The locks held here belong to a descriptor, and stay. So that they drop none of SQLite's, descriptors of one
/// file are closed together, with the last guard of it in the process. Where the system has no such locks there are
/// none.
class FileGuard {
 public:
  explicit FileGuard(std::string path);
  FileGuard(const FileGuard&) = delete;
  FileGuard& operator=(const FileGuard&) = delete;
  /// In a child process this leaves the locks to the parent.
  ~FileGuard();

  enum class Kind { shared, alone };
  /// Lets in either several that share the file or one alone; false when another is in the way. Before SQLite looks.
  bool enter(Kind kind);
  /// Keeps others from removing the log. While SQLite itself takes the file alone it would be in the way. False where
  /// the index of the log is not the one that SQLite uses in this process: that of another client of the file, or of a
  /// client of the parent process.
  bool stay();
  /// Ends what `enter` and `stay` hold.
  void leave();

 private:
  class Descriptor {
   public:
    explicit Descriptor(const std::string& path);
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor();
    bool lock(short kind, off_t first, off_t size) const;

   private:
    friend class DescriptorsOfProcess;
    int number_ = -1;
    dev_t device_ = 0;
    ino_t inode_ = 0;
    pid_t process_;
  };
  friend class DescriptorsOfProcess;

  std::string path_;
  Descriptor file_;
  std::unique_ptr<Descriptor> index_{};
};

}  // namespace database_client::embedded::sqlite
