#include "client/embedded/sqlite/Failure.h"

#include <sqlite3.h>

#include "database_client/Error.h"

namespace database_client::embedded::sqlite {

namespace {

constexpr int primaryCodeMask = 0xFF;

const char* reason(int code) {
  switch (code & primaryCodeMask) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return "another process or client holds the store for longer than the time allowed";
    case SQLITE_FULL:
      return "no space is left on the device";
    case SQLITE_READONLY:
      return code == SQLITE_READONLY_DBMOVED ? "the file was removed or replaced" : "the file can only be read";
    case SQLITE_CORRUPT:
      return "the file is damaged";
    case SQLITE_NOTADB:
      return "the file is not a store";
    case SQLITE_IOERR:
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
    default:
      return sqlite3_errstr(code);
  }
}

bool isLock(int code) {
  const int primary = code & primaryCodeMask;
  return primary == SQLITE_BUSY || primary == SQLITE_LOCKED;
}

}  // namespace

void fail(int code, const std::string& file, const char* doing) {
  Error::Details details;
  details.where = file;
  details.retryable = isLock(code);
  throw Error(isLock(code) ? Error::Kind::timeout : Error::Kind::storage,
              "store " + file + ": cannot " + doing + ": " + reason(code), details);
}

}  // namespace database_client::embedded::sqlite
