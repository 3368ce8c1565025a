// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "client/embedded/index/items/ItemIndex.h"
#include "client/embedded/index/plan/selectRecords.h"
#include "tests/client/embedded/index/MemoryBlobStore.h"
#include "tests/client/embedded/index/RandomDocuments.h"

namespace database_client::embedded {

/// Documents and their index, whose limits are so low that a few documents make segments, blocks and merges.
class IndexedDocuments : public testing::Test {
 protected:
  IndexedDocuments() {
    ItemIndex::Options options;
    options.memtableLimit = 200;
    options.fanOut = 3;
    options.smallFanOut = 4;
    options.blockSize = 256;
    options.chunkSize = 64;
    index_ = std::make_unique<ItemIndex>(store_, 1, options);
  }

  void put(RecordNumber record, Bytes body) {
    const auto before = documents_.find(record);
    if (before == documents_.end()) {
      index_->add(record, viewOf(body));
    } else {
      index_->replace(record, viewOf(before->second), viewOf(body));
    }
    documents_[record] = std::move(body);
  }
  void put(RecordNumber record, const std::string& json) { put(record, fromJson(json)); }
  void remove(RecordNumber record) {
    index_->remove(record, viewOf(documents_.at(record)));
    documents_.erase(record);
  }

  /// The documents as those of a collection, whose reading is counted in `read_`.
  DocumentSource source() {
    const auto read = [this](RecordNumber record) {
      ++read_;
      const auto found = documents_.find(record);
      return found == documents_.end() ? bson::View{} : viewOf(found->second);
    };
    const auto last = documents_.empty() ? RecordNumber{0} : documents_.rbegin()->first;
    return {last, read, [this] { return static_cast<std::uint64_t>(documents_.size()); }};
  }

  int read_ = 0;
  MemoryBlobStore store_;
  std::unique_ptr<ItemIndex> index_;
  std::map<RecordNumber, Bytes> documents_;
};

}  // namespace database_client::embedded
