// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/plan/IndexCheck.h"

#include <xxhash.h>

#include <algorithm>
#include <map>
#include <set>

#include "client/embedded/index/items/IndexMemtable.h"
#include "client/embedded/index/items/ItemExtractor.h"
#include "client/embedded/index/items/ItemPaths.h"
#include "client/embedded/index/plan/TermScan.h"
#include "client/embedded/index/segments/MergedTerms.h"
#include "client/embedded/index/segments/Segment.h"

namespace database_client::embedded {

namespace {

constexpr std::size_t buckets = 1 << 16;
constexpr std::size_t documentsAtOnce = 1000;

std::uint64_t hashOf(std::string_view key, RecordNumber record) {
  return XXH3_64bits_withSeed(key.data(), key.size(), record);
}

/// What an index holds, as sums in which the order of things does not show: of each record's terms, in buckets, and of
/// each term's items beyond one for a record.
struct Sums {
  std::vector<std::uint64_t> records = std::vector<std::uint64_t>(buckets);
  std::uint64_t extra = 0;

  void addRecord(std::string_view key, RecordNumber record, std::uint64_t sign) {
    records[record % buckets] += sign * hashOf(key, record);
  }
  void addExtra(std::string_view key, std::int64_t items) {
    extra += static_cast<std::uint64_t>(items) * hashOf(key, ~RecordNumber{0});
  }
};

/// Receives terms that would be written and gives what they say, record by record.
class TermReceiver : public index::TermSink {
 public:
  using Receive = std::function<void(std::string_view key, RecordNumber record)>;
  TermReceiver(Receive record, std::function<void(std::string_view, std::int64_t)> extra)
      : record_(std::move(record)), extra_(std::move(extra)) {}

  void add(std::string_view key, const index::Term& term) override {
    if (term.only != 0) return record_(key, term.only);
    index::eachRun(term.added, [&](index::Run run) {
      for (std::uint64_t i = 0; i < run.length; ++i) record_(key, run.first + i);
    });
    extra_(key, term.counts.extra);
  }

 private:
  Receive record_;
  std::function<void(std::string_view, std::int64_t)> extra_;
};

class Check {
 public:
  Check(ItemIndex& index, const DocumentScan& scan, std::size_t limit)
      : index_(index), scan_(scan), limit_(limit), paths_(index.flushAndSnapshot().paths) {}

  std::vector<std::string> run() {
    sumDocuments();
    sumIndex();
    for (std::size_t i = 0; i < buckets; ++i) {
      if (ofDocuments_.records[i] != ofIndex_.records[i]) different_.insert(i);
    }
    if (!different_.empty()) {
      listIndex();
      compareDocuments();
    }
    if (problems_.empty() && ofDocuments_.extra != ofIndex_.extra) {
      problems_.emplace_back("The index counts items that occur several times in one record otherwise than they do");
    }
    return problems_;
  }

 private:
  void sumDocuments() {
    IndexMemtable pending;
    TermReceiver sums([&](std::string_view key, RecordNumber record) { ofDocuments_.addRecord(key, record, 1); },
                      [&](std::string_view key, std::int64_t items) { ofDocuments_.addExtra(key, items); });
    ItemExtractor extractor(paths_);
    std::size_t gathered = 0;
    scan_([&](RecordNumber record, bson::View body) {
      extractor.extract(body);
      pending.change(record, extractor, false);
      if (++gathered % documentsAtOnce == 0) pending.write(sums);
    });
    pending.write(sums);
  }

  void sumIndex() {
    const index::TermScan terms(index_);
    terms.eachPart({}, "\xFF\xFF\xFF", [&](const index::TermIterator& part) {
      ofIndex_.addExtra(part.key(), part.term().counts.extra);
      eachRecord(part, [&](RecordNumber record, std::int64_t sign) {
        ofIndex_.addRecord(part.key(), record, static_cast<std::uint64_t>(sign));
      });
    });
  }

  template <class Receive>
  static void eachRecord(const index::TermIterator& part, Receive receive) {
    part.forEachAdded([&](index::Run run) {
      for (std::uint64_t i = 0; i < run.length; ++i) receive(run.first + i, 1);
    });
    part.forEachDeleted([&](index::Run run) {
      for (std::uint64_t i = 0; i < run.length; ++i) receive(run.first + i, -1);
    });
  }

  bool isDifferent(RecordNumber record) const { return different_.count(record % buckets) != 0; }

  /// Gathers what the index says of the records in question, of some buckets at a time at most.
  void listIndex() {
    while (different_.size() > 64) different_.erase(std::prev(different_.end()));
    const index::TermScan terms(index_);
    terms.eachPart({}, "\xFF\xFF\xFF", [&](const index::TermIterator& part) {
      eachRecord(part, [&](RecordNumber record, std::int64_t sign) {
        if (isDifferent(record)) listed_[record] += static_cast<std::uint64_t>(sign) * hashOf(part.key(), record);
      });
    });
  }

  void compareDocuments() {
    ItemExtractor extractor(paths_);
    scan_([&](RecordNumber record, bson::View body) {
      if (!isDifferent(record)) return;
      std::uint64_t sum = 0;
      TermReceiver add([&](std::string_view key, RecordNumber r) { sum += hashOf(key, r); },
                       [](std::string_view, std::int64_t) {});
      IndexMemtable pending;
      extractor.extract(body);
      pending.change(record, extractor, false);
      pending.write(add);
      if (sum != listed_[record]) report(record, "the index does not agree with the document");
      listed_.erase(record);
    });
    for (const auto& [record, sum] : listed_) {
      if (sum != 0) report(record, "the index has items, but there is no such document");
    }
  }

  void report(RecordNumber record, const char* what) {
    if (problems_.size() < limit_) problems_.push_back("Record number " + std::to_string(record) + ": " + what);
  }

  ItemIndex& index_;
  const DocumentScan& scan_;
  std::size_t limit_;
  ItemPaths paths_;  // a copy: looking at documents does not change the index
  Sums ofDocuments_;
  Sums ofIndex_;
  std::set<std::size_t> different_;
  std::map<RecordNumber, std::uint64_t> listed_;
  std::vector<std::string> problems_;
};

}  // namespace

std::vector<std::string> checkIndex(ItemIndex& index, const DocumentScan& scan, std::size_t limit) {
  return Check(index, scan, limit).run();
}

}  // namespace database_client::embedded
