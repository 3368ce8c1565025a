// SPDX-License-Identifier: Apache-2.0
#include "client/server/Repetition.h"

#include <string_view>
#include <unordered_set>

#include "client/DocumentAccess.h"

namespace database_client::server {

namespace {

// Documents by their bytes.
using Bytes = std::unordered_set<std::string_view>;

std::string_view bytesOf(const ObjectProperties& document) {
  const bson::View view = DocumentAccess::view(document);
  return {reinterpret_cast<const char*>(view.data), view.size};
}

/// Asks for documents by their "_id", as many at once as fit well into a message.
class Lookup {
 public:
  Lookup(Attempt& attempt, const Namespace& where) : attempt_(attempt), where_(where) {}

  void add(const ObjectProperties& document) {
    if (sent_.empty()) begin();
    sent_.insert(bytesOf(document));
    ids_.append(bson::IndexKey(sent_.size() - 1), DocumentAccess::view(document).find("_id"));
    constexpr std::size_t mostIds = 1000;
    constexpr std::size_t mostBytes = 1024 * 1024;
    if (sent_.size() == mostIds || ids_.size() >= mostBytes) ask();
  }
  /// Those of the documents that are stored as they were sent.
  const Bytes& finish() {
    if (!sent_.empty()) ask();
    return stored_;
  }

 private:
  void begin() {
    ids_ = bson::Writer();
    ids_.beginDocument("_id");
    ids_.beginArray("$in");
  }

  void ask() {
    const OwnedBson query(std::move(ids_));
    const Owned<mongoc_read_prefs_t> primary(mongoc_read_prefs_new(MONGOC_READ_PRIMARY));
    const Owned<mongoc_cursor_t> cursor(
        mongoc_collection_find_with_opts(attempt_.collection(where_), query.get(), nullptr, primary.get()));
    attempt_.drain(cursor.get(), [this](ObjectProperties&& found) {
      const auto same = sent_.find(bytesOf(found));
      if (same != sent_.end()) stored_.insert(*same);
      return true;
    });
    sent_.clear();
  }

  Attempt& attempt_;
  const Namespace& where_;
  bson::Writer ids_{};
  Bytes sent_{};
  Bytes stored_{};
};

bool isDuplicate(const BulkFailure& failure) {
  return failure.error.kind() == Error::Kind::duplicateKey;
}

Error withUnknownOutcome(const Error& error) {
  return {error.kind(),
          std::string(error.what()) + " (outcome unknown: the document may be the one that was sent)",
          {error.where(), error.code(), error.retryable(), true}};
}

}  // namespace

void forgiveOwnDocuments(Attempt& attempt, const Namespace& where, const std::vector<ObjectProperties>& documents,
                         std::list<BulkFailure>& failures) {
  try {
    Lookup lookup(attempt, where);
    for (const BulkFailure& failure : failures) {
      if (isDuplicate(failure)) lookup.add(documents[failure.index]);
    }
    const Bytes& stored = lookup.finish();
    failures.remove_if([&](const BulkFailure& failure) {
      return isDuplicate(failure) && stored.count(bytesOf(documents[failure.index])) > 0;
    });
  } catch (const Error&) {
    for (BulkFailure& failure : failures) {
      if (isDuplicate(failure)) failure.error = withUnknownOutcome(failure.error);
    }
  }
}

bool isStored(Attempt& attempt, const Namespace& where, const ObjectProperties& document) {
  try {
    Lookup lookup(attempt, where);
    lookup.add(document);
    return !lookup.finish().empty();
  } catch (const Error&) {
    return false;
  }
}

}  // namespace database_client::server
