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

/// The changes of one transaction before they are written: entries by path and name, in the order in which they came,
/// sorted when they are written.
class PendingItems {
 public:
  using Rid = index::Rid;

  PendingItems();

  /// Adds (or, if `removed`, takes back) what the extractor found in one document.
  void change(Rid rid, const ItemExtractor& found, bool removed);
  bool empty() const { return entries_ == 0; }
  std::size_t entries() const { return entries_; }
  /// Gives the net change of each term to `sink` and forgets it. Throws Error{storage} when a record was given twice,
  /// or taken back twice.
  void write(index::TermSink& sink);
  void clear();

 private:
  /// One call of `change`, and the document that it was about.
  struct Change {
    Rid rid;
    bool removed;
  };
  /// A document that got or lost a term: the number of the change. Small, as one is kept for each entry.
  using Mark = std::uint32_t;
  using Marks = std::vector<Mark>;
  struct ValueEntry {
    std::uint64_t head;  // the first 8 bytes of the payload, which decide most comparisons
    std::uint32_t tail;  // where the others are in `tails_`
    Mark mark;
    std::uint16_t size;  // of the payload
    index::ValueClass kind;
  };
  /// What sorting moves about instead of an entry.
  struct SortKey {
    std::uint64_t head;
    std::uint32_t entry;
    index::ValueClass kind;
  };
  struct TypeMarks {
    bool typed;
    std::int32_t type;
    Marks marks;
  };
  struct Slot {
    ItemPaths::Id path;
    bool named;
    std::string name;
    std::string nameInKey;   // as the keys of terms have it
    std::uint32_t next = 0;  // the slot that followed this one last time
    std::vector<TypeMarks> types{};
    std::vector<ValueEntry> values{};
  };
  struct Irregular {
    ItemPaths::Id path;
    Marks marks;
  };

  static constexpr std::size_t keptSlots = 4096;

  Slot& slotFor(ItemPaths::Id path, const Item& item);
  std::size_t place(ItemPaths::Id path, const Item& item) const;
  void rehash();
  void addValue(Slot& slot, const bson::Value& value, Mark mark);
  static void addType(Slot& slot, const Item& item, Mark mark);
  void addIrregular(ItemPaths::Id path, Mark mark);

  bool tailsAreLess(const ValueEntry& a, const ValueEntry& b) const;
  bool sameValue(const ValueEntry& a, const ValueEntry& b) const;
  std::string_view tailOf(const ValueEntry& entry) const;
  void sortSlots();
  void sortValues(const Slot& slot);
  bool skipEqualHeads(const Slot& slot, std::size_t offset);
  bool isLess(const Slot& slot, const SortKey& a, const SortKey& b) const;
  void sortAll(const Slot& slot, std::size_t first, std::size_t last);
  void sortByDigits(const Slot& slot);
  void orderByDigit(unsigned shift);
  void writePath(index::TermSink& sink, std::size_t first, std::size_t last);
  void writeIrregular(index::TermSink& sink, ItemPaths::Id path);
  void writeTypes(index::TermSink& sink, Slot& slot);
  void writeValues(index::TermSink& sink, Slot& slot);
  bool isBefore(Mark a, Mark b) const;
  void emit(index::TermSink& sink, std::string_view key);

  std::vector<Slot> slots_;
  std::vector<std::uint32_t> table_;   // open addressing, slot number + 1
  std::vector<std::uint32_t> sorted_;  // slot numbers by path and name
  std::uint32_t last_ = 0;
  std::vector<Irregular> irregular_;
  std::string tails_;
  std::string payload_;
  std::size_t entries_ = 0;
  std::vector<Change> changes_;

  // While writing.
  index::KeyBuilder key_;
  index::ByteBuffer valueKey_;
  std::vector<SortKey> order_;
  std::vector<SortKey> orderBefore_;
  Marks marks_;
  index::PostingWriter plus_;
  index::PostingWriter minus_;
};

}  // namespace database_client::embedded
