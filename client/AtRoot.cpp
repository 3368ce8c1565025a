// SPDX-License-Identifier: Apache-2.0
#include "database_client/AtRoot.h"

#include <vector>

#include "client/DocumentAccess.h"
#include "client/bson/Document.h"

namespace database_client {

struct AtRoot::Place {
  std::vector<Document::Step> steps;
};

AtRoot::AtRoot(const ObjectProperties& document) : document_(document) {
  Document* levels = DocumentAccess::document(document);
  if (levels == nullptr || levels->depth() == 0) return;
  place_ = std::make_unique<Place>(Place{levels->steps()});
  levels->leaveAll();
}

AtRoot::~AtRoot() {
  if (!place_) return;
  // An empty document that was put in its place has no levels until it has been used.
  if (DocumentAccess::document(document_) == nullptr) document_.endGroup();
  DocumentAccess::document(document_)->returnTo(place_->steps);
}

}  // namespace database_client
