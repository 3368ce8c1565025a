// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/storage/generation.h"

#include <sqlite3.h>

#include <string>

#include "client/DamageError.h"
#include "client/embedded/sqlite/Transaction.h"

namespace database_client::embedded::generation {

namespace {

using sqlite::Connection;

// The highest bit tells that there is one, so that all other numbers are versions as they stand.
constexpr std::uint32_t mark = 0x80000000;
constexpr std::uint32_t versionBits = 0xFF;
constexpr std::int64_t userVersionAt = 60;
constexpr std::int64_t firstVersion = 2;  ///< of the format that has one
/// Collections, whose blobs the others are, are numbered from 1.
constexpr const char* read = "SELECT bytes FROM blobs WHERE key = 0";
constexpr const char* write = "INSERT OR REPLACE INTO blobs(key, bytes) VALUES(0, ?1)";

bool isMarked(std::int64_t userVersion) {
  return (static_cast<std::uint32_t>(userVersion) & mark) != 0;
}

/// 0 where there is none.
std::uint32_t generationIn(std::int64_t userVersion) {
  return isMarked(userVersion) ? static_cast<std::uint32_t>(userVersion) & ~versionBits : 0;
}

/// What the file itself says, whatever is in the log.
std::uint32_t generationOfFile(const Connection& connection) {
  std::uint8_t bytes[4] = {};
  connection.readRaw(bytes, sizeof bytes, userVersionAt);
  std::uint32_t number = 0;
  for (const std::uint8_t byte : bytes) number = number << 8U | byte;
  return generationIn(number);
}

std::string inBytes(std::uint32_t current, std::uint32_t before) {
  std::string bytes;
  for (const std::uint32_t number : {current, before}) {
    for (unsigned shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(number >> shift & 0xFFU);
  }
  return bytes;
}

}  // namespace

std::int64_t versionIn(std::int64_t userVersion) {
  return isMarked(userVersion) ? userVersion & versionBits : userVersion;
}

std::int64_t withVersion(std::int64_t userVersion, std::int64_t version) {
  const std::uint32_t generation = generationIn(userVersion);
  return generation == 0 ? version : static_cast<std::int32_t>(generation | static_cast<std::uint32_t>(version));
}

bool fits(Connection& connection) {
  const sqlite::Transaction snapshot(connection, sqlite::Transaction::Kind::read);
  // The snapshot begins with the first statement, and then keeps others from beginning a log that goes on from it.
  const std::uint32_t current = generationIn(connection.integer("PRAGMA user_version"));
  const std::uint32_t ofFile = generationOfFile(connection);
  // Without a log, or with one whose first page has come into the file.
  if (current == ofFile) return true;
  try {
    auto known = connection.statement(read);
    if (!known.step()) return false;
    return known.text(0) == inBytes(current, ofFile);
  } catch (const DamageError&) {  // Pages of two stores make none.
    return false;
  }
}

void renew(Connection& connection) {
  const std::int64_t before = connection.integer("PRAGMA user_version");
  if (versionIn(before) < firstVersion) return;
  std::uint32_t random = 0;
  // Not 0, which stands for none.
  while ((random & ~mark & ~versionBits) == 0) sqlite3_randomness(sizeof random, &random);
  const std::uint32_t current = (random | mark) & ~versionBits;
  const std::string numbers = inBytes(current, generationIn(before));
  connection.statement(write).bindBlob(1, numbers.data(), numbers.size()).run();
  connection.execute("PRAGMA user_version=" + std::to_string(withVersion(current, versionIn(before))));
}

}  // namespace database_client::embedded::generation
