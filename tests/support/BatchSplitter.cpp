// SPDX-License-Identifier: Apache-2.0
#include "tests/support/BatchSplitter.h"

namespace database_test {

namespace {

/// What a reply says of its cursor.
struct Batch {
  std::int64_t cursor = 0;
  std::string ns{};
  const char* name = nullptr;  ///< "firstBatch" or "nextBatch"
  std::vector<Bytes> documents{};
};

Bytes documentUnder(const bson_iter_t& at) {
  const std::uint8_t* data = nullptr;
  std::uint32_t size = 0;
  bson_iter_document(&at, &size, &data);
  return {data, data + size};
}

std::optional<Batch> batchIn(const bson_t* reply) {
  bson_iter_t top;
  bson_iter_t cursor;
  if (!bson_iter_init_find(&top, reply, "cursor") || !bson_iter_recurse(&top, &cursor)) return std::nullopt;
  Batch batch;
  while (bson_iter_next(&cursor)) {
    const std::string key = bson_iter_key(&cursor);
    bson_iter_t document;
    if (key == "id") batch.cursor = bson_iter_as_int64(&cursor);
    if (key == "ns") batch.ns = bson_iter_utf8(&cursor, nullptr);
    if (key != "firstBatch" && key != "nextBatch") continue;
    batch.name = key == "firstBatch" ? "firstBatch" : "nextBatch";
    bson_iter_recurse(&cursor, &document);
    while (bson_iter_next(&document)) batch.documents.push_back(documentUnder(document));
  }
  if (batch.name == nullptr) return std::nullopt;
  return batch;
}

void appendCursor(bson_t* reply, const Batch& batch) {
  const Bson documents(bson_new());
  for (std::size_t i = 0; i < batch.documents.size(); ++i) {
    const bson_t document = documentAt(batch.documents[i], 0);
    bson_append_document(documents.get(), std::to_string(i).c_str(), -1, &document);
  }
  const Bson cursor(bson_new());
  bson_append_int64(cursor.get(), "id", -1, batch.cursor);
  bson_append_utf8(cursor.get(), "ns", -1, batch.ns.c_str(), -1);
  bson_append_array(cursor.get(), batch.name, -1, documents.get());
  bson_append_document(reply, "cursor", -1, cursor.get());
}

std::deque<std::vector<Bytes>> piecesOf(std::vector<Bytes>&& documents) {
  if (documents.size() < 2) return {std::move(documents)};
  const auto half = documents.begin() + static_cast<std::ptrdiff_t>(documents.size() / 2);
  return {{documents.begin(), half}, {}, {half, documents.end()}};
}

}  // namespace

Bson BatchSplitter::holdBack(const bson_t* reply) {
  std::optional<Batch> batch = batchIn(reply);
  if (!batch) return Bson(bson_copy(reply));
  const bool isOfServer = batch->cursor != 0;
  if (!isOfServer) batch->cursor = nextOwn_++;
  cursors_[batch->cursor] = {batch->ns, isOfServer, piecesOf(std::move(batch->documents))};
  batch->documents.clear();
  ++emptyBatches_;
  Bson changed(bson_new());
  bson_iter_t at;
  bson_iter_init(&at, reply);
  while (bson_iter_next(&at)) {
    const std::string key = bson_iter_key(&at);
    if (key == "cursor") {
      appendCursor(changed.get(), *batch);
    } else {
      bson_append_iter(changed.get(), key.c_str(), -1, &at);
    }
  }
  return changed;
}

std::optional<Bson> BatchSplitter::next(std::int64_t cursor) {
  const auto found = cursors_.find(cursor);
  if (found == cursors_.end()) return std::nullopt;
  auto& [ns, isOfServer, pieces] = found->second;
  Batch batch{cursor, ns, "nextBatch", std::move(pieces.front())};
  pieces.pop_front();
  if (batch.documents.empty() && !pieces.empty()) ++emptyBatches_;
  if (pieces.empty()) {
    if (!isOfServer) batch.cursor = 0;
    cursors_.erase(found);
  }
  Bson reply(bson_new());
  appendCursor(reply.get(), batch);
  bson_append_double(reply.get(), "ok", -1, 1);
  return reply;
}

bool BatchSplitter::forget(std::int64_t cursor) {
  const auto found = cursors_.find(cursor);
  const bool isOwn = found != cursors_.end() && !found->second.isOfServer;
  if (found != cursors_.end()) cursors_.erase(found);
  return isOwn;
}

}  // namespace database_test
