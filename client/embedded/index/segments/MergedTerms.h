// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "client/embedded/index/segments/Segment.h"

namespace database_client::embedded::index {

/// Adds up the postings and the tombstones of one term in several segments. Costs by their runs, not by their records:
/// it sorts the places where runs begin and end, and sweeps over them. A set of records, or a merge of the postings
/// record by record, would cost by the records, of which a frequent term has all there are.
class PostingSum {
 public:
  /// Gives the runs of records that have the term, and those of records that have it no more, in ascending order, where
  /// the parts are all that there are of the term. Throws Error{storage} when a record comes to more than one.
  template <class Added, class Deleted>
  void each(const std::vector<TermIterator*>& parts, Added added, Deleted deleted) {
    eachNumber(parts, [&](Run run, int plus, int minus) {
      const int times = multiplicity(plus, minus);
      if (times > 0) added(run);
      if (times < 0) deleted(run);
    });
  }
  /// Gives each run of records that have the same numbers of parts that add and that delete them: `take(run, added,
  /// deleted)`.
  template <class Take>
  void eachNumber(const std::vector<TermIterator*>& parts, Take take) {
    gather(parts);
    Boundary sum{0, 0, 0};
    for (const Boundary& boundary : boundaries_) {
      if (boundary.at > sum.at) take(Run{sum.at, boundary.at - sum.at}, sum.added, sum.deleted);
      sum = {boundary.at, sum.added + boundary.added, sum.deleted + boundary.deleted};
    }
  }

 private:
  /// Where runs of one posting begin or end.
  struct Boundary {
    RecordNumber at;
    int added;    ///< by how many more parts add the records from here on
    int deleted;  ///< by how many more delete them
  };

  void gather(const std::vector<TermIterator*>& parts);
  /// How often the sum has a record that so many parts add and so many delete.
  static int multiplicity(int added, int deleted);

  std::vector<Boundary> boundaries_;
};

/// Walks over the terms of several segments in the order of their keys; equal ones come together.
///
/// A heap of iterators by key, with one thing added: many terms, of values that differ from record to record, are in
/// one segment alone. Such a term stays at the top of the heap while it is looked at, and moving on is one walk down
/// the heap, where taking it out and putting it back would be two.
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

/// What a merge of some of the segments cannot say in one segment.
///
/// Segments that are merged need not follow each other in time: a large one goes to a higher level at once, and the
/// small ones before and after it are merged without it. If a record got a term in the first, lost it in the large one
/// and got it back in the last, it comes to two among the small ones. A segment has a record once or not at all, so
/// what is beyond stands in further segments, the layers; together with the tombstone it comes to one.
class SurplusTerms {
 public:
  /// As often beyond the first as `times` says; below 0 as a tombstone. Runs of one key come in ascending order.
  void add(std::string_view key, Run run, int times);
  std::size_t layers() const { return layers_.size(); }
  void write(std::size_t layer, TermSink& sink);

 private:
  struct Entry {
    std::string key;
    PostingWriter added;
    PostingWriter deleted;
  };
  std::vector<std::vector<Entry>> layers_;
};

/// Writes the sum of the segments to `sink` for as long as `mayGoOn`. Terms that add up to nothing are left out. Where
/// these are not all segments there are, a record may come to more than one: that goes to `surplus`. Without one it is
/// damage, and what damage added twice is taken once.
void mergeTerms(MergedTerms& terms, TermSink& sink, const std::function<bool()>& mayGoOn,
                SurplusTerms* surplus = nullptr);

}  // namespace database_client::embedded::index
