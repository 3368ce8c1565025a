#include "client/embedded/index/MergedTerms.h"

#include <algorithm>
#include <unordered_map>

namespace database_client::embedded::index {

namespace {

bool isAfter(const TermIterator* a, const TermIterator* b) {
  return a->key() > b->key();
}

/// Adds the runs of `part` to `plus`; records that are disputed are counted instead.
void addPlus(const TermIterator& part, const RidSet& disputed, RidSet& plus, std::unordered_map<Rid, int>& sums) {
  part.eachPlus([&](Run run) {
    const Rid end = run.first + run.length;
    while (run.first < end) {
      const Rid next = std::min(disputed.next(run.first).value_or(end), end);
      if (next > run.first) plus.addRange(run.first, next - run.first);
      if (next < end) ++sums[next];
      run.first = next + 1;
    }
  });
}

/// Joins postings that take nothing back and follow each other; false when they do not.
bool joinPostings(const std::vector<TermIterator*>& parts, PostingWriter& joined, TermCounts& counts) {
  joined.clear();
  counts = {};
  for (const TermIterator* part : parts) {
    counts.extra += part->term().counts.extra;
    if (part->term().counts.minus != 0) return false;
    bool inOrder = true;
    part->eachPlus([&](Run run) {
      inOrder = inOrder && run.first >= joined.end();
      if (inOrder) joined.add(run.first, run.length);
    });
    if (!inOrder) return false;
  }
  counts.plus = joined.count();
  return true;
}

/// Where runs of one posting begin or end.
struct Edge {
  Rid at;
  int plus;   ///< by how many more parts add the records from here on
  int minus;  ///< by how many more take them back
};
using Edges = std::vector<Edge>;

/// How often the sum has a record that so many parts add and so many take back.
int timesOf(int plus, int minus) {
  const int times = minus == 0 ? std::min(plus, 1) : plus - minus;
  if (times > 1 || times < -1) damaged("a record counted twice");
  return times;
}

/// Adds postings up, whatever they take back. Costs by their runs, not by their records.
void joinRuns(const std::vector<TermIterator*>& parts, Edges& edges, PostingWriter& plus, PostingWriter& minus,
              TermCounts& counts) {
  edges.clear();
  counts = {};
  for (const TermIterator* part : parts) {
    counts.extra += part->term().counts.extra;
    part->eachPlus([&](Run run) { edges.insert(edges.end(), {{run.first, 1, 0}, {run.first + run.length, -1, 0}}); });
    part->eachMinus([&](Run run) { edges.insert(edges.end(), {{run.first, 0, 1}, {run.first + run.length, 0, -1}}); });
  }
  std::sort(edges.begin(), edges.end(), [](const Edge& a, const Edge& b) { return a.at < b.at; });
  plus.clear();
  minus.clear();
  Edge sum{0, 0, 0};
  for (const Edge& edge : edges) {
    if (edge.at > sum.at) {
      const int times = timesOf(sum.plus, sum.minus);
      if (times > 0) plus.add(sum.at, edge.at - sum.at);
      if (times < 0) minus.add(sum.at, edge.at - sum.at);
    }
    sum = {edge.at, sum.plus + edge.plus, sum.minus + edge.minus};
  }
  counts.plus = plus.count();
  counts.minus = minus.count();
}

Rid firstOf(const TermIterator* part) {
  if (part->term().plusSize == 0) return part->term().only;
  if (part->term().outside) return 0;
  ByteReader reader(part->term().plus);
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

TermSum addUp(const std::vector<TermIterator*>& parts) {
  TermSum sum;
  RidSet disputed;
  std::unordered_map<Rid, int> sums;
  for (const TermIterator* part : parts) {
    sum.extra += part->term().counts.extra;
    part->eachMinus([&](Run run) {
      disputed.addRange(run.first, run.length);
      for (Rid i = 0; i < run.length; ++i) --sums[run.first + i];
    });
  }
  for (const TermIterator* part : parts) addPlus(*part, disputed, sum.plus, sums);
  for (const auto& [rid, times] : sums) {
    if (times > 1 || times < -1) damaged("a record counted twice");
    if (times > 0) sum.plus.add(rid);
    if (times < 0) sum.minus.add(rid);
  }
  return sum;
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
  PostingWriter plus;
  PostingWriter minus;
  Edges edges;
  std::vector<TermIterator*> parts;
  std::vector<Place> order;
  for (; terms.valid() && mayGoOn(); terms.next()) {
    if (terms.group().size() == 1) {
      sink.add(terms.key(), terms.group().front()->whole(buffer));
      continue;
    }
    orderByRecord(terms.group(), parts, order);
    Term term;
    if (!joinPostings(parts, plus, term.counts)) joinRuns(parts, edges, plus, minus, term.counts);
    term.plus = plus.finish();
    if (term.counts.minus != 0) term.minus = minus.finish();
    if (term.counts.plus != 0 || term.counts.minus != 0 || term.counts.extra != 0) sink.add(terms.key(), term);
  }
}

}  // namespace database_client::embedded::index
