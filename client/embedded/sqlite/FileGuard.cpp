// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/sqlite/FileGuard.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <iterator>
#include <map>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace database_client::embedded::sqlite {

namespace {

// Where SQLite keeps its locks: nothing of a file is ever stored there.
constexpr off_t pendingByte = 0x40000000;
constexpr off_t sharedFirst = pendingByte + 2;
constexpr off_t sharedSize = 510;
constexpr off_t deadMansSwitch = 128;  ///< in the index of the log
/// Behind the locks of SQLite, in the page that they take.
constexpr off_t ownByte = pendingByte + 1024;

}  // namespace

/// The descriptors that guards have, and those that wait for the last guard of their file to end.
class DescriptorsOfProcess {
 public:
  static DescriptorsOfProcess& get() {
    static auto* const all = new DescriptorsOfProcess;  // Clients may be among what ends after the statics do.
    return *all;
  }

  void open(FileGuard::Descriptor& descriptor, const std::string& path) {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (process_ != getpid()) inherit();
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) return;
    auto known = files_.find({status.st_dev, status.st_ino});
    if (known != files_.end() && !known->second.idle.empty()) {
      descriptor.number_ = known->second.idle.back();
      known->second.idle.pop_back();
    } else {
      descriptor.number_ = openAnew(path);
      if (descriptor.number_ < 0 || fstat(descriptor.number_, &status) != 0) return;
      known = files_.try_emplace({status.st_dev, status.st_ino}).first;
    }
    descriptor.device_ = status.st_dev;
    descriptor.inode_ = status.st_ino;
    ++known->second.used;
  }

  void close(const FileGuard::Descriptor& descriptor) {
    const std::lock_guard<std::mutex> guard(mutex_);
    const auto known = files_.find(keyOf(descriptor));
    if (known == files_.end()) return;
    known->second.idle.push_back(descriptor.number_);
    if (--known->second.used > 0) return;
    for (const int number : known->second.idle) ::close(number);
    known->second.idle.clear();
    if (!known->second.isInherited) files_.erase(known);
  }

  /// SQLite opens the index of a file once in a process, and again only when all clients of the file are closed.
  bool isIndexOf(const FileGuard::Descriptor& file, const FileGuard::Descriptor& index) {
    const std::lock_guard<std::mutex> guard(mutex_);
    const auto known = files_.find(keyOf(file));
    if (known == files_.end()) return true;
    auto& used = known->second.index;
    if (!used) used = keyOf(index);
    return used == keyOf(index);
  }

 private:
  using Key = std::pair<dev_t, ino_t>;
  struct Descriptors {
    std::size_t used = 0;
    std::vector<int> idle{};
    std::optional<Key> index{};
    bool isInherited = false;  ///< SQLite will have it open until the process ends.
  };

  static Key keyOf(const FileGuard::Descriptor& descriptor) { return {descriptor.device_, descriptor.inode_}; }

  /// The descriptors of the parent process share their locks with it, so that they are left alone.
  void inherit() {
    process_ = getpid();
    for (auto each = files_.begin(); each != files_.end();) {
      Descriptors& file = each->second;
      file.isInherited = file.isInherited || file.used > 0;
      file.used = 0;
      file.idle.clear();
      each = file.isInherited ? std::next(each) : files_.erase(each);
    }
  }

  static int openAnew(const std::string& path) {
    const int flags = O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK;
    const int number = ::open(path.c_str(), O_RDWR | flags);
    return number >= 0 ? number : ::open(path.c_str(), O_RDONLY | flags);
  }

  std::mutex mutex_;
  pid_t process_ = getpid();
  std::map<Key, Descriptors> files_{};
};

FileGuard::Descriptor::Descriptor(const std::string& path) : process_(getpid()) {
  DescriptorsOfProcess::get().open(*this, path);
}

FileGuard::Descriptor::~Descriptor() {
  if (number_ >= 0 && process_ == getpid()) DescriptorsOfProcess::get().close(*this);
}

bool FileGuard::Descriptor::lock(short kind, off_t first, off_t size) const {
#ifdef F_OFD_SETLK
  if (number_ < 0 || process_ != getpid()) return true;
  struct flock range {};
  range.l_type = kind;
  range.l_whence = SEEK_SET;
  range.l_start = first;
  range.l_len = size;
  return fcntl(number_, F_OFD_SETLK, &range) == 0 || (errno != EAGAIN && errno != EACCES);
#else
  return true;
#endif
}

FileGuard::FileGuard(std::string path) : path_(std::move(path)), file_(path_) {}

FileGuard::~FileGuard() {
  leave();
}

bool FileGuard::enter(Kind kind) {
  return file_.lock(kind == Kind::alone ? F_WRLCK : F_RDLCK, ownByte, 1);
}

bool FileGuard::stay() {
  file_.lock(F_RDLCK, sharedFirst, sharedSize);
  index_ = std::make_unique<Descriptor>(path_ + "-shm");
  index_->lock(F_RDLCK, deadMansSwitch, 1);
  return DescriptorsOfProcess::get().isIndexOf(file_, *index_);
}

void FileGuard::leave() {
  file_.lock(F_UNLCK, ownByte, 1);
  file_.lock(F_UNLCK, sharedFirst, sharedSize);
  if (index_) index_->lock(F_UNLCK, deadMansSwitch, 1);
}

}  // namespace database_client::embedded::sqlite
