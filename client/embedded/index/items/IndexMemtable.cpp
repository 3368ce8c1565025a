// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/items/IndexMemtable.h"

#include <xxhash.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "client/embedded/index/segments/bytes.h"

namespace database_client::embedded {

using index::TermKind;
using index::ValueClass;

namespace {

constexpr std::size_t headSize = 8;

/// The first bytes, the first one highest, so that heads compare as the bytes do. A shorter payload gets zeros, and is
/// told from one that has them by its size.
std::uint64_t headOf(std::string_view payload) {
  std::uint64_t head = 0;
  if (payload.size() >= headSize) {
    std::memcpy(&head, payload.data(), headSize);
    return __builtin_bswap64(head);
  }
  for (const char byte : payload) head = head << 8 | static_cast<unsigned char>(byte);
  return payload.empty() ? 0 : head << (8 * (headSize - payload.size()));
}

/// Writes the payload's bytes that are in the head. All eight are written, without asking how many they are, so there
/// has to be room for them; what comes next overwrites the rest.
char* putHead(char* at, std::uint64_t head, std::size_t size) {
  const std::uint64_t reversed = __builtin_bswap64(head);
  std::memcpy(at, &reversed, headSize);
  return at + std::min(size, headSize);
}

// A radix sort by the 24 bits in which heads first differ, a byte at a time: thousands of values are told apart by
// these, and each pass touches all of them. What is equal in them is sorted by comparing.
constexpr unsigned digitBits = 8;
constexpr unsigned digits = 3;
/// Below this it is cheaper to compare than to count 256 digits thrice.
constexpr std::size_t fewestForDigits = 96;

}  // namespace

IndexMemtable::IndexMemtable() {
  rehash();
}

void IndexMemtable::change(RecordNumber record, const ItemExtractor& found, bool removed) {
  if (found.places().empty()) return;
  const auto change = static_cast<ChangeNumber>(changes_.size());
  changes_.push_back({record, removed});
  for (const ItemExtractor::Place& place : found.places()) {
    if (place.nonIndexable) addNonIndexable(place.path, change);
    const Item* items = found.items(place);
    for (std::size_t i = 0; i < place.items; ++i) {
      TermGroup& group = groupFor(place.path, items[i]);
      addType(group, items[i], change);
      addValue(group, items[i].value, change);
      entries_ += 2;  // a term of the name with its type, and one with its value
    }
  }
}

std::size_t IndexMemtable::place(ItemPaths::Id path, const Item& item) const {
  const std::size_t mask = table_.size() - 1;
  const std::uint64_t seed = path * std::uint64_t{2} + (item.named ? 1 : 0);
  std::size_t at = XXH3_64bits_withSeed(item.name.data(), item.name.size(), seed) & mask;
  for (; table_[at] != 0; at = (at + 1) & mask) {
    const TermGroup& group = groups_[table_[at] - 1];
    if (group.path == path && group.named == item.named && group.name == item.name) break;
  }
  return at;
}

void IndexMemtable::rehash() {
  table_.assign(std::max<std::size_t>(64, table_.size() * 2), 0);
  for (std::size_t i = 0; i < groups_.size(); ++i) {
    // `place` asks for an item, of which path and name alone count.
    Item item;
    item.name = groups_[i].name;
    item.named = groups_[i].named;
    table_[place(groups_[i].path, item)] = static_cast<std::uint32_t>(i + 1);
  }
}

IndexMemtable::TermGroup& IndexMemtable::groupFor(ItemPaths::Id path, const Item& item) {
  // Records of one kind have their items in one order: the group that followed last time is likely to follow again, and
  // then neither hash nor table is asked.
  if (last_ < groups_.size()) {
    const std::uint32_t likely = groups_[last_].next;
    TermGroup& group = groups_[likely];
    if (group.path == path && group.named == item.named && group.name == item.name) {
      last_ = likely;
      return group;
    }
  }
  std::size_t at = place(path, item);
  if (table_[at] == 0) {
    index::KeyBuilder name;
    item.named ? name.name(item.name) : name.noName();
    groups_.push_back({path, item.named, std::string(item.name), name.key()});
    if (groups_.size() * 2 > table_.size()) rehash();
    at = place(path, item);  // the place after rehashing; the group may stand there already
    table_[at] = static_cast<std::uint32_t>(groups_.size());
  }
  const std::uint32_t found = table_[at] - 1;
  if (last_ < groups_.size()) groups_[last_].next = found;
  last_ = found;
  return groups_[found];
}

void IndexMemtable::addType(TermGroup& group, const Item& item, ChangeNumber change) {
  // One after the other: a name has one type, hardly ever more.
  for (TypeChanges& known : group.types) {
    if (known.typed == item.typed && known.type == item.type) return known.changes.push_back(change);
  }
  group.types.push_back({item.typed, item.type, {change}});
}

void IndexMemtable::addValue(TermGroup& group, const bson::Value& value, ChangeNumber change) {
  // A short text is its own payload, and need not be copied. Its BSON has 4 bytes of length before, a NUL behind.
  const bool isShortText =
      value.data != nullptr && value.type == bson::Type::string && value.size <= 4 + index::longestText + 1;
  const ValueClass kind = isShortText ? ValueClass::string : index::encodeValue(value, payload_);
  const std::string_view payload = isShortText ? value.asString() : std::string_view(payload_);
  const auto tail = static_cast<std::uint32_t>(tails_.size());
  if (payload.size() > headSize) tails_.append(payload.substr(headSize));
  group.values.push_back({headOf(payload), tail, change, static_cast<std::uint16_t>(payload.size()), kind});
}

void IndexMemtable::addNonIndexable(ItemPaths::Id path, ChangeNumber change) {
  ++entries_;
  for (NonIndexable& known : nonIndexable_) {
    if (known.path == path) return known.changes.push_back(change);
  }
  nonIndexable_.push_back({path, {change}});
}

std::string_view IndexMemtable::tailOf(const ValueEntry& entry) const {
  if (entry.size <= headSize) return {};
  return std::string_view(tails_).substr(entry.tail, entry.size - headSize);
}

bool IndexMemtable::sameValue(const ValueEntry& a, const ValueEntry& b) const {
  return a.head == b.head && a.kind == b.kind && a.size == b.size && tailOf(a) == tailOf(b);
}

/// Of two entries of one kind with equal heads.
bool IndexMemtable::tailsAreLess(const ValueEntry& a, const ValueEntry& b) const {
  if (a.size > headSize && b.size > headSize) {
    const int order = tailOf(a).compare(tailOf(b));
    if (order != 0) return order < 0;
  } else if (a.size != b.size) {
    return a.size < b.size;
  }
  return a.change < b.change;
}

void IndexMemtable::write(index::TermSink& sink) {
  sortGroups();
  // Groups are kept from transaction to transaction; a path counts only where something came under it since.
  std::vector<ItemPaths::Id> paths;
  for (const NonIndexable& nonIndexable : nonIndexable_) paths.push_back(nonIndexable.path);
  for (const std::uint32_t group : sorted_) {
    if (!groups_[group].values.empty()) paths.push_back(groups_[group].path);
  }
  std::sort(paths.begin(), paths.end());
  paths.erase(std::unique(paths.begin(), paths.end()), paths.end());
  std::size_t first = 0;
  for (const ItemPaths::Id path : paths) {
    while (first < sorted_.size() && groups_[sorted_[first]].path < path) ++first;
    std::size_t last = first;
    while (last < sorted_.size() && groups_[sorted_[last]].path == path) ++last;
    // In the order of keys: all names with their types come before all values, whatever the names.
    writeNonIndexable(sink, path);
    for (std::size_t i = first; i < last; ++i) writeTypes(sink, groups_[sorted_[i]]);
    for (std::size_t i = first; i < last; ++i) writeValues(sink, groups_[sorted_[i]]);
    first = last;
  }
  clear();
}

void IndexMemtable::sortGroups() {
  if (sorted_.size() == groups_.size()) return;  // Groups are only added, or all dropped: they are sorted already.
  sorted_.resize(groups_.size());
  for (std::uint32_t i = 0; i < sorted_.size(); ++i) sorted_[i] = i;
  std::sort(sorted_.begin(), sorted_.end(), [this](std::uint32_t left, std::uint32_t right) {
    const TermGroup& a = groups_[left];
    const TermGroup& b = groups_[right];
    return a.path != b.path ? a.path < b.path : a.nameInKey < b.nameInKey;
  });
}

void IndexMemtable::writeNonIndexable(index::TermSink& sink, ItemPaths::Id path) {
  for (NonIndexable& nonIndexable : nonIndexable_) {
    if (nonIndexable.path != path) continue;
    key_.start(path, TermKind::nonIndexable);
    termChanges_.swap(nonIndexable.changes);
    emit(sink, key_.key());
  }
}

void IndexMemtable::writeTypes(index::TermSink& sink, TermGroup& group) {
  if (group.types.size() > 1) {
    std::sort(group.types.begin(), group.types.end(), [](const TypeChanges& a, const TypeChanges& b) {
      return a.typed != b.typed ? !a.typed : a.type < b.type;
    });
  }
  for (TypeChanges& type : group.types) {
    if (type.changes.empty()) continue;
    key_.start(group.path, TermKind::name).raw(group.nameInKey);
    type.typed ? key_.type(type.type) : key_.noType();
    // Lent and given back, so that the group keeps the memory for the next transaction.
    termChanges_.swap(type.changes);
    emit(sink, key_.key());
    termChanges_.swap(type.changes);
  }
}

void IndexMemtable::sortValues(const TermGroup& group) {
  order_.clear();
  bool sameKind = true;
  for (std::uint32_t i = 0; i < group.values.size(); ++i) {
    const ValueEntry& entry = group.values[i];
    order_.push_back({entry.head, i, entry.kind});
    sameKind = sameKind && entry.kind == order_.front().kind;
  }
  if (order_.size() < 2) return;
  for (std::size_t offset = headSize; skipEqualHeads(group, offset);) offset += headSize;
  if (sameKind && order_.size() >= fewestForDigits) {
    sortByDigits(group);
  } else {
    sortAll(group, 0, order_.size());
  }
}

bool IndexMemtable::isLess(const TermGroup& group, const SortKey& a, const SortKey& b) const {
  if (a.kind != b.kind) return a.kind < b.kind;
  if (a.head != b.head) return a.head < b.head;
  return tailsAreLess(group.values[a.entry], group.values[b.entry]);
}

void IndexMemtable::sortAll(const TermGroup& group, std::size_t first, std::size_t last) {
  const auto less = [&](const SortKey& a, const SortKey& b) { return isLess(group, a, b); };
  const auto begin = order_.begin() + static_cast<std::ptrdiff_t>(first);
  const auto end = order_.begin() + static_cast<std::ptrdiff_t>(last);
  if (!std::is_sorted(begin, end, less)) std::sort(begin, end, less);
}

/// Entries of one kind: by the first digits in which their heads differ, and by comparing what is the same in these.
/// What comes before these digits is the same in all, and decides nothing.
void IndexMemtable::sortByDigits(const TermGroup& group) {
  std::uint64_t different = 0;
  for (const SortKey& key : order_) different |= key.head ^ order_.front().head;
  const unsigned top = different == 0 ? 0 : 64U - static_cast<unsigned>(__builtin_clzll(different));
  const unsigned lowest = top > digits * digitBits ? top - digits * digitBits : 0;
  for (unsigned shift = lowest; shift < top; shift += digitBits) orderByDigit(shift);
  for (std::size_t first = 0; first < order_.size();) {
    std::size_t last = first + 1;
    while (last < order_.size() && order_[last].head >> lowest == order_[first].head >> lowest) ++last;
    if (last - first > 1) sortAll(group, first, last);
    first = last;
  }
}

/// One pass of the radix sort, from the lowest digit up: it keeps the order of those with the same digit, by which the
/// passes before it still count.
void IndexMemtable::orderByDigit(unsigned shift) {
  constexpr std::uint64_t mask = (1U << digitBits) - 1;
  std::array<std::uint32_t, mask + 2> starts{};
  for (const SortKey& key : order_) ++starts[(key.head >> shift & mask) + 1];
  for (std::size_t i = 1; i < starts.size(); ++i) starts[i] += starts[i - 1];
  order_.swap(orderBefore_);
  order_.resize(orderBefore_.size());
  for (const SortKey& key : orderBefore_) order_[starts[key.head >> shift & mask]++] = key;
}

/// Takes the 8 bytes of each payload from `offset` on as what decides most comparisons, if those before are the same in
/// all: texts under one name often begin alike.
bool IndexMemtable::skipEqualHeads(const TermGroup& group, std::size_t offset) {
  for (const SortKey& key : order_) {
    const bool same = key.head == order_.front().head && key.kind == order_.front().kind;
    if (!same || group.values[key.entry].size <= offset) return false;
  }
  for (SortKey& key : order_) key.head = headOf(tailOf(group.values[key.entry]).substr(offset - headSize));
  return true;
}

void IndexMemtable::writeValues(index::TermSink& sink, TermGroup& group) {
  sortValues(group);
  const auto& values = group.values;
  const std::string_view prefix = key_.start(group.path, TermKind::value).raw(group.nameInKey).key();
  valueKey_.shrink(0);
  valueKey_.append(prefix);
  // Path and name stay in the buffer; class and payload are put behind them for each value.
  for (std::size_t i = 0; i < order_.size();) {
    const ValueEntry& entry = values[order_[i].entry];
    termChanges_.clear();
    termChanges_.push_back(entry.change);
    for (++i; i < order_.size() && sameValue(values[order_[i].entry], entry); ++i) {
      termChanges_.push_back(values[order_[i].entry].change);
    }
    valueKey_.shrink(prefix.size());
    char* at = valueKey_.room(1 + headSize + entry.size);
    *at++ = static_cast<char>(entry.kind);
    valueKey_.setEnd(index::putBytes(putHead(at, entry.head, entry.size), tailOf(entry)));
    emit(sink, valueKey_.view());
  }
}

/// By record, and the changes of one record in the order in which they were made.
void IndexMemtable::sortTermChanges() {
  const auto isBefore = [this](ChangeNumber a, ChangeNumber b) {
    const RecordNumber left = changes_[a].record;
    const RecordNumber right = changes_[b].record;
    return left != right ? left < right : a < b;
  };
  // Records that are put in come in order; it is replacements that go back and forth.
  if (!std::is_sorted(termChanges_.begin(), termChanges_.end(), isBefore)) {
    std::sort(termChanges_.begin(), termChanges_.end(), isBefore);
  }
}

/// Writes the net change that `termChanges_` make to a term.
void IndexMemtable::emit(index::TermSink& sink, std::string_view key) {
  // One record that was put in, with a value of its own: the most frequent term by far.
  if (termChanges_.size() == 1 && !changes_[termChanges_[0]].removed) {
    return sink.add(key, index::Term::single(changes_[termChanges_[0]].record));
  }
  sortTermChanges();
  added_.clear();
  deleted_.clear();
  index::Term term;
  for (std::size_t i = 0; i < termChanges_.size();) {
    const RecordNumber record = changes_[termChanges_[i]].record;
    int net = 0;
    for (; i < termChanges_.size() && changes_[termChanges_[i]].record == record; ++i) {
      const int sign = changes_[termChanges_[i]].removed ? -1 : 1;
      // A change stands there once for each item of the document that has the term. The first makes the document one
      // that has it, the others are extra items.
      const bool isExtraItem = i > 0 && termChanges_[i - 1] == termChanges_[i];
      if (isExtraItem) {
        term.counts.extra += sign;
      } else {
        net += sign;
      }
    }
    // Additions and removals alternate. More than one of a kind would be a record of a number that was taken, or a
    // removal of what is not there: no sum of segments would come out right any more.
    if (net > 1 || net < -1) index::damaged("a record changed twice");
    if (net > 0) added_.add(record);
    if (net < 0) deleted_.add(record);
  }
  term.counts.added = added_.count();
  term.counts.deleted = deleted_.count();
  term.added = added_.finish();
  term.deleted = deleted_.finish();
  // A replacement deletes and adds all that did not change: it comes to nothing, and leaves no trace.
  if (term.counts.added != 0 || term.counts.deleted != 0 || term.counts.extra != 0) sink.add(key, term);
}

void IndexMemtable::clear() {
  if (groups_.size() > keptGroups) {
    groups_.clear();
    sorted_.clear();
    table_.clear();
    rehash();
  }
  for (TermGroup& group : groups_) {
    for (TypeChanges& type : group.types) type.changes.clear();
    if (group.types.size() > 8) group.types.clear();  // They are looked through one by one.
    group.values.clear();
  }
  last_ = 0;
  nonIndexable_.clear();
  tails_.clear();
  entries_ = 0;
  changes_.clear();
}

}  // namespace database_client::embedded
