#include "client/embedded/salvage.h"

#include <algorithm>
#include <utility>

#include "client/embedded/DamageError.h"
#include "client/embedded/Schema.h"
#include "client/embedded/Store.h"

namespace database_client::embedded {

namespace {

/// Steps through the rows up to the place where damage ends that; false when it does.
template <class Take>
bool eachRow(sqlite::Connection& connection, const std::string& sql, const Take& take) {
  try {
    auto rows = connection.statement(sql);
    while (rows.step()) take(rows);
    return true;
  } catch (const DamageError&) {
    return false;
  }
}

void sortOnce(std::vector<std::int64_t>& rids) {
  std::sort(rids.begin(), rids.end());
  rids.erase(std::unique(rids.begin(), rids.end()), rids.end());
}

}  // namespace

bool SalvageScan::next() {
  if (remainder_) return nextOfRemainder();
  isAhead_ = false;
  try {
    if (!rows_->next()) return false;
    rid_ = rows_->rid();
    return true;
  } catch (const DamageError&) {
    return nextBeyondDamage();
  }
}

/// The pages of one document alone may be damaged: then the next one has a number, and the scan goes on behind it.
bool SalvageScan::nextBeyondDamage() {
  rows_.reset();
  try {
    auto row = collection_.connection().statement("SELECT rid FROM " + schema::documentsTable(collection_.number()) +
                                                  " WHERE rid > ?1 ORDER BY rid LIMIT 1");
    if (!row.bind(1, rid_).step()) return false;
    rid_ = row.integer(0);
    rows_.emplace(collection_, rid_);
    isAhead_ = true;
    return true;
  } catch (const DamageError&) {
    remainder_ = remainder();
    return nextOfRemainder();
  }
}

SalvageScan::Remainder SalvageScan::remainder() {
  sqlite::Connection& connection = collection_.connection();
  const std::string table = schema::documentsTable(collection_.number());
  const std::string byId = "SELECT rid, id FROM " + table + " INDEXED BY sqlite_autoindex_" + table + "_1 ORDER BY id";
  Remainder result{};
  std::vector<std::int64_t>& rids = result.rids;
  eachRow(connection, "SELECT rid FROM " + table + " NOT INDEXED ORDER BY rid DESC", [&](sqlite::Statement& row) {
    if (row.integer(0) > rid_) rids.push_back(row.integer(0));
  });
  sortOnce(rids);
  const std::size_t ofTable = rids.size();
  const auto takeIndexed = [&](sqlite::Statement& row) {
    const std::int64_t rid = row.integer(0);
    const auto end = rids.begin() + static_cast<std::ptrdiff_t>(ofTable);
    if (rid <= rid_ || std::binary_search(rids.begin(), end, rid)) return;
    const sqlite::Blob key = row.blob(1);
    result.idKeys.emplace(rid, std::string(reinterpret_cast<const char*>(key.data), key.size));
  };
  result.isWhole = eachRow(connection, byId, takeIndexed);
  if (!result.isWhole) eachRow(connection, byId + " DESC", takeIndexed);
  for (const auto& entry : result.idKeys) rids.push_back(entry.first);
  sortOnce(rids);
  return result;
}

bool SalvageScan::nextOfRemainder() {
  if (remainder_->at < remainder_->rids.size()) {
    rid_ = remainder_->rids[remainder_->at++];
    return true;
  }
  rid_ = 0;
  return !std::exchange(remainder_->isWhole, true);
}

bson::View SalvageScan::body() {
  if (rid_ == 0) {
    throw DamageError("pages of " + collection_.label() + " cannot be read; how many documents they held is not known");
  }
  if (rows_ && !isAhead_) return rows_->body();
  return reader_.require(rid_);
}

std::string SalvageScan::idKey() {
  if (rid_ == 0) return {};
  if (remainder_) {
    const auto known = remainder_->idKeys.find(rid_);
    if (known != remainder_->idKeys.end()) return known->second;
  }
  return collection_.idKeyOf(rid_);
}

}  // namespace database_client::embedded
