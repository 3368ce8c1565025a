// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/sqlite/throwError.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>

#include "client/DamageError.h"

namespace database_client::embedded::sqlite {

namespace {

constexpr int primaryCodeMask = 0xFF;

/// What only a file that is not as it was written brings about: a statement of ours that makes no sense to the schema,
/// a value of another type, two rows of one key.
constexpr std::array signsOfDamage = {SQLITE_CORRUPT,    SQLITE_NOTADB,   SQLITE_FORMAT, SQLITE_ERROR,
                                      SQLITE_CONSTRAINT, SQLITE_MISMATCH, SQLITE_EMPTY,  SQLITE_NOTFOUND};
constexpr std::array readsOfDamage = {SQLITE_IOERR_SHORT_READ, SQLITE_IOERR_CORRUPTFS, SQLITE_IOERR_DATA};

template <std::size_t size>
bool isOneOf(const std::array<int, size>& codes, int code) {
  return std::find(codes.begin(), codes.end(), code) != codes.end();
}

bool isDamage(int code) {
  return isOneOf(signsOfDamage, code & primaryCodeMask) || isOneOf(readsOfDamage, code);
}

const char* reason(int code) {
  switch (code & primaryCodeMask) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return "another process or client holds the store for longer than the time allowed";
    case SQLITE_FULL:
      return "no space is left on the device";
    case SQLITE_READONLY:
      return code == SQLITE_READONLY_DBMOVED ? "the file was removed or replaced" : "the file can only be read";
    case SQLITE_IOERR:
    case SQLITE_NOLFS:
      return "the file cannot be read or written";
    case SQLITE_CANTOPEN:
      return "the file cannot be opened";
    case SQLITE_PERM:
    case SQLITE_AUTH:
      return "access is denied";
    case SQLITE_TOOBIG:
      return "a value is too long";
    case SQLITE_NOMEM:
      // A damaged length asks for any amount.
      return "there is not enough memory, or the file is damaged";
    case SQLITE_PROTOCOL:
    case SQLITE_SCHEMA:
      return "others changed it again and again meanwhile";
    case SQLITE_INTERRUPT:
    case SQLITE_ABORT:
      return "the operation was broken off";
    default:
      return "the library that reads the file refuses it";
  }
}

bool isLock(int code) {
  const int primary = code & primaryCodeMask;
  return primary == SQLITE_BUSY || primary == SQLITE_LOCKED;
}

}  // namespace

void fail(int code, const std::string& file, const char* doing) {
  if (isDamage(code)) {
    throw DamageError("store " + file + ": cannot " + doing + ": " +
                          (code == SQLITE_NOTADB ? "the file is not a store" : "the file is damaged"),
                      file);
  }
  Error::Details details;
  details.where = file;
  details.retryable = isLock(code);
  throw Error(isLock(code) ? Error::Kind::timeout : Error::Kind::storage,
              "store " + file + ": cannot " + doing + ": " + reason(code), details);
}

}  // namespace database_client::embedded::sqlite
