// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/segments/posting.h"

namespace database_client::embedded::index {

void PostingWriter::finishRun() {
  if (run_.length == 0) return;
  // Most runs of a rare term are of one record: a bit says so, and saves the byte of a length.
  const bool several = run_.length > 1;
  putVarint(bytes_, (run_.first - end_) << 1 | (several ? 1 : 0));
  if (several) putVarint(bytes_, run_.length - 2);
  end_ = run_.first + run_.length;
}

void PostingWriter::clear() {
  bytes_.clear();
  run_ = {};
  end_ = 0;
  count_ = 0;
}

}  // namespace database_client::embedded::index
