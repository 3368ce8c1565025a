// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <list>
#include <memory>

#include "database_provider/types.h"

namespace database_provider {

/// The documents that a client appends to a list; those not taken are freed, also when the client throws half way.
class FetchedDocuments {
 public:
  FetchedDocuments() = default;
  FetchedDocuments(const FetchedDocuments&) = delete;
  FetchedDocuments& operator=(const FetchedDocuments&) = delete;
  ~FetchedDocuments() {
    for (const ObjectProperties* document : documents_) delete document;
  }

  std::list<ObjectProperties*>& list() { return documents_; }
  bool empty() const { return documents_.empty(); }
  /// The first document, removed from the list.
  std::unique_ptr<ObjectProperties> take() {
    std::unique_ptr<ObjectProperties> first(documents_.front());
    documents_.pop_front();
    return first;
  }

 private:
  std::list<ObjectProperties*> documents_;
};

}  // namespace database_provider
