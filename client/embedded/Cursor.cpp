// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/Cursor.h"

#include <algorithm>
#include <utility>

#include "client/DocumentAccess.h"
#include "client/bson/Writer.h"
#include "client/embedded/AccessPath.h"
#include "client/embedded/storage/idOfKey.h"

namespace database_client::embedded {

using bson::Element;
using bson::View;

namespace {

/// A user as others may see it.
std::vector<bson::Byte> withoutCredentials(View user) {
  bson::Writer writer;
  for (const Element& element : user) {
    if (element.key != "credentials" && element.key != "userId") writer.append(element.key, element.value);
  }
  return writer.take();
}

}  // namespace

Cursor::Cursor(Collection* collection, const Filter& filter, Page page, const CursorUse& use)
    : collection_(collection), filter_(filter), page_(page), use_(use) {
  // What makes no sense is refused also where there is nothing to be matched.
  if (!filter.namesOneId()) filter.matcher();
  if (collection == nullptr) return;
  const std::uint64_t matches = page.limit == 0 ? 0 : page.limit + page.skip;
  const PathHints hints{use.documentsAreRead, use.unreadable != nullptr, matches, use.after, use.order};
  candidates_ = chooseAccessPath(*collection, filter, hints);
}

Cursor::~Cursor() = default;

const std::string& Cursor::indexName() const {
  static const std::string none;
  return candidates_ ? candidates_->index() : none;
}

bool Cursor::next() {
  if (materialized_) return nextAhead();
  if (page_.limit != 0 && handed_ == page_.limit) return false;
  for (; page_.skip > 0; --page_.skip) {
    if (!nextMatch()) return false;
  }
  ++handed_;
  return nextMatch();
}

bool Cursor::nextMatch() {
  while (candidates_) {
    try {
      if (!candidates_->next()) return false;
      collection_->checkWanted();
      isRead_ = false;
      if (isMatch()) return true;
    } catch (const DamageError& error) {
      if (!isPassedOver(error)) throw;
      // Whoever is told may use the store.
      if (materialized_) return nextAhead();
    }
  }
  return false;
}

bool Cursor::isMatch() {
  if (candidates_->recheck()) return filter_.matcher().matches(body());
  // What cannot be read is to be known before the match is handed over.
  if (use_.unreadable != nullptr && use_.bodiesAreWanted) read();
  return true;
}

/// Whether whoever reads was told and goes on.
bool Cursor::isPassedOver(const DamageError& error) {
  if (use_.unreadable == nullptr) return false;
  const std::vector<bson::Byte> id = idOfKey(candidates_->idKey());
  return (*use_.unreadable)(DocumentAccess::adopt({id.data(), id.size()}), error);
}

View Cursor::body() {
  if (materialized_) return {current_.data(), current_.size()};
  if (!isRead_) read();
  return body_;
}

RecordNumber Cursor::rid() const {
  return candidates_->rid();
}

/// Makes the current document of the key of its "_id", where that is all that is wanted and the key tells it whole: of
/// numbers and texts it does not tell the kind.
bool Cursor::cover() {
  if (!use_.isIdEnough || candidates_->recheck()) return false;
  const std::string_view key = candidates_->coveredId();
  if (!isKeyOfObjectId(key)) return false;
  std::copy(key.begin() + 1, key.end(), covered_.end() - 1 - bson::objectIdSize);
  body_ = {covered_.data(), covered_.size()};
  isRead_ = true;
  return true;
}

void Cursor::read() {
  isCovered_ = cover();
  if (isCovered_) return;
  body_ = candidates_->body();
  if (collection_->holdsCredentials()) {
    redacted_ = withoutCredentials(body_);
    body_ = {redacted_.data(), redacted_.size()};
  }
  isRead_ = true;
  ++examined_;
}

void Cursor::materialize() {
  if (materialized_) return;
  try {
    while (next()) {
      const View document = body();
      ahead_.emplace_back(document.data, document.data + document.size);
    }
  } catch (...) {
    failure_ = std::current_exception();  // It is the reader's to see, not the writer's.
  }
  candidates_.reset();
  isCovered_ = false;
  materialized_ = true;
}

bool Cursor::nextAhead() {
  if (ahead_.empty()) {
    if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
    return false;
  }
  current_ = std::move(ahead_.front());
  ahead_.pop_front();
  return true;
}

}  // namespace database_client::embedded
