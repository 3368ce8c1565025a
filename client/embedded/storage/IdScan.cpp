// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/storage/IdScan.h"

#include <algorithm>
#include <utility>

#include "client/bson/Writer.h"
#include "client/embedded/query/values/compare.h"
#include "client/embedded/storage/Schema.h"
#include "client/embedded/storage/idOfKey.h"

namespace database_client::embedded {

using bson::Byte;
using bson::View;

namespace {

/// The first byte of a key, which tells the kind of its value.
int kindOf(const std::string& key) {
  return key.empty() ? 0 : static_cast<unsigned char>(key.front());
}

/// Ascending, the first key that may come; descending, the last one that may not.
std::string boundOf(const IdOrder& order) {
  if (isMissing(order.after)) return order.isDescending ? "\xff" : "";
  std::string key = canonicalKey(order.after);
  if (isKeyOfObjectId(key)) return order.isDescending ? key : key + '\0';
  // The whole kind is gathered, and what is before `after` left out then.
  return std::string(1, static_cast<char>(kindOf(key) + (order.isDescending ? 1 : 0)));
}

std::string textOf(const Collection& collection, bool isDescending) {
  return "SELECT rid, id FROM " + schema::documentsTable(collection.number()) +
         (isDescending ? " WHERE id < ?1 ORDER BY id DESC" : " WHERE id >= ?1 ORDER BY id");
}

}  // namespace

IdScan::IdScan(Collection& collection, const IdOrder& order)
    : collection_(collection),
      order_(order),
      bound_(boundOf(order)),
      statement_(collection.connection().statement(textOf(collection, order.isDescending))),
      reader_(collection) {
  statement_.bindBlob(1, bound_.data(), bound_.size());
}

bool IdScan::next() {
  while (gathered_.empty()) {
    if (!ahead_ && !step()) return false;
    if (isKeyOfObjectId(ahead_->key)) {
      current_ = *std::exchange(ahead_, std::nullopt);
      return true;
    }
    gather();
  }
  current_ = std::move(gathered_.back());
  gathered_.pop_back();
  return true;
}

bool IdScan::step() {
  if (isAtEnd_ || !statement_.step()) {
    isAtEnd_ = true;  // Stepped once more, a statement begins anew.
    return false;
  }
  ahead_ = Entry{recordNumber(statement_.integer(0)), std::string(statement_.text(1)), {}};
  return true;
}

/// Takes all of the kind that `ahead_` is of.
void IdScan::gather() {
  const int kind = kindOf(ahead_->key);
  const bool isKindOfAfter = !isMissing(order_.after) && typeClass(order_.after) == kind;
  const int sign = order_.isDescending ? -1 : 1;
  do {
    collection_.checkWanted();
    ahead_->id = idOf(*ahead_);
    const bool isBehind = !isKindOfAfter || sign * compare(valueOf(*ahead_), order_.after) > 0;
    if (isBehind) gathered_.push_back(std::move(*ahead_));
    ahead_.reset();
  } while (step() && kindOf(ahead_->key) == kind);
  std::sort(gathered_.begin(), gathered_.end(), [sign](const Entry& left, const Entry& right) {
    return sign * compare(valueOf(left), valueOf(right)) > 0;
  });
}

/// From the key, where that has all there is to know of the value.
std::vector<Byte> IdScan::idOf(const Entry& entry) {
  std::vector<Byte> id = idOfKey(entry.key);
  if (!View{id.data(), id.size()}.empty()) return id;
  bson::Writer writer;
  writer.append("_id", reader_.require(entry.rid).find("_id"));
  return writer.take();
}

View IdScan::body() {
  const View found = reader_.require(current_.rid);
  if (canonicalKey(found.find("_id")) != current_.key) {
    collection_.refuse("the index of ids of " + collection_.label() + " is damaged");
  }
  return found;
}

}  // namespace database_client::embedded
