// SPDX-License-Identifier: Apache-2.0
#include "tests/client/embedded/durability/FaultyFiles.h"

#include <sqlite3.h>

#include <cstdlib>
#include <utility>

namespace database_client {

namespace {

struct State {
  sqlite3_vfs* real = nullptr;
  sqlite3_vfs faulty{};
  long untilFault = 0;  // 0: none
  bool forGood = false;
  FaultyFiles::Fault fault = FaultyFiles::Fault::inputOutput;
  bool hit = false;
  std::function<void()> afterSize{};
  std::function<void(FileChange&&)> listener{};
};
State state;

/// A file of ours, with the real one in the memory behind it.
struct File {
  sqlite3_file base;
  const char* name;  // SQLite keeps it as long as the file is open.
  sqlite3_file* real() { return reinterpret_cast<sqlite3_file*>(this + 1); }
};

sqlite3_file* realOf(sqlite3_file* file) {
  return reinterpret_cast<File*>(file)->real();
}

/// Passes on whether something was done, telling of it.
int told(int code, FileChange::Kind kind, const char* name, sqlite3_int64 offset = 0, const void* bytes = nullptr,
         int size = 0) {
  if (code != SQLITE_OK || !state.listener || name == nullptr) return code;
  state.listener({kind, name, offset, std::string(static_cast<const char*>(bytes), static_cast<std::size_t>(size))});
  return code;
}

const char* nameOf(sqlite3_file* file) {
  return reinterpret_cast<File*>(file)->name;
}

/// The code of a fault that hits now; SQLITE_OK for none. A full device takes no more bytes, and does all the rest.
int faultNow(int inputOutputCode) {
  if (state.untilFault == 0) return SQLITE_OK;
  if (state.fault == FaultyFiles::Fault::full && inputOutputCode != SQLITE_IOERR_WRITE) return SQLITE_OK;
  if (state.untilFault > 1) {
    --state.untilFault;
    return SQLITE_OK;
  }
  if (!state.forGood) state.untilFault = 0;
  state.hit = true;
  return state.fault == FaultyFiles::Fault::full ? SQLITE_FULL : inputOutputCode;
}

int closeFile(sqlite3_file* file) {
  return realOf(file)->pMethods->xClose(realOf(file));
}
int readFile(sqlite3_file* file, void* bytes, int size, sqlite3_int64 offset) {
  return realOf(file)->pMethods->xRead(realOf(file), bytes, size, offset);
}
int writeFile(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 offset) {
  const int fault = faultNow(SQLITE_IOERR_WRITE);
  if (fault != SQLITE_OK) return fault;
  const int code = realOf(file)->pMethods->xWrite(realOf(file), bytes, size, offset);
  return told(code, FileChange::Kind::write, nameOf(file), offset, bytes, size);
}
int truncateFile(sqlite3_file* file, sqlite3_int64 size) {
  const int fault = faultNow(SQLITE_IOERR_TRUNCATE);
  if (fault != SQLITE_OK) return fault;
  return told(realOf(file)->pMethods->xTruncate(realOf(file), size), FileChange::Kind::truncate, nameOf(file), size);
}
int syncFile(sqlite3_file* file, int flags) {
  const int fault = faultNow(SQLITE_IOERR_FSYNC);
  if (fault != SQLITE_OK) return fault;
  return told(realOf(file)->pMethods->xSync(realOf(file), flags), FileChange::Kind::sync, nameOf(file));
}
int fileSize(sqlite3_file* file, sqlite3_int64* size) {
  const int code = realOf(file)->pMethods->xFileSize(realOf(file), size);
  if (const auto work = std::exchange(state.afterSize, nullptr)) work();
  return code;
}
int lockFile(sqlite3_file* file, int level) {
  return realOf(file)->pMethods->xLock(realOf(file), level);
}
int unlockFile(sqlite3_file* file, int level) {
  return realOf(file)->pMethods->xUnlock(realOf(file), level);
}
int checkReservedLock(sqlite3_file* file, int* result) {
  return realOf(file)->pMethods->xCheckReservedLock(realOf(file), result);
}
int controlFile(sqlite3_file* file, int operation, void* argument) {
  return realOf(file)->pMethods->xFileControl(realOf(file), operation, argument);
}
int sectorSize(sqlite3_file* file) {
  return realOf(file)->pMethods->xSectorSize(realOf(file));
}
int deviceCharacteristics(sqlite3_file* file) {
  return realOf(file)->pMethods->xDeviceCharacteristics(realOf(file));
}
int mapShared(sqlite3_file* file, int region, int size, int extend, void volatile** memory) {
  return realOf(file)->pMethods->xShmMap(realOf(file), region, size, extend, memory);
}
int lockShared(sqlite3_file* file, int offset, int count, int flags) {
  return realOf(file)->pMethods->xShmLock(realOf(file), offset, count, flags);
}
void barrier(sqlite3_file* file) {
  realOf(file)->pMethods->xShmBarrier(realOf(file));
}
int unmapShared(sqlite3_file* file, int remove) {
  return realOf(file)->pMethods->xShmUnmap(realOf(file), remove);
}
int fetch(sqlite3_file* file, sqlite3_int64 offset, int size, void** page) {
  return realOf(file)->pMethods->xFetch(realOf(file), offset, size, page);
}
int unfetch(sqlite3_file* file, sqlite3_int64 offset, void* page) {
  return realOf(file)->pMethods->xUnfetch(realOf(file), offset, page);
}

const sqlite3_io_methods methods = {
    3,
    closeFile,
    readFile,
    writeFile,
    truncateFile,
    syncFile,
    fileSize,
    lockFile,
    unlockFile,
    checkReservedLock,
    controlFile,
    sectorSize,
    deviceCharacteristics,
    mapShared,
    lockShared,
    barrier,
    unmapShared,
    fetch,
    unfetch,
};

int openFile(sqlite3_vfs* /*vfs*/, const char* name, sqlite3_file* file, int flags, int* outFlags) {
  file->pMethods = nullptr;
  reinterpret_cast<File*>(file)->name = name;
  const int code = state.real->xOpen(state.real, name, realOf(file), flags, outFlags);
  if (code == SQLITE_OK) file->pMethods = &methods;
  return code;
}

int deleteFile(sqlite3_vfs* /*vfs*/, const char* name, int syncFolder) {
  const int fault = faultNow(SQLITE_IOERR_DELETE);
  if (fault != SQLITE_OK) return fault;
  return told(state.real->xDelete(state.real, name, syncFolder), FileChange::Kind::remove, name);
}

}  // namespace

FaultyFiles::FaultyFiles() {
  sqlite3_initialize();
  state = State();
  state.real = sqlite3_vfs_find(nullptr);
  state.faulty = *state.real;
  state.faulty.zName = "faulty";
  state.faulty.pNext = nullptr;
  state.faulty.szOsFile = static_cast<int>(sizeof(File)) + state.real->szOsFile;
  state.faulty.xOpen = openFile;
  state.faulty.xDelete = deleteFile;
  if (sqlite3_vfs_register(&state.faulty, 1) != SQLITE_OK) std::abort();
}

FaultyFiles::~FaultyFiles() {
  sqlite3_vfs_unregister(&state.faulty);
  sqlite3_vfs_register(state.real, 1);
}

void FaultyFiles::failAt(long nth, bool forGood, Fault fault) {
  state.untilFault = nth;
  state.forGood = forGood;
  state.fault = fault;
  state.hit = false;
}

void FaultyFiles::failNoMore() {
  state.untilFault = 0;
}

void FaultyFiles::tell(std::function<void(FileChange&&)> listener) {
  state.listener = std::move(listener);
}

void FaultyFiles::afterNextSize(std::function<void()> work) {
  state.afterSize = std::move(work);
}

bool FaultyFiles::hasHit() {
  return state.hit;
}

}  // namespace database_client
