// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "client/embedded/index/items/ItemExtractor.h"
#include "client/embedded/index/segments/bytes.h"
#include "client/embedded/index/segments/posting.h"
#include "client/embedded/index/segments/term.h"
#include "client/embedded/index/segments/termKey.h"

namespace database_client::embedded {

/// The memtable of the index: what the changes of one transaction add to terms and delete from them, before it is
/// written as a segment.
///
/// A *change* is one call of `change`: a document that was added or removed. Its number stands at each *entry*, a term
/// that the document has. A *term group* has the entries of one path and name, by value and, apart, by type, in the
/// order in which they came. `write` sorts the groups and then the values of each, and gives every term with its *net
/// change*, the sum over all changes, to a sink.
///
/// Invariant: additions and removals of one record alternate, since a record is added when it is not there and removed
/// when it is. However many they are, they come to 1 (the term is new to the record since the memtable was last
/// written), 0 or -1.
///
/// Entries are sorted when they are written: of a thousand records of one kind each name is looked up once, and its
/// values are sorted by the first bytes that differ, which takes half the time of sorting whole keys. An ordered map,
/// as memtables of key-value stores have it, would pay for order that nobody asks for before the end: whoever reads has
/// the memtable written first. Tried and dropped: the record and the sign of a change in each entry, which then took 48
/// bytes in place of 28, so that the entries of a thousand records did not stay in the processor's cache.
class IndexMemtable {
 public:
  IndexMemtable();

  /// Adds what the extractor found in one document or, if `removed`, a tombstone for it.
  void change(RecordNumber record, const ItemExtractor& found, bool removed);
  bool empty() const { return entries_ == 0; }
  std::size_t entries() const { return entries_; }
  /// Gives the net change of each term to `sink` and forgets it. Throws Error{storage} when a record was added twice,
  /// or deleted twice.
  void write(index::TermSink& sink);
  void clear();

 private:
  /// One call of `change`, and the document that it was about.
  struct Change {
    RecordNumber record;
    bool removed;
  };
  /// Where a change stands in `changes_`. Small, as one is kept for each entry.
  using ChangeNumber = std::uint32_t;
  using ChangeNumbers = std::vector<ChangeNumber>;
  struct ValueEntry {
    std::uint64_t head;  // the first 8 bytes of the payload as a number, which decides most comparisons
    std::uint32_t tail;  // where the others are in `tails_`
    ChangeNumber change;
    std::uint16_t size;  // of the payload
    index::ValueClass kind;
  };
  /// What sorting moves about instead of an entry.
  struct SortKey {
    std::uint64_t head;
    std::uint32_t entry;
    index::ValueClass kind;
  };
  struct TypeChanges {
    bool typed;
    std::int32_t type;
    ChangeNumbers changes;
  };
  struct TermGroup {
    ItemPaths::Id path;
    bool named;
    std::string name;
    std::string nameInKey;   // as the keys of terms have it
    std::uint32_t next = 0;  // the group that followed this one last time
    std::vector<TypeChanges> types{};
    std::vector<ValueEntry> values{};
  };
  struct NonIndexable {
    ItemPaths::Id path;
    ChangeNumbers changes;
  };

  /// Groups stay for the next transaction, which mostly has the same names; names without number must not.
  static constexpr std::size_t keptGroups = 4096;

  TermGroup& groupFor(ItemPaths::Id path, const Item& item);
  std::size_t place(ItemPaths::Id path, const Item& item) const;
  void rehash();
  void addValue(TermGroup& group, const bson::Value& value, ChangeNumber change);
  static void addType(TermGroup& group, const Item& item, ChangeNumber change);
  void addNonIndexable(ItemPaths::Id path, ChangeNumber change);

  bool tailsAreLess(const ValueEntry& a, const ValueEntry& b) const;
  bool sameValue(const ValueEntry& a, const ValueEntry& b) const;
  std::string_view tailOf(const ValueEntry& entry) const;
  void sortGroups();
  void sortValues(const TermGroup& group);
  bool skipEqualHeads(const TermGroup& group, std::size_t offset);
  bool isLess(const TermGroup& group, const SortKey& a, const SortKey& b) const;
  void sortAll(const TermGroup& group, std::size_t first, std::size_t last);
  void sortByDigits(const TermGroup& group);
  void orderByDigit(unsigned shift);
  void writeNonIndexable(index::TermSink& sink, ItemPaths::Id path);
  void writeTypes(index::TermSink& sink, TermGroup& group);
  void writeValues(index::TermSink& sink, TermGroup& group);
  void sortTermChanges();
  void emit(index::TermSink& sink, std::string_view key);

  std::vector<TermGroup> groups_;
  std::vector<std::uint32_t> table_;   // open addressing, number of a group + 1
  std::vector<std::uint32_t> sorted_;  // numbers of groups by path and name
  std::uint32_t last_ = 0;             // the group that was asked for last
  std::vector<NonIndexable> nonIndexable_;
  std::string tails_;    // what payloads have beyond their heads
  std::string payload_;  // of one value, kept for its memory
  std::size_t entries_ = 0;
  std::vector<Change> changes_;

  // While writing.
  index::KeyBuilder key_;
  index::ByteBuffer valueKey_;
  std::vector<SortKey> order_;
  std::vector<SortKey> orderBefore_;
  ChangeNumbers termChanges_;  // of the term that is being written; once for each item that has it
  index::PostingWriter added_;
  index::PostingWriter deleted_;
};

}  // namespace database_client::embedded
