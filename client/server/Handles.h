// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <mongoc/mongoc.h>

#include <memory>
#include <utility>
#include <vector>

#include "client/bson/View.h"
#include "client/bson/Writer.h"

/// Owners of what the driver hands out; each frees its object on every way out of a scope.
namespace database_client::server {

struct Release {
  void operator()(mongoc_uri_t* uri) const noexcept { mongoc_uri_destroy(uri); }
  void operator()(mongoc_client_t* client) const noexcept { mongoc_client_destroy(client); }
  void operator()(mongoc_collection_t* collection) const noexcept { mongoc_collection_destroy(collection); }
  void operator()(mongoc_database_t* database) const noexcept { mongoc_database_destroy(database); }
  void operator()(mongoc_cursor_t* cursor) const noexcept { mongoc_cursor_destroy(cursor); }
  void operator()(mongoc_read_prefs_t* preferences) const noexcept { mongoc_read_prefs_destroy(preferences); }
  void operator()(mongoc_apm_callbacks_t* callbacks) const noexcept { mongoc_apm_callbacks_destroy(callbacks); }
  void operator()(mongoc_stream_t* stream) const noexcept { mongoc_stream_destroy(stream); }
};
template <class Object>
using Owned = std::unique_ptr<Object, Release>;

/// Takes the reply of one driver call, which initialises it whatever the outcome.
class Reply {
 public:
  Reply() { bson_init(&value_); }
  ~Reply() { bson_destroy(&value_); }
  Reply(const Reply&) = delete;
  Reply& operator=(const Reply&) = delete;

  bson_t* get() { return &value_; }
  bson::View view() const { return {bson_get_data(&value_), value_.len}; }

 private:
  bson_t value_;
};

/// Lends bytes to the driver as its own document type, without a copy.
class BorrowedBson {
 public:
  explicit BorrowedBson(bson::View document) { bson_init_static(&value_, document.data, document.size); }

  const bson_t* get() const { return &value_; }

 private:
  bson_t value_{};
};

/// A document that was written for the driver, bytes and all.
class OwnedBson {
 public:
  explicit OwnedBson(bson::Writer&& writer) : bytes_(writer.take()), borrowed_({bytes_.data(), bytes_.size()}) {}
  ~OwnedBson() = default;
  OwnedBson(const OwnedBson&) = delete;
  OwnedBson& operator=(const OwnedBson&) = delete;

  const bson_t* get() const { return borrowed_.get(); }

 private:
  std::vector<bson::Byte> bytes_;
  BorrowedBson borrowed_;
};

}  // namespace database_client::server
