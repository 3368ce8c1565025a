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
/// Entries are kept under their path and name in the order in which they came and are sorted when they are written: of
/// a thousand records of one kind each name is looked up once, and its values are sorted by the first bytes that
/// differ, which takes half the time of sorting whole keys. An ordered map, as memtables of key-value stores have it,
/// would pay for order that nobody asks for before the end.
class IndexMemtable {
 public:
  using Rid = index::Rid;

  IndexMemtable();

  /// Adds what the extractor found in one document or, if `removed`, a tombstone for it.
  void change(Rid rid, const ItemExtractor& found, bool removed);
  bool empty() const { return entries_ == 0; }
  std::size_t entries() const { return entries_; }
  /// Gives the net change of each term to `sink` and forgets it. Throws Error{storage} when a record was added twice,
  /// or deleted twice.
  void write(index::TermSink& sink);
  void clear();

 private:
  /// One call of `change`, and the document that it was about.
  struct Change {
    Rid rid;
    bool removed;
  };
  /// A document that got or lost a term: the number of the change. Small, as one is kept for each entry.
  using ChangeNumber = std::uint32_t;
  using ChangeNumbers = std::vector<ChangeNumber>;
  struct ValueEntry {
    std::uint64_t head;  // the first 8 bytes of the payload, which decide most comparisons
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
  void writePath(index::TermSink& sink, std::size_t first, std::size_t last);
  void writeNonIndexable(index::TermSink& sink, ItemPaths::Id path);
  void writeTypes(index::TermSink& sink, TermGroup& group);
  void writeValues(index::TermSink& sink, TermGroup& group);
  bool isBefore(ChangeNumber a, ChangeNumber b) const;
  void emit(index::TermSink& sink, std::string_view key);

  std::vector<TermGroup> groups_;
  std::vector<std::uint32_t> table_;   // open addressing, number of a group + 1
  std::vector<std::uint32_t> sorted_;  // numbers of groups by path and name
  std::uint32_t last_ = 0;
  std::vector<NonIndexable> nonIndexable_;
  std::string tails_;
  std::string payload_;
  std::size_t entries_ = 0;
  std::vector<Change> changes_;

  // While writing.
  index::KeyBuilder key_;
  index::ByteBuffer valueKey_;
  std::vector<SortKey> order_;
  std::vector<SortKey> orderBefore_;
  ChangeNumbers termChanges_;
  index::PostingWriter added_;
  index::PostingWriter deleted_;
};

}  // namespace database_client::embedded
