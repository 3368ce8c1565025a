// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/items/PendingItems.h"

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

std::uint64_t headOf(std::string_view payload) {
  std::uint64_t head = 0;
  if (payload.size() >= headSize) {
    std::memcpy(&head, payload.data(), headSize);
    return __builtin_bswap64(head);
  }
  for (const char byte : payload) head = head << 8 | static_cast<unsigned char>(byte);
  return payload.empty() ? 0 : head << (8 * (headSize - payload.size()));
}

/// Writes the payload's bytes that are in the head, where there is room for all of it.
char* putHead(char* at, std::uint64_t head, std::size_t size) {
  const std::uint64_t reversed = __builtin_bswap64(head);
  std::memcpy(at, &reversed, headSize);
  return at + std::min(size, headSize);
}

constexpr unsigned digitBits = 8;
constexpr unsigned digits = 3;
/// Below this it is cheaper to compare.
constexpr std::size_t fewestForDigits = 96;

}  // namespace

PendingItems::PendingItems() {
  rehash();
}

void PendingItems::change(Rid rid, const ItemExtractor& found, bool removed) {
  if (found.places().empty()) return;
  const auto mark = static_cast<Mark>(changes_.size());
  changes_.push_back({rid, removed});
  for (const ItemExtractor::Place& place : found.places()) {
    if (place.irregular) addIrregular(place.path, mark);
    const Item* items = found.items(place);
    for (std::size_t i = 0; i < place.items; ++i) {
      Slot& slot = slotFor(place.path, items[i]);
      addType(slot, items[i], mark);
      addValue(slot, items[i].value, mark);
      entries_ += 2;
    }
  }
}

std::size_t PendingItems::place(ItemPaths::Id path, const Item& item) const {
  const std::size_t mask = table_.size() - 1;
  const std::uint64_t seed = path * std::uint64_t{2} + (item.named ? 1 : 0);
  std::size_t at = XXH3_64bits_withSeed(item.name.data(), item.name.size(), seed) & mask;
  for (; table_[at] != 0; at = (at + 1) & mask) {
    const Slot& slot = slots_[table_[at] - 1];
    if (slot.path == path && slot.named == item.named && slot.name == item.name) break;
  }
  return at;
}

void PendingItems::rehash() {
  table_.assign(std::max<std::size_t>(64, table_.size() * 2), 0);
  for (std::size_t i = 0; i < slots_.size(); ++i) {
    Item item;
    item.name = slots_[i].name;
    item.named = slots_[i].named;
    table_[place(slots_[i].path, item)] = static_cast<std::uint32_t>(i + 1);
  }
}

PendingItems::Slot& PendingItems::slotFor(ItemPaths::Id path, const Item& item) {
  if (last_ < slots_.size()) {
    const std::uint32_t likely = slots_[last_].next;
    Slot& slot = slots_[likely];
    if (slot.path == path && slot.named == item.named && slot.name == item.name) {
      last_ = likely;
      return slot;
    }
  }
  std::size_t at = place(path, item);
  if (table_[at] == 0) {
    index::KeyBuilder name;
    item.named ? name.name(item.name) : name.noName();
    slots_.push_back({path, item.named, std::string(item.name), name.key()});
    if (slots_.size() * 2 > table_.size()) rehash();
    at = place(path, item);
    table_[at] = static_cast<std::uint32_t>(slots_.size());
  }
  const std::uint32_t found = table_[at] - 1;
  if (last_ < slots_.size()) slots_[last_].next = found;
  last_ = found;
  return slots_[found];
}

void PendingItems::addType(Slot& slot, const Item& item, Mark mark) {
  for (TypeMarks& known : slot.types) {
    if (known.typed == item.typed && known.type == item.type) return known.marks.push_back(mark);
  }
  slot.types.push_back({item.typed, item.type, {mark}});
}

void PendingItems::addValue(Slot& slot, const bson::Value& value, Mark mark) {
  // A short text is its own payload.
  const bool isShortText =
      value.data != nullptr && value.type == bson::Type::string && value.size <= 4 + index::longestText + 1;
  const ValueClass kind = isShortText ? ValueClass::string : index::encodeValue(value, payload_);
  const std::string_view payload = isShortText ? value.asString() : std::string_view(payload_);
  const auto tail = static_cast<std::uint32_t>(tails_.size());
  if (payload.size() > headSize) tails_.append(payload.substr(headSize));
  slot.values.push_back({headOf(payload), tail, mark, static_cast<std::uint16_t>(payload.size()), kind});
}

void PendingItems::addIrregular(ItemPaths::Id path, Mark mark) {
  ++entries_;
  for (Irregular& known : irregular_) {
    if (known.path == path) return known.marks.push_back(mark);
  }
  irregular_.push_back({path, {mark}});
}

std::string_view PendingItems::tailOf(const ValueEntry& entry) const {
  if (entry.size <= headSize) return {};
  return std::string_view(tails_).substr(entry.tail, entry.size - headSize);
}

bool PendingItems::sameValue(const ValueEntry& a, const ValueEntry& b) const {
  return a.head == b.head && a.kind == b.kind && a.size == b.size && tailOf(a) == tailOf(b);
}

/// Of two entries of one kind with equal heads.
bool PendingItems::tailsAreLess(const ValueEntry& a, const ValueEntry& b) const {
  if (a.size > headSize && b.size > headSize) {
    const int order = tailOf(a).compare(tailOf(b));
    if (order != 0) return order < 0;
  } else if (a.size != b.size) {
    return a.size < b.size;
  }
  return a.mark < b.mark;
}

void PendingItems::write(index::TermSink& sink) {
  sortSlots();
  std::vector<ItemPaths::Id> paths;
  for (const Irregular& irregular : irregular_) paths.push_back(irregular.path);
  for (const std::uint32_t slot : sorted_) {
    if (!slots_[slot].values.empty()) paths.push_back(slots_[slot].path);
  }
  std::sort(paths.begin(), paths.end());
  paths.erase(std::unique(paths.begin(), paths.end()), paths.end());
  std::size_t first = 0;
  for (const ItemPaths::Id path : paths) {
    while (first < sorted_.size() && slots_[sorted_[first]].path < path) ++first;
    std::size_t last = first;
    while (last < sorted_.size() && slots_[sorted_[last]].path == path) ++last;
    writeIrregular(sink, path);
    writePath(sink, first, last);
    first = last;
  }
  clear();
}

void PendingItems::sortSlots() {
  if (sorted_.size() == slots_.size()) return;
  sorted_.resize(slots_.size());
  for (std::uint32_t i = 0; i < sorted_.size(); ++i) sorted_[i] = i;
  std::sort(sorted_.begin(), sorted_.end(), [this](std::uint32_t left, std::uint32_t right) {
    const Slot& a = slots_[left];
    const Slot& b = slots_[right];
    return a.path != b.path ? a.path < b.path : a.nameInKey < b.nameInKey;
  });
}

void PendingItems::writePath(index::TermSink& sink, std::size_t first, std::size_t last) {
  for (std::size_t i = first; i < last; ++i) writeTypes(sink, slots_[sorted_[i]]);
  for (std::size_t i = first; i < last; ++i) writeValues(sink, slots_[sorted_[i]]);
}

void PendingItems::writeIrregular(index::TermSink& sink, ItemPaths::Id path) {
  for (Irregular& irregular : irregular_) {
    if (irregular.path != path) continue;
    key_.start(path, TermKind::irregular);
    marks_.swap(irregular.marks);
    emit(sink, key_.key());
  }
}

void PendingItems::writeTypes(index::TermSink& sink, Slot& slot) {
  if (slot.types.size() > 1) {
    std::sort(slot.types.begin(), slot.types.end(),
              [](const TypeMarks& a, const TypeMarks& b) { return a.typed != b.typed ? !a.typed : a.type < b.type; });
  }
  for (TypeMarks& type : slot.types) {
    if (type.marks.empty()) continue;
    key_.start(slot.path, TermKind::name).raw(slot.nameInKey);
    type.typed ? key_.type(type.type) : key_.noType();
    marks_.swap(type.marks);
    emit(sink, key_.key());
    marks_.swap(type.marks);
  }
}

void PendingItems::sortValues(const Slot& slot) {
  order_.clear();
  bool sameKind = true;
  for (std::uint32_t i = 0; i < slot.values.size(); ++i) {
    const ValueEntry& entry = slot.values[i];
    order_.push_back({entry.head, i, entry.kind});
    sameKind = sameKind && entry.kind == order_.front().kind;
  }
  if (order_.size() < 2) return;
  for (std::size_t offset = headSize; skipEqualHeads(slot, offset);) offset += headSize;
  if (sameKind && order_.size() >= fewestForDigits) {
    sortByDigits(slot);
  } else {
    sortAll(slot, 0, order_.size());
  }
}

bool PendingItems::isLess(const Slot& slot, const SortKey& a, const SortKey& b) const {
  if (a.kind != b.kind) return a.kind < b.kind;
  if (a.head != b.head) return a.head < b.head;
  return tailsAreLess(slot.values[a.entry], slot.values[b.entry]);
}

void PendingItems::sortAll(const Slot& slot, std::size_t first, std::size_t last) {
  const auto less = [&](const SortKey& a, const SortKey& b) { return isLess(slot, a, b); };
  const auto begin = order_.begin() + static_cast<std::ptrdiff_t>(first);
  const auto end = order_.begin() + static_cast<std::ptrdiff_t>(last);
  if (!std::is_sorted(begin, end, less)) std::sort(begin, end, less);
}

/// Entries of one kind: by the first digits in which their heads differ, and by comparing what is the same in these.
void PendingItems::sortByDigits(const Slot& slot) {
  std::uint64_t different = 0;
  for (const SortKey& key : order_) different |= key.head ^ order_.front().head;
  const unsigned top = different == 0 ? 0 : 64U - static_cast<unsigned>(__builtin_clzll(different));
  const unsigned lowest = top > digits * digitBits ? top - digits * digitBits : 0;
  for (unsigned shift = lowest; shift < top; shift += digitBits) orderByDigit(shift);
  for (std::size_t first = 0; first < order_.size();) {
    std::size_t last = first + 1;
    while (last < order_.size() && order_[last].head >> lowest == order_[first].head >> lowest) ++last;
    if (last - first > 1) sortAll(slot, first, last);
    first = last;
  }
}

/// Keeps the order of those with the same digit.
void PendingItems::orderByDigit(unsigned shift) {
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
bool PendingItems::skipEqualHeads(const Slot& slot, std::size_t offset) {
  for (const SortKey& key : order_) {
    const bool same = key.head == order_.front().head && key.kind == order_.front().kind;
    if (!same || slot.values[key.entry].size <= offset) return false;
  }
  for (SortKey& key : order_) key.head = headOf(tailOf(slot.values[key.entry]).substr(offset - headSize));
  return true;
}

void PendingItems::writeValues(index::TermSink& sink, Slot& slot) {
  sortValues(slot);
  const auto& values = slot.values;
  const std::string_view prefix = key_.start(slot.path, TermKind::value).raw(slot.nameInKey).key();
  valueKey_.shrink(0);
  valueKey_.append(prefix);
  for (std::size_t i = 0; i < order_.size();) {
    const ValueEntry& entry = values[order_[i].entry];
    marks_.clear();
    marks_.push_back(entry.mark);
    for (++i; i < order_.size() && sameValue(values[order_[i].entry], entry); ++i) {
      marks_.push_back(values[order_[i].entry].mark);
    }
    valueKey_.shrink(prefix.size());
    char* at = valueKey_.room(1 + headSize + entry.size);
    *at++ = static_cast<char>(entry.kind);
    valueKey_.setEnd(index::putBytes(putHead(at, entry.head, entry.size), tailOf(entry)));
    emit(sink, valueKey_.view());
  }
}

bool PendingItems::isBefore(Mark a, Mark b) const {
  const Rid left = changes_[a].rid;
  const Rid right = changes_[b].rid;
  return left != right ? left < right : a < b;
}

/// Writes the net change that `marks_` make to a term.
void PendingItems::emit(index::TermSink& sink, std::string_view key) {
  if (marks_.size() == 1 && !changes_[marks_[0]].removed) {
    return sink.add(key, index::Term::single(changes_[marks_[0]].rid));
  }
  const auto before = [this](Mark a, Mark b) { return isBefore(a, b); };
  if (!std::is_sorted(marks_.begin(), marks_.end(), before)) std::sort(marks_.begin(), marks_.end(), before);
  plus_.clear();
  minus_.clear();
  index::Term term;
  for (std::size_t i = 0; i < marks_.size();) {
    const Rid rid = changes_[marks_[i]].rid;
    int records = 0;
    while (i < marks_.size() && changes_[marks_[i]].rid == rid) {
      const Mark mark = marks_[i];
      std::int64_t items = 0;
      for (; i < marks_.size() && marks_[i] == mark; ++i) ++items;
      const int sign = changes_[mark].removed ? -1 : 1;
      records += sign;
      term.counts.extra += sign * (items - 1);
    }
    if (records > 1 || records < -1) index::damaged("a record changed twice");
    if (records > 0) plus_.add(rid);
    if (records < 0) minus_.add(rid);
  }
  term.counts.plus = plus_.count();
  term.counts.minus = minus_.count();
  term.plus = plus_.finish();
  term.minus = minus_.finish();
  if (term.counts.plus != 0 || term.counts.minus != 0 || term.counts.extra != 0) sink.add(key, term);
}

void PendingItems::clear() {
  if (slots_.size() > keptSlots) {
    slots_.clear();
    sorted_.clear();
    table_.clear();
    rehash();
  }
  for (Slot& slot : slots_) {
    for (TypeMarks& type : slot.types) type.marks.clear();
    if (slot.types.size() > 8) slot.types.clear();
    slot.values.clear();
  }
  last_ = 0;
  irregular_.clear();
  tails_.clear();
  entries_ = 0;
  changes_.clear();
}

}  // namespace database_client::embedded
