// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/storage/salvage.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "client/DamageError.h"
#include "client/embedded/storage/Schema.h"
#include "client/embedded/storage/Store.h"

namespace database_client::embedded {

namespace {

/// Steps through the rows up to the place where damage ends that; false when it does. What `take` refuses, since it is
/// out of order, is damage as well: pages that lead back to themselves are walked through once.
template <class Take>
bool eachRow(sqlite::Connection& connection, const std::string& sql, const Take& take) {
  try {
    auto rows = connection.statement(sql);
    while (rows.step()) {
      if (!take(rows)) return false;
    }
    return true;
  } catch (const DamageError&) {
    return false;
  }
}

void sortOnce(std::vector<RecordNumber>& rids) {
  std::sort(rids.begin(), rids.end());
  rids.erase(std::unique(rids.begin(), rids.end()), rids.end());
}

}  // namespace

bool SalvageScan::next() {
  if (remainder_) return nextOfRemainder();
  isAhead_ = false;
  try {
    if (!rows_->next()) return end();
    rid_ = rows_->rid();
    if (firstDamage_) givenSince_.push_back(rid_);
    return true;
  } catch (const DamageError&) {
    return nextBeyondDamage();
  }
}

/// The pages of one document alone may be damaged: then the next one has a number, and the scan goes on behind it.
bool SalvageScan::nextBeyondDamage() {
  const bool isInOrder = !rows_->isOutOfOrder();
  rows_.reset();
  if (!firstDamage_) firstDamage_ = rid_;
  try {
    auto row = collection_.connection().statement("SELECT rid FROM " + schema::documentsTable(collection_.number()) +
                                                  " WHERE rid > ?1 ORDER BY rid LIMIT 1");
    if (isInOrder && !row.bind(1, rowId(rid_)).step()) return end();
    if (isInOrder && row.integer(0) > rowId(rid_)) {
      rid_ = recordNumber(row.integer(0));
      rows_.emplace(collection_, rid_);
      isAhead_ = true;
      givenSince_.push_back(rid_);
      return true;
    }
  } catch (const DamageError&) {  // There is no way on from here.
  }
  remainder_ = remainder();
  return nextOfRemainder();
}

/// All records that were not given yet. Those that were before the first damage are the ones that a walk through the
/// tree gives up to there.
SalvageRemainder SalvageScan::remainder() {
  sqlite::Connection& connection = collection_.connection();
  const std::string table = schema::documentsTable(collection_.number());
  const std::string walk =
      "SELECT rid FROM " + table + " NOT INDEXED WHERE rid > " + std::to_string(after_) + " ORDER BY rid";
  const std::string byId = "SELECT rid, id FROM " + table + " INDEXED BY sqlite_autoindex_" + table + "_1 ORDER BY id";
  // What was given before the damage is not noted while it is given, since a scan without damage would pay for it. The
  // same walk gives it again, up to the same place.
  std::vector<RecordNumber> given;
  eachRow(connection, walk, [&](sqlite::Statement& row) {
    const std::int64_t id = row.integer(0);
    const bool isGiven = id <= rowId(*firstDamage_) && (given.empty() || id > rowId(given.back()));
    if (isGiven) given.push_back(recordNumber(id));
    return isGiven;
  });
  given.insert(given.end(), givenSince_.begin(), givenSince_.end());
  sortOnce(given);
  SalvageRemainder result{};
  std::vector<RecordNumber>& rids = result.rids;
  const auto isNew = [this, &given](RecordNumber rid) {
    return rid > after_ && !std::binary_search(given.begin(), given.end(), rid);
  };
  // From the other end of the tree.
  std::int64_t before = std::numeric_limits<std::int64_t>::max();
  eachRow(connection, walk + " DESC", [&](sqlite::Statement& row) {
    const bool isInOrder = row.integer(0) < std::exchange(before, row.integer(0));
    if (isInOrder && isNew(recordNumber(before))) rids.push_back(recordNumber(before));
    return isInOrder;
  });
  // And what the index of ids names. If it can be walked whole, no document is missing without a name.
  std::string last;
  const auto takeIndexed = [&](sqlite::Statement& row, bool isInOrder) {
    last = row.text(1);
    const RecordNumber rid = recordNumber(row.integer(0));
    if (isInOrder && isNew(rid)) result.idKeys.emplace(rid, last);
    return isInOrder;
  };
  isComplete_ = eachRow(connection, byId, [&](sqlite::Statement& row) { return takeIndexed(row, row.text(1) > last); });
  if (!isComplete_) {
    last.clear();
    eachRow(connection, byId + " DESC",
            [&](sqlite::Statement& row) { return takeIndexed(row, last.empty() || row.text(1) < last); });
  }
  for (const auto& entry : result.idKeys) rids.push_back(entry.first);
  sortOnce(rids);
  return result;
}

bool SalvageScan::nextOfRemainder() {
  if (remainder_->at == remainder_->rids.size()) return end();
  rid_ = remainder_->rids[remainder_->at++];
  return true;
}

/// Nothing follows but what stands for documents that nothing leads to.
bool SalvageScan::end() {
  if (!remainder_) remainder_.emplace();
  rid_ = 0;
  return !std::exchange(isComplete_, true);
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
