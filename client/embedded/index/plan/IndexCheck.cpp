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

using index::Rid;

constexpr std::size_t buckets = 1 << 16;
constexpr std::size_t documentsAtOnce = 1000;

std::uint64_t hashOf(std::string_view key, Rid rid) {
  return XXH3_64bits_withSeed(key.data(), key.size(), rid);
}

/// What an index holds, as sums in which the order of things does not show: of each record's terms, in buckets, and of
/// each term's items beyond one for a record.
struct Sums {
  std::vector<std::uint64_t> records = std::vector<std::uint64_t>(buckets);
  std::uint64_t extra = 0;

  void addRecord(std::string_view key, Rid rid, std::uint64_t sign) {
    records[rid % buckets] += sign * hashOf(key, rid);
  }
  void addExtra(std::string_view key, std::int64_t items) {
    extra += static_cast<std::uint64_t>(items) * hashOf(key, ~Rid{0});
  }
};

/// Receives terms that would be written and gives what they say, record by record.
class TermReceiver : public index::TermSink {
 public:
  using Receive = std::function<void(std::string_view key, Rid rid)>;
  TermReceiver(Receive record, std::function<void(std::string_view, std::int64_t)> extra)
      : record_(std::move(record)), extra_(std::move(extra)) {}

  void add(std::string_view key, const index::Term& term) override {
    if (term.only != 0) return record_(key, term.only);
    index::eachRun(term.added, [&](index::Run run) {
      for (Rid i = 0; i < run.length; ++i) record_(key, run.first + i);
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
    TermReceiver sums([&](std::string_view key, Rid rid) { ofDocuments_.addRecord(key, rid, 1); },
                      [&](std::string_view key, std::int64_t items) { ofDocuments_.addExtra(key, items); });
    ItemExtractor extractor(paths_);
    std::size_t gathered = 0;
    scan_([&](std::int64_t rid, bson::View body) {
      extractor.extract(body);
      pending.change(static_cast<Rid>(rid), extractor, false);
      if (++gathered % documentsAtOnce == 0) pending.write(sums);
    });
    pending.write(sums);
  }

  void sumIndex() {
    const index::TermScan terms(index_);
    terms.eachPart({}, "\xFF\xFF\xFF", [&](const index::TermIterator& part) {
      ofIndex_.addExtra(part.key(), part.term().counts.extra);
      eachRecord(part, [&](Rid rid, std::int64_t sign) {
        ofIndex_.addRecord(part.key(), rid, static_cast<std::uint64_t>(sign));
      });
    });
  }

  template <class Receive>
  static void eachRecord(const index::TermIterator& part, Receive receive) {
    part.forEachAdded([&](index::Run run) {
      for (Rid i = 0; i < run.length; ++i) receive(run.first + i, 1);
    });
    part.forEachDeleted([&](index::Run run) {
      for (Rid i = 0; i < run.length; ++i) receive(run.first + i, -1);
    });
  }

  bool isDifferent(Rid rid) const { return different_.count(rid % buckets) != 0; }

  /// Gathers what the index says of the records in question, of some buckets at a time at most.
  void listIndex() {
    while (different_.size() > 64) different_.erase(std::prev(different_.end()));
    const index::TermScan terms(index_);
    terms.eachPart({}, "\xFF\xFF\xFF", [&](const index::TermIterator& part) {
      eachRecord(part, [&](Rid rid, std::int64_t sign) {
        if (isDifferent(rid)) listed_[rid] += static_cast<std::uint64_t>(sign) * hashOf(part.key(), rid);
      });
    });
  }

  void compareDocuments() {
    ItemExtractor extractor(paths_);
    scan_([&](std::int64_t number, bson::View body) {
      const auto rid = static_cast<Rid>(number);
      if (!isDifferent(rid)) return;
      std::uint64_t sum = 0;
      TermReceiver add([&](std::string_view key, Rid r) { sum += hashOf(key, r); },
                       [](std::string_view, std::int64_t) {});
      IndexMemtable pending;
      extractor.extract(body);
      pending.change(rid, extractor, false);
      pending.write(add);
      if (sum != listed_[rid]) report(rid, "the index does not agree with the document");
      listed_.erase(rid);
    });
    for (const auto& [rid, sum] : listed_) {
      if (sum != 0) report(rid, "the index has items, but there is no such document");
    }
  }

  void report(Rid rid, const char* what) {
    if (problems_.size() < limit_) problems_.push_back("Record number " + std::to_string(rid) + ": " + what);
  }

  ItemIndex& index_;
  const DocumentScan& scan_;
  std::size_t limit_;
  ItemPaths paths_;  // a copy: looking at documents does not change the index
  Sums ofDocuments_;
  Sums ofIndex_;
  std::set<std::size_t> different_;
  std::map<Rid, std::uint64_t> listed_;
  std::vector<std::string> problems_;
};

}  // namespace

std::vector<std::string> checkIndex(ItemIndex& index, const DocumentScan& scan, std::size_t limit) {
  return Check(index, scan, limit).run();
}

}  // namespace database_client::embedded
