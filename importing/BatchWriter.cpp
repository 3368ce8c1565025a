// SPDX-License-Identifier: Apache-2.0
#include "importing/BatchWriter.h"

#include <utility>

namespace database_provider::importing {

namespace {

constexpr std::size_t mostDocuments = 1000;
constexpr std::size_t mostBytes = 8U << 20U;

}  // namespace

void BatchWriter::add(std::unique_ptr<ObjectProperties> document, RowOrigin origin, std::size_t size) {
  documents_.push_back(std::move(document));
  origins_.push_back(std::move(origin));
  size_ += size;
  if (documents_.size() >= mostDocuments || size_ >= mostBytes) flush();
}

void BatchWriter::flush() {
  if (documents_.empty()) return;
  std::vector<const ObjectProperties*> pointers;
  pointers.reserve(documents_.size());
  for (const auto& document : documents_) pointers.push_back(document.get());
  std::vector<std::string> ids;
  const auto failures = client_.insertMany(place_.database, place_.collection, pointers, ids);
  for (const auto& failure : failures) {
    const bool isKnownId = failure.error.kind() == database_client::Error::Kind::duplicateKey;
    const std::string column = isKnownId ? "_id" : failure.error.where();
    bad_({origins_.at(failure.index), column,
          isKnownId ? "a record of this id is there already" : failure.error.what()});
  }
  written_ += documents_.size() - failures.size();
  documents_.clear();
  origins_.clear();
  size_ = 0;
}

}  // namespace database_provider::importing
