// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/segments/MergedTerms.h"

#include <algorithm>

namespace database_client::embedded::index {

namespace {

bool isAfter(const TermIterator* a, const TermIterator* b) {
  return a->key() > b->key();
}

/// Joins postings that take nothing back and follow each other; false when they do not.
bool joinPostings(const std::vector<TermIterator*>& parts, PostingWriter& joined, TermCounts& counts) {
  joined.clear();
  counts = {};
  for (const TermIterator* part : parts) {
    counts.extra += part->term().counts.extra;
    if (part->term().counts.deleted != 0) return false;
    bool inOrder = true;
    part->forEachAdded([&](Run run) {
      inOrder = inOrder && run.first >= joined.end();
      if (inOrder) joined.add(run.first, run.length);
    });
    if (!inOrder) return false;
  }
  counts.added = joined.count();
  return true;
}

/// Joins any postings.
void joinRuns(const std::vector<TermIterator*>& parts, PostingSum& sum, PostingWriter& added, PostingWriter& deleted,
              TermCounts& counts) {
  counts = {};
  for (const TermIterator* part : parts) counts.extra += part->term().counts.extra;
  added.clear();
  deleted.clear();
  sum.each(
      parts, [&](Run run) { added.add(run.first, run.length); }, [&](Run run) { deleted.add(run.first, run.length); });
  counts.added = added.count();
  counts.deleted = deleted.count();
}

Rid firstOf(const TermIterator* part) {
  if (part->term().addedSize == 0) return part->term().only;
  if (part->term().outside) return 0;
  ByteReader reader(part->term().added);
  Rid end = 0;
  return readRun(reader, end).first;
}

/// Where a part stands among those of its term.
struct Place {
  Rid first;
  std::uint32_t segment;
  TermIterator* part;
};

/// The parts in the order of their records, as far as the first of each tells.
void orderByRecord(const std::vector<TermIterator*>& group, std::vector<TermIterator*>& ordered,
                   std::vector<Place>& places) {
  places.clear();
  for (TermIterator* part : group) places.push_back({firstOf(part), part->segment().number(), part});
  std::sort(places.begin(), places.end(), [](const Place& a, const Place& b) {
    return a.first != b.first ? a.first < b.first : a.segment < b.segment;
  });
  ordered.clear();
  for (const Place& place : places) ordered.push_back(place.part);
}

}  // namespace

void PostingSum::gather(const std::vector<TermIterator*>& parts) {
  boundaries_.clear();
  for (const TermIterator* part : parts) {
    part->forEachAdded([&](Run run) {
      boundaries_.insert(boundaries_.end(), {{run.first, 1, 0}, {run.first + run.length, -1, 0}});
    });
    part->forEachDeleted([&](Run run) {
      boundaries_.insert(boundaries_.end(), {{run.first, 0, 1}, {run.first + run.length, 0, -1}});
    });
  }
  std::sort(boundaries_.begin(), boundaries_.end(), [](const Boundary& a, const Boundary& b) { return a.at < b.at; });
}

int PostingSum::multiplicity(int added, int deleted) {
  const int times = deleted == 0 ? std::min(added, 1) : added - deleted;
  if (times > 1 || times < -1) damaged("a record counted twice");
  return times;
}

void MergedTerms::seekToFirst() {
  for (TermIterator& iterator : iterators_) iterator.seekToFirst();
  rebuild();
}

void MergedTerms::seek(std::string_view key) {
  for (TermIterator& iterator : iterators_) iterator.seek(key);
  rebuild();
}

void MergedTerms::rebuild() {
  heap_.clear();
  group_.clear();
  for (TermIterator& iterator : iterators_) {
    if (iterator.valid()) heap_.push_back(&iterator);
  }
  std::make_heap(heap_.begin(), heap_.end(), isAfter);
  collect();
}

void MergedTerms::next() {
  if (!heap_.empty() && group_.front() == heap_.front()) {
    advanceTop();
  } else {
    advanceGroup();
  }
  group_.clear();
  collect();
}

/// Moves the top on and down to its place.
void MergedTerms::advanceTop() {
  TermIterator* const moved = heap_.front();
  moved->next();
  if (!moved->valid()) {
    std::pop_heap(heap_.begin(), heap_.end(), isAfter);
    heap_.pop_back();
    return;
  }
  std::size_t at = 0;
  for (std::size_t child = 1; child < heap_.size(); child = 2 * at + 1) {
    if (child + 1 < heap_.size() && isAfter(heap_[child], heap_[child + 1])) ++child;
    if (!isAfter(moved, heap_[child])) break;
    heap_[at] = heap_[child];
    at = child;
  }
  heap_[at] = moved;
}

void MergedTerms::advanceGroup() {
  for (TermIterator* iterator : group_) {
    iterator->next();
    if (!iterator->valid()) continue;
    heap_.push_back(iterator);
    std::push_heap(heap_.begin(), heap_.end(), isAfter);
  }
}

bool MergedTerms::topIsAlone() const {
  const std::string_view top = heap_.front()->key();
  return (heap_.size() < 2 || heap_[1]->key() != top) && (heap_.size() < 3 || heap_[2]->key() != top);
}

void MergedTerms::collect() {
  if (heap_.empty()) return;
  if (topIsAlone()) return group_.push_back(heap_.front());
  do {
    std::pop_heap(heap_.begin(), heap_.end(), isAfter);
    group_.push_back(heap_.back());
    heap_.pop_back();
  } while (!heap_.empty() && heap_.front()->key() == group_.front()->key());
}

void mergeTerms(MergedTerms& terms, TermSink& sink, const std::function<bool()>& mayGoOn) {
  std::string buffer;
  PostingWriter added;
  PostingWriter deleted;
  PostingSum sum;
  std::vector<TermIterator*> parts;
  std::vector<Place> order;
  for (; terms.valid() && mayGoOn(); terms.next()) {
    if (terms.group().size() == 1) {
      sink.add(terms.key(), terms.group().front()->whole(buffer));
      continue;
    }
    orderByRecord(terms.group(), parts, order);
    Term term;
    if (!joinPostings(parts, added, term.counts)) joinRuns(parts, sum, added, deleted, term.counts);
    term.added = added.finish();
    if (term.counts.deleted != 0) term.deleted = deleted.finish();
    if (term.counts.added != 0 || term.counts.deleted != 0 || term.counts.extra != 0) sink.add(terms.key(), term);
  }
}

}  // namespace database_client::embedded::index
