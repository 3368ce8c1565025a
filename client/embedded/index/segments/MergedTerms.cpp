// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/segments/MergedTerms.h"

#include <algorithm>
#include <cstdlib>

namespace database_client::embedded::index {

namespace {

bool isAfter(const TermIterator* a, const TermIterator* b) {
  return a->key() > b->key();
}

/// Appends postings to each other that delete nothing and follow each other; false when they do not. This is the usual
/// case, as record numbers grow and segments are written one after the other, and sorts nothing.
bool concatenate(const std::vector<TermIterator*>& parts, PostingWriter& joined, TermCounts& counts) {
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

/// Adds up any postings.
void addUp(const std::vector<TermIterator*>& parts, PostingSum& sum, PostingWriter& added, PostingWriter& deleted,
           TermCounts& counts, SurplusTerms* surplus) {
  counts = {};
  for (const TermIterator* part : parts) counts.extra += part->term().counts.extra;
  added.clear();
  deleted.clear();
  const auto add = [&](Run run) { added.add(run.first, run.length); };
  const auto remove = [&](Run run) { deleted.add(run.first, run.length); };
  if (surplus == nullptr) {
    sum.each(parts, add, remove);
  } else {
    sum.eachNumber(parts, [&](Run run, int plus, int minus) {
      const int times = plus - minus;
      if (times > 0) add(run);
      if (times < 0) remove(run);
      if (times > 1 || times < -1) surplus->add(parts.front()->key(), run, times > 0 ? times - 1 : times + 1);
    });
  }
  counts.added = added.count();
  counts.deleted = deleted.count();
}

RecordNumber firstOf(const TermIterator* part) {
  if (part->term().addedSize == 0) return part->term().only;
  // To read it would cost a chunk. Long postings are mostly those of the oldest and largest segment, whose records come
  // first anyway; where not, the postings are not in order, and are added up.
  if (part->term().outside) return 0;
  ByteReader reader(part->term().added);
  RecordNumber end = 0;
  return readRun(reader, end).first;
}

/// Where a part stands among those of its term: its first record is looked up once, and not at each comparison.
struct Place {
  RecordNumber first;
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
  // Over all segments a record comes to 0 or 1. Where nothing is deleted postings are united, so that a query lives
  // with a record that damage added twice.
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
  // A term that is in one segment alone was left at the top; the parts of others are out of the heap.
  if (!heap_.empty() && group_.front() == heap_.front()) {
    advanceTop();
  } else {
    advanceGroup();
  }
  group_.clear();
  collect();
}

/// Moves the top on and down to its place. The standard library has no such step, only the two of taking out and
/// putting in.
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
  // An equal key would be next to the top, and the next one is a child of it.
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

void SurplusTerms::add(std::string_view key, Run run, int times) {
  const auto count = static_cast<std::size_t>(std::abs(times));
  if (layers_.size() < count) layers_.resize(count);
  for (std::size_t i = 0; i < count; ++i) {
    if (layers_[i].empty() || layers_[i].back().key != key) layers_[i].push_back({std::string(key), {}, {}});
    Entry& entry = layers_[i].back();
    (times > 0 ? entry.added : entry.deleted).add(run.first, run.length);
  }
}

void SurplusTerms::write(std::size_t layer, TermSink& sink) {
  for (Entry& entry : layers_[layer]) {
    Term term;
    term.counts.added = entry.added.count();
    term.counts.deleted = entry.deleted.count();
    term.added = entry.added.finish();
    term.deleted = entry.deleted.finish();
    sink.add(entry.key, term);
  }
}

void mergeTerms(MergedTerms& terms, TermSink& sink, const std::function<bool()>& mayGoOn, SurplusTerms* surplus) {
  std::string buffer;
  PostingWriter added;
  PostingWriter deleted;
  PostingSum sum;
  std::vector<TermIterator*> parts;
  std::vector<Place> order;
  for (; terms.valid() && mayGoOn(); terms.next()) {
    // Nothing to add up: the bytes of the postings are copied without reading them.
    if (terms.group().size() == 1) {
      sink.add(terms.key(), terms.group().front()->whole(buffer));
      continue;
    }
    orderByRecord(terms.group(), parts, order);
    Term term;
    if (!concatenate(parts, added, term.counts)) addUp(parts, sum, added, deleted, term.counts, surplus);
    term.added = added.finish();
    if (term.counts.deleted != 0) term.deleted = deleted.finish();
    // A tombstone that meets what it deletes goes at once, on whatever level: a sum of nothing is nothing wherever the
    // rest lies. `extra` alone is left where a record got another number of equal items.
    if (term.counts.added != 0 || term.counts.deleted != 0 || term.counts.extra != 0) sink.add(terms.key(), term);
  }
}

}  // namespace database_client::embedded::index
