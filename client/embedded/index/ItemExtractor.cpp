#include "client/embedded/index/ItemExtractor.h"

#include <algorithm>
#include <cstring>

namespace database_client::embedded {

namespace {

bool hasPlainKey(const bson::Element& element) {
  return element.key.find('.') == std::string_view::npos && !isArrayPosition(element.key) && !element.key.empty();
}

bool isNested(const bson::Value& value) {
  return value.isDocument() || value.isArray();
}

/// Compares with a key of known length, which takes no call.
template <std::size_t size>
bool is(std::string_view key, const char (&name)[size]) {
  return key.size() == size - 1 && std::memcmp(key.data(), name, size - 1) == 0;
}

/// An element of an item, told by its key.
struct Field {
  enum class Kind { name, value, type, other };
  Kind kind = Kind::other;
  bson::Value value{};
};

/// The first bytes of a key and the NUL behind it, as they are loaded together.
template <std::size_t size>
constexpr std::uint64_t wordOf(const char (&key)[size]) {
  std::uint64_t word = 0;
  for (std::size_t i = size; i > 0; --i) word = word << 8 | static_cast<unsigned char>(key[i - 1]);
  return word;
}

template <std::size_t size>
bool begins(std::uint64_t word, const char (&key)[size]) {
  return ((word ^ wordOf(key)) << (64 - 8 * size)) == 0;
}

/// The element at `at`; `end` is that of its document, from where on nothing is read.
Field fieldAt(const bson::Byte* at, const bson::Byte* end) {
  const auto type = static_cast<bson::Type>(*at++);
  Field::Kind kind = Field::Kind::other;
  std::size_t size = 0;
  if (static_cast<std::size_t>(end - at) >= sizeof(std::uint64_t)) {
    const auto word = bson::load<std::uint64_t>(at);
    if (begins(word, "name")) {
      kind = Field::Kind::name;
      size = sizeof "name";
    } else if (begins(word, "value")) {
      kind = Field::Kind::value;
      size = sizeof "value";
    } else if (begins(word, "type")) {
      kind = Field::Kind::type;
      size = sizeof "type";
    }
  }
  if (kind == Field::Kind::other) {
    const std::string_view key = bson::cString(at);
    size = key.size() + 1;
    if (is(key, "name")) kind = Field::Kind::name;
    if (is(key, "value")) kind = Field::Kind::value;
    if (is(key, "type")) kind = Field::Kind::type;
  }
  return {kind, {type, at + size, bson::valueSize(type, at + size)}};
}

bool isNothing(const bson::Value& value) {
  return value.type == bson::Type::null;
}

}  // namespace

void ItemExtractor::extract(bson::View document) {
  places_.clear();
  items_.clear();
  walk(document, ItemPaths::root, Way::plain);
  settle();
}

/// Whether the level itself looks like an item.
bool ItemExtractor::walk(bson::View level, ItemPaths::Id path, Way way) {
  bool isItem = false;
  for (const bson::Element& element : level) {
    isItem = isItem || is(element.key, "name") || is(element.key, "value");
    if (hasPlainKey(element)) visit(level, element, path, way);
  }
  return isItem;
}

void ItemExtractor::visit(bson::View level, const bson::Element& element, ItemPaths::Id path, Way way) {
  if (isNothing(element.value)) return;
  const bool nested = isNested(element.value);
  if (!nested && way == Way::devious) return;
  const auto child = paths_.child(path, element.key, !nested);
  if (!child) return;
  if (!nested) return visitOther(*child, way);
  if (level.find(element.key).data != element.value.data) way = Way::devious;
  if (element.value.isDocument()) {
    visitDocument(element.value.asDocument(), *child, way);
  } else {
    visitArray(element.value.asDocument(), *child, way);
  }
}

void ItemExtractor::visitOther(ItemPaths::Id path, Way way) {
  if (paths_.noteOther(path) && way == Way::plain) addIrregular(path);
}

void ItemExtractor::visitDocument(bson::View document, ItemPaths::Id path, Way way) {
  if (walk(document, path, way)) {
    paths_.track(path);
    addIrregular(path);
  } else if (way == Way::plain) {
    visitOther(path, way);
  }
}

void ItemExtractor::visitArray(bson::View array, ItemPaths::Id path, Way way) {
  const std::size_t firstItem = items_.size();
  bool regular = way == Way::plain;
  bool anyItem = false;
  bool anyNested = false;
  for (const bson::Byte* at = array.data + 4; *at != 0;) {
    const bson::Byte* const start = at + 1 + bson::shortCString(at + 1).size() + 1;
    const auto type = static_cast<bson::Type>(*at);
    const bson::Value value{type, start, bson::valueSize(type, start)};
    at = start + value.size;
    items_.emplace_back();
    if (value.isArray()) regular = false;
    if (value.isArray()) anyNested = true;
    if (!value.isDocument()) continue;
    regular = readItem(value.asDocument(), items_.back(), anyItem, anyNested) && regular;
  }
  const std::size_t count = items_.size() - firstItem;
  if (anyItem) paths_.track(path);
  const bool told = anyItem || (count > 0 && way == Way::plain && paths_.noteOther(path));
  if (told && regular) {
    places_.push_back({path, false, firstItem, count});
  } else {
    items_.resize(firstItem);
    if (told) addIrregular(path);
  }
  if (anyNested) walkElements(array, path);
}

/// What lies below an array is not reached as an aggregation reaches things, but by queries.
void ItemExtractor::walkElements(bson::View array, ItemPaths::Id path) {
  for (const bson::Element& element : array) {
    if (element.value.isDocument()) walk(element.value.asDocument(), path, Way::devious);
  }
}

/// False when the item makes the document irregular.
bool ItemExtractor::readItem(bson::View document, Item& item, bool& isItem, bool& nested) {
  int names = 0;
  int values = 0;
  int types = 0;
  bool plain = true;
  const bson::Byte* const end = document.data + document.size;
  for (const bson::Byte* at = document.data + 4; *at != 0;) {
    const Field field = fieldAt(at, end);
    at = field.value.data + field.value.size;
    nested = nested || isNested(field.value);
    if (field.kind == Field::Kind::name) {
      ++names;
      item.named = true;
      plain = plain && field.value.type == bson::Type::string;
      if (plain) item.name = field.value.asString();
    } else if (field.kind == Field::Kind::value) {
      ++values;
      item.value = field.value;
    } else if (field.kind == Field::Kind::type) {
      ++types;
      item.typed = true;
      plain = plain && field.value.type == bson::Type::int32;
      if (plain) item.type = field.value.asInt32();
    }
  }
  isItem = isItem || names > 0 || values > 0;
  return plain && names < 2 && values < 2 && types < 2 && item.name.size() <= index::longestName;
}

void ItemExtractor::addIrregular(ItemPaths::Id path) {
  places_.push_back({path, true, 0, 0});
}

/// Leaves each path once: what occurs twice is irregular.
void ItemExtractor::settle() {
  if (places_.size() < 2) return;
  std::stable_sort(places_.begin(), places_.end(), [](const Place& a, const Place& b) { return a.path < b.path; });
  std::size_t kept = 0;
  for (std::size_t i = 1; i < places_.size(); ++i) {
    if (places_[i].path == places_[kept].path) {
      places_[kept] = {places_[i].path, true, 0, 0};
    } else {
      places_[++kept] = places_[i];
    }
  }
  places_.resize(kept + 1);
}

}  // namespace database_client::embedded
