// SPDX-License-Identifier: Apache-2.0
#include "client/bson/Document.h"

#include <algorithm>
#include <cstring>

#include "client/bson/validate.h"
#include "database_client/Error.h"

namespace database_client {

using bson::Byte;
using bson::Element;
using bson::Type;
using bson::Value;
using bson::View;

namespace {

constexpr std::size_t emptyLevelSize = 5;
constexpr std::size_t stepsBeforeIndex = 128;
constexpr std::size_t usualDepth = 6;

std::size_t elementSize(std::string_view key, std::size_t valueSize) {
  return 1 + key.size() + 1 + valueSize;
}

/// Compares names, which tend to differ at their end ("plot 1", "plot 2").
bool areEqual(std::string_view a, std::string_view b) {
  return a.size() == b.size() && (a.empty() || (a.back() == b.back() && a == b));
}

/// Whether the first value of a level under `key` is this text. In a record's items it is the first of all.
bool holds(View level, std::string_view key, std::string_view text) {
  const Byte* first = level.data + 4;
  const bool isFirst = *first == static_cast<Byte>(Type::string) && bson::isKey(first + 1, key);
  const Value value = isFirst ? Value{Type::string, first + 1 + key.size() + 1, 0} : level.find(key);
  return value.data != nullptr && value.type == Type::string && areEqual(value.asString(), text);
}

/// Copies between one and two words: the first and the last, which may overlap.
template <class Word>
void copyEnds(Byte* to, const char* from, std::size_t size) {
  const std::size_t last = size - sizeof(Word);
  std::memcpy(to, from, sizeof(Word));
  std::memcpy(to + last, from + last, sizeof(Word));
}

/// Copies a text that is short more often than not.
Byte* copyText(Byte* to, std::string_view text) {
  const char* from = text.data();
  const std::size_t size = text.size();
  if (size < 4) {
    for (std::size_t i = 0; i < size; ++i) to[i] = static_cast<Byte>(from[i]);
  } else if (size <= 8) {
    copyEnds<std::uint32_t>(to, from, size);
  } else if (size <= 16) {
    copyEnds<std::uint64_t>(to, from, size);
  } else {
    std::memcpy(to, from, size);
  }
  return to + size;
}

}  // namespace

std::size_t Document::endOf(const Level& level) const {
  return level.start + static_cast<std::size_t>(bson::load<std::int32_t>(bytes_.data() + level.start)) - 1;
}

View Document::level() const {
  return current().missing ? bson::emptyDocument() : bson::viewAt(bytes_.data() + current().start);
}

// Looking up

Value Document::find(std::string_view name) {
  const Key key(name);
  const std::size_t offset = offsetOf(key);
  if (offset == 0) return {};
  advanceHint(current(), offset, key);
  return bson::elementAt(bytes_.data() + offset).value;
}

std::size_t Document::offsetOf(const Key& key) {
  Level& level = current();
  if (level.missing || key.hasNul()) return 0;
  const Byte* data = bytes_.data();
  // From what costs least to what costs most. The entry at the hint is the first of its key only when no entry before
  // it can have that key.
  if (level.hint != 0 && (level.keysBeforeHint & key.bit) == 0 && data[level.hint] != 0 &&
      bson::isKey(data + level.hint + 1, key.text)) {
    return level.hint;
  }
  if (isKnownAbsent(level, key)) return 0;
  if (level.index) return level.index->find(data, key.text);
  return scan(level, key);
}

/// Searches from the front, which leaves the hint at the entry found, or at the end with all keys known.
std::size_t Document::scan(Level& level, const Key& key) {
  const Byte* data = bytes_.data();
  std::size_t steps = 0;
  std::size_t result = 0;
  level.keysBeforeHint = 0;
  level.hint = endOf(level);
  for (const Element& element : bson::viewAt(data + level.start)) {
    ++steps;
    if (element.key == key.text) {
      result = level.hint = static_cast<std::size_t>(element.start - data);
      break;
    }
    level.keysBeforeHint |= bitOf(element.key);
  }
  if (result == 0) {
    level.keys = level.keysBeforeHint;
    level.keysAreKnown = true;
    level.count = static_cast<int>(steps);
  }
  // To build the index is to go through the whole level and hash every key. It pays for a level that is large enough,
  // once searches have gone more than twice as far as this one.
  level.searched += steps;
  if (level.searched > stepsBeforeIndex && level.searched > 2 * steps) {
    level.index = std::make_unique<bson::LevelIndex>(data, level.start);
  }
  return result;
}

/// The entry at `offset` was found. The hint goes behind it only from the entry itself: what lies between the hint and
/// an entry found by the index has not been looked at, and its keys would be missing from `keysBeforeHint`.
void Document::advanceHint(Level& level, std::size_t offset, const Key& key) {
  if (offset != level.hint) return;
  level.hint += bson::elementAt(bytes_.data() + offset).size();
  level.keysBeforeHint |= key.bit;
}

Element Document::at(int index) {
  const std::size_t offset = offsetAt(index);
  return offset == 0 ? Element{} : bson::elementAt(bytes_.data() + offset);
}

std::size_t Document::offsetAt(int index) {
  Level& level = current();
  if (level.missing || index < 0) return 0;
  if (level.index) {
    const auto& offsets = level.index->offsets();
    return static_cast<std::size_t>(index) < offsets.size() ? offsets[static_cast<std::size_t>(index)] : 0;
  }
  const Byte* data = bytes_.data();
  if (level.positionOffset == 0 || index < level.position) {
    level.positionOffset = level.start + 4;
    level.position = 0;
  }
  for (; data[level.positionOffset] != 0; ++level.position) {
    if (level.position == index) return level.positionOffset;
    level.positionOffset += bson::elementAt(data + level.positionOffset).size();
  }
  return 0;
}

int Document::findLastItem(std::string_view key, std::string_view text) {
  Level& level = current();
  if (level.missing) return -1;
  int last = -1;
  int position = 0;
  const Byte* data = bytes_.data();
  for (const Byte* at = data + level.start + 4; *at != 0; ++position) {
    const Byte* start = at;
    const auto type = static_cast<Type>(*at);
    at += 1 + bson::shortCString(at + 1).size() + 1;
    if (bson::isLevel(type) && holds(bson::viewAt(at), key, text)) {
      last = level.position = position;
      level.positionOffset = static_cast<std::size_t>(start - data);
    }
    at += bson::valueSize(type, at);
  }
  level.count = position;
  return last;
}

int Document::size() {
  Level& level = current();
  if (level.missing) return 0;
  if (level.count < 0) level.count = static_cast<int>(this->level().count());
  return level.count;
}

// Writing

void Document::refuse(std::string_view key, const std::string& why) {
  const std::string path = pathOf(key);
  throw Error(Error::Kind::document, "\"" + path + "\": " + why, {path});
}

void Document::checkKey(const Key& key) {
  if (key.hasNul()) refuse(key.text.substr(0, key.text.find('\0')), "a key cannot hold a NUL character");
  if (!bson::isUtf8(key.text)) refuse({}, "a key that is not valid UTF-8");
}

std::size_t Document::sizeOfMissing() const {
  std::size_t size = 0;
  for (const std::string& key : missing_) size += elementSize(key, emptyLevelSize);
  return size;
}

Byte* Document::put(std::string_view name, Type type, std::size_t size) {
  const Key key(name);
  const std::size_t offset = isKnownAbsent(current(), key) ? 0 : offsetOf(key);
  if (offset == 0) return append(key, type, size);
  advanceHint(current(), offset, key);
  return overwrite(offset, type, size);
}

Byte* Document::overwrite(std::size_t offset, Type type, std::size_t size) {
  const Element old = bson::elementAt(bytes_.data() + offset);
  const auto place = static_cast<std::size_t>(old.value.data - bytes_.data());
  if (size > old.value.size) checkSize(old.key, size - old.value.size);
  Byte* data = resize(place, old.value.size, size);
  data[offset] = static_cast<Byte>(type);
  return data + place;
}

Byte* Document::append(const Key& key, Type type, std::size_t size) {
  if (!key.isPlain) checkKey(key);
  checkSize(key.text, elementSize(key.text, size));
  if (current().missing) createMissing();
  Level& level = current();
  const std::size_t offset = endOf(level);
  if (offset == level.start + 4) markEmpty(level);
  const std::size_t added = elementSize(key.text, size);
  Byte* data = bytes_.splice(offset, 0, added);
  addToLength(level, data, static_cast<std::int64_t>(added));
  level.keys |= key.bit;
  if (level.count >= 0) ++level.count;
  Byte* at = data + offset;
  *at = static_cast<Byte>(type);
  at = copyText(at + 1, key.text);
  *at = 0;
  if (level.index) level.index->append(data, static_cast<std::uint32_t>(offset));
  return at + 1;
}

Byte* Document::resize(std::size_t offset, std::size_t oldSize, std::size_t newSize) {
  Byte* data = bytes_.splice(offset, oldSize, newSize);
  const auto delta = static_cast<std::int64_t>(newSize) - static_cast<std::int64_t>(oldSize);
  if (delta != 0) mend(current(), data, offset, delta);
  return data;
}

void Document::addToLength(Level& level, Byte* data, std::int64_t delta) noexcept {
  Byte* length = data + level.start;
  bson::store(length, static_cast<std::int32_t>(bson::load<std::int32_t>(length) + delta));
  level.grown += delta;
}

/// The bytes of `level` behind `offset` have moved.
void Document::mend(Level& level, Byte* data, std::size_t offset, std::int64_t delta) noexcept {
  addToLength(level, data, delta);
  if (level.hint > offset) level.hint = static_cast<std::size_t>(static_cast<std::int64_t>(level.hint) + delta);
  if (level.positionOffset > offset)
    level.positionOffset = static_cast<std::size_t>(static_cast<std::int64_t>(level.positionOffset) + delta);
  if (level.index) level.index->shift(static_cast<std::uint32_t>(offset), delta);
}

/// Passes what `inner` has grown by on to the level that holds it.
void Document::propagateGrowth(Level& around, Level& inner) noexcept {
  if (inner.grown == 0) return;
  mend(around, bytes_.writable(), inner.start, inner.grown);
  inner.grown = 0;
}

const bson::Buffer& Document::bytes() {
  for (std::size_t i = nested_.size(); i > 0; --i) propagateGrowth(i > 1 ? nested_[i - 2] : root_, nested_[i - 1]);
  return bytes_;
}

void Document::erase(std::string_view key) {
  for (std::size_t offset = offsetOf(Key(key)); offset != 0;) offset = eraseAt(offset, key);
}

/// Removes the entry at `offset` and finds the next with the same key behind it.
std::size_t Document::eraseAt(std::size_t offset, std::string_view key) {
  Level& level = current();
  level.index.reset();
  level.searched = 0;
  level.positionOffset = 0;
  if (level.count > 0) --level.count;
  const Byte* data = resize(offset, bson::elementAt(bytes_.data() + offset).size(), 0);
  for (std::size_t at = offset; data[at] != 0; at += bson::elementAt(data + at).size()) {
    if (bson::isKey(data + at + 1, key)) return at;
  }
  return 0;
}

void Document::clear() {
  const std::vector<Step> open = steps();
  bytes_ = bson::Buffer();
  root_ = Level();
  returnTo(open);
}

void Document::includeAtRoot(const bson::Buffer& other) {
  Document changed(bytes());
  for (const Element& element : other.view()) {
    Byte* at = changed.put(element.key, element.value.type, element.value.size);
    std::memcpy(at, element.value.data, element.value.size);
  }
  const std::vector<Step> open = steps();
  bytes_ = changed.bytes_;
  root_ = Level();
  returnTo(open);
}

// Moving between levels

void Document::begin(std::string_view name, Type kind) {
  if (nested_.size() >= static_cast<std::size_t>(bson::maximumDepth)) refuse(name, "nested deeper than 100 levels");
  const Key key(name);
  const std::size_t offset = isKnownAbsent(current(), key) ? 0 : offsetOf(key);
  if (offset == 0) {
    Byte* at = append(key, kind, emptyLevelSize);
    std::memcpy(at, bson::emptyDocument().data, emptyLevelSize);
    markEmpty(push(static_cast<std::size_t>(at - bytes_.data()), kind));
    return;
  }
  advanceHint(current(), offset, key);
  const Value value = bson::elementAt(bytes_.data() + offset).value;
  if (value.type == kind) {
    push(static_cast<std::size_t>(value.data - bytes_.data()), kind);
  } else {
    pushMissing(name, kind);
  }
}

bool Document::enter(std::string_view key, Type kind) {
  const Value value = find(key);
  if (value.data == nullptr || value.type != kind) return false;
  push(static_cast<std::size_t>(value.data - bytes_.data()), kind);
  return true;
}

bool Document::enterAt(int index) {
  const Element element = at(index);
  if (element.start == nullptr || !element.value.isLevel()) return false;
  push(static_cast<std::size_t>(element.value.data - bytes_.data()), element.value.type);
  return true;
}

void Document::leave() noexcept {
  if (nested_.empty()) return;
  propagateGrowth(nested_.size() > 1 ? nested_[nested_.size() - 2] : root_, nested_.back());
  if (nested_.back().missing) missing_.pop_back();
  nested_.pop_back();
}

void Document::leaveAll() noexcept {
  while (!nested_.empty()) leave();
}

void Document::createMissing() {
  std::vector<Step> levels;
  for (; current().missing; nested_.pop_back(), missing_.pop_back()) {
    levels.push_back({std::move(missing_.back()), current().kind});
  }
  for (auto step = levels.rbegin(); step != levels.rend(); ++step) {
    Byte* at = put(step->key, step->kind, emptyLevelSize);
    std::memcpy(at, bson::emptyDocument().data, emptyLevelSize);
    push(static_cast<std::size_t>(at - bytes_.data()), step->kind);
  }
}

Document::Level& Document::push(std::size_t start, Type kind) {
  if (nested_.empty()) nested_.reserve(usualDepth);
  Level& level = nested_.emplace_back();
  level.start = start;
  level.kind = kind;
  return level;
}

void Document::pushMissing(std::string_view key, Type kind) {
  std::string text(key);
  missing_.reserve(missing_.size() + 1);
  push(0, kind).missing = true;
  missing_.push_back(std::move(text));
}

std::string Document::keyOf(std::size_t nested) const {
  const Level& level = nested_[nested];
  const std::size_t outermostMissing = nested_.size() - missing_.size();
  if (level.missing) return missing_[nested - outermostMissing];
  const std::size_t parent = nested == 0 ? root_.start : nested_[nested - 1].start;
  for (const Element& element : bson::viewAt(bytes_.data() + parent)) {
    if (element.value.data == bytes_.data() + level.start) return std::string(element.key);
  }
  return {};
}

std::string Document::pathOf(std::string_view key) {
  bytes();
  std::string path;
  for (std::size_t i = 0; i < nested_.size(); ++i) path += keyOf(i) + ".";
  return path.append(key);
}

std::vector<Document::Step> Document::steps() {
  bytes();
  std::vector<Step> result;
  for (std::size_t i = 0; i < nested_.size(); ++i) {
    result.push_back({keyOf(i), nested_[i].kind});
  }
  return result;
}

void Document::returnTo(const std::vector<Step>& steps) {
  leaveAll();
  for (const Step& step : steps) {
    if (current().missing || !enter(step.key, step.kind)) pushMissing(step.key, step.kind);
  }
}

}  // namespace database_client
