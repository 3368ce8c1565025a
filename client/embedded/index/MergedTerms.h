#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "client/embedded/index/RidSet.h"
#include "client/embedded/index/Segment.h"

namespace database_client::embedded::index {

/// One term of several segments added up: which records have it, and which have it no more as far as these segments
/// tell.
struct TermSum {
  RidSet plus;
  RidSet minus;
  std::int64_t extra = 0;
};
TermSum addUp(const std::vector<TermIterator*>& parts);

/// Walks over the terms of several segments in the order of their keys; equal ones come together.
class MergedTerms {
 public:
  explicit MergedTerms(std::vector<TermIterator> iterators) : iterators_(std::move(iterators)) {}

  void seekToFirst();
  void seek(std::string_view key);
  void next();
  bool valid() const { return !group_.empty(); }
  std::string_view key() const { return group_.front()->key(); }
  /// The parts of the current term, one or more.
  const std::vector<TermIterator*>& group() const { return group_; }

 private:
  void rebuild();
  void collect();
  bool topIsAlone() const;
  void advanceTop();
  void advanceGroup();

  std::vector<TermIterator> iterators_;
  std::vector<TermIterator*> heap_;  // those that are valid; without the group, unless that is the top alone
  std::vector<TermIterator*> group_;
};

/// Writes the sum of the segments to `sink` for as long as `mayGoOn`. Terms that add up to nothing are left out.
void mergeTerms(MergedTerms& terms, TermSink& sink, const std::function<bool()>& mayGoOn);

}  // namespace database_client::embedded::index
