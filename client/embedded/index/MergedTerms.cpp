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

/// Terms with more records than this are added up as sets.
constexpr std::uint64_t fewRecords = 16 * 1024;

/// What several parts say about each record of a term: twice the record, and one more where it is taken back.
using Changes = std::vector<std::uint64_t>;

bool collect(const std::vector<TermIterator*>& parts, Changes& changes) {
  std::uint64_t records = 0;
  for (const TermIterator* part : parts) records += part->term().counts.plus + part->term().counts.minus;
  if (records > fewRecords) return false;
  changes.clear();
  const auto add = [&changes](Run run, std::uint64_t minus) {
    for (Rid i = 0; i < run.length && changes.size() <= fewRecords; ++i)
      changes.push_back((run.first + i) << 1 | minus);
  };
  for (const TermIterator* part : parts) {
    part->eachPlus([&](Run run) { add(run, 0); });
    part->eachMinus([&](Run run) { add(run, 1); });
  }
  // What the postings hold may be more than what the counts of a damaged term say.
  if (changes.size() > fewRecords) damaged("the number of records of a term");
  std::sort(changes.begin(), changes.end());
  return true;
}

/// As `addUp` does, for terms of few records; false when they are more.
bool addUpFew(const std::vector<TermIterator*>& parts, Changes& changes, PostingWriter& plus, PostingWriter& minus,
              TermCounts& counts) {
  if (!collect(parts, changes)) return false;
  plus.clear();
  minus.clear();
  for (std::size_t i = 0; i < changes.size();) {
    const Rid rid = changes[i] >> 1;
    int added = 0;
    int takenBack = 0;
    for (; i < changes.size() && changes[i] >> 1 == rid; ++i) ++((changes[i] & 1) != 0 ? takenBack : added);
    const int times = takenBack == 0 ? 1 : added - takenBack;
    if (times > 1 || times < -1) damaged("a record counted twice");
    if (times > 0) plus.add(rid);
    if (times < 0) minus.add(rid);
  }
  counts.plus = plus.count();
  counts.minus = minus.count();
  counts.extra = 0;
  for (const TermIterator* part : parts) counts.extra += part->term().counts.extra;
  return true;
}

std::string_view posting(const RidSet& set, PostingWriter& writer) {
  writer.clear();
  for (auto rid = set.next(0); rid; rid = set.next(*rid + 1)) writer.add(*rid);
  return writer.finish();
}

Rid firstOf(const TermIterator* part) {
  if (part->term().plusSize == 0) return part->term().only;
  if (part->term().outside) return 0;
  ByteReader reader(part->term().plus);
  Rid end = 0;
  return readRun(reader, end).first;
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
  Changes changes;
  std::vector<TermIterator*> parts;
  for (; terms.valid() && mayGoOn(); terms.next()) {
    if (terms.group().size() == 1) {
      sink.add(terms.key(), terms.group().front()->whole(buffer));
      continue;
    }
    parts = terms.group();
    std::sort(parts.begin(), parts.end(), [](const TermIterator* a, const TermIterator* b) {
      return std::pair(firstOf(a), a->segment().number()) < std::pair(firstOf(b), b->segment().number());
    });
    Term term;
    if (joinPostings(parts, plus, term.counts)) {
      term.plus = plus.finish();
    } else if (addUpFew(parts, changes, plus, minus, term.counts)) {
      term.plus = plus.finish();
      term.minus = minus.finish();
    } else {
      const TermSum sum = addUp(parts);
      term.counts = {sum.plus.count(), sum.minus.count(), sum.extra};
      term.plus = posting(sum.plus, plus);
      term.minus = posting(sum.minus, minus);
    }
    if (term.counts.plus != 0 || term.counts.minus != 0 || term.counts.extra != 0) sink.add(terms.key(), term);
  }
}

}  // namespace database_client::embedded::index
