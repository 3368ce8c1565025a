// SPDX-License-Identifier: Apache-2.0
#include "records/SectionView.h"

#include <memory>

#include "database_client/AtRoot.h"

namespace database_provider {

using database_client::AtRoot;

void SectionView::setRecord(ObjectProperties* record) {
  record_ = record;
  modified_ = false;
  extracted_ = false;
}

void SectionView::clear() {
  setRecord(nullptr);
  empty();
}

void SectionView::extract() const {
  if (extracted_ || record_ == nullptr) return;
  const AtRoot root(*record_);
  load(*record_);
  extracted_ = true;
}

void SectionView::updateRecord() {
  if (!modified_) return;
  if (record_ == nullptr) {
    auto made = std::make_unique<ObjectProperties>();
    updateRecord_helper(*made);
    record_ = made.release();
  } else {
    const AtRoot root(*record_);
    updateRecord_helper(*record_);
  }
  modified_ = false;
  extracted_ = true;
}

void SectionView::updateRecord(ObjectProperties* target) const {
  extract();
  const AtRoot root(*target);
  updateRecord_helper(*target);
}

ObjectProperties* SectionView::getRecord() {
  updateRecord();
  return record_;
}

void SectionView::removeAll() {
  empty();
  modified_ = true;
  // Otherwise the document's old content would be loaded over the emptied copy.
  extracted_ = true;
}

}  // namespace database_provider
