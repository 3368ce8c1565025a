// SPDX-License-Identifier: Apache-2.0

// What a store says of itself.

#include "client/embedded/EmbeddedEngine.h"
#include "client/embedded/storage/Schema.h"

namespace database_client::embedded {

namespace {

long long documentBytes(sqlite::Connection& connection, const Collection& collection) {
  return connection.integer("SELECT sum(length(id) + length(body)) FROM " +
                            schema::documentsTable(collection.number()));
}

/// The blobs of a collection are one range of keys.
long long indexBytes(sqlite::Connection& connection, const Collection& collection) {
  auto row = connection.statement("SELECT sum(length(bytes)) FROM blobs WHERE key BETWEEN ?1 AND ?2");
  row.bind(1, ItemIndex::firstKey(collection.number()));
  row.bind(2, ItemIndex::lastKey(collection.number()));
  return row.step() ? row.integer(0) : 0;
}

}  // namespace

AccessControl EmbeddedEngine::accessControl() {
  const Store::Reading reading(store_);
  return login_.isControlled() ? AccessControl::on : AccessControl::off;
}

StoreDescription EmbeddedEngine::describe() {
  const Store::Reading reading(store_);
  sqlite::Connection& connection = store_.connection();
  const std::int64_t pageSize = connection.integer("PRAGMA page_size");
  StoreDescription result;
  result.format = "file, format " + std::to_string(schema::versionOf(connection));
  result.bytes = pageSize * connection.integer("PRAGMA page_count");
  result.freeBytes = pageSize * connection.integer("PRAGMA freelist_count");
  return result;
}

CollectionSize EmbeddedEngine::collectionSize(const Namespace& where) {
  const Store::Reading reading(store_);
  CollectionSize result{0, 0, 0};
  Collection* const collection = this->reading(where, "measure");
  if (collection == nullptr) return result;
  result.documents = collection->count();
  result.documentBytes = documentBytes(store_.connection(), *collection);
  result.indexBytes = indexBytes(store_.connection(), *collection);
  return result;
}

}  // namespace database_client::embedded
