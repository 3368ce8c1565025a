#include "client/filter/Steps.h"

#include <algorithm>

namespace database_client::filter {

using bson::Byte;
using bson::Type;
using bson::Value;

namespace {
constexpr std::size_t usualSize = 256;
}

void Steps::raw(const void* bytes, std::size_t size) {
  const auto* first = static_cast<const Byte*>(bytes);
  bytes_.insert(bytes_.end(), first, first + size);
}

void Steps::head(Type type, std::string_view key) {
  if (bytes_.capacity() == 0) bytes_.reserve(usualSize);
  bytes_.push_back(static_cast<Byte>(type));
  raw(key.data(), key.size());
  bytes_.push_back(0);
}

void Steps::add(std::string_view key, const Value& value) {
  head(value.type, key);
  raw(value.data, value.size);
  ++conditions_;
}

void Steps::addComparison(std::string_view key, std::string_view operation, const Value& value) {
  const std::size_t inner = 4 + 1 + operation.size() + 1 + value.size + 1;
  head(Type::document, key);
  const auto length = static_cast<std::int32_t>(inner);
  raw(&length, sizeof length);
  head(value.type, operation);
  raw(value.data, value.size);
  bytes_.push_back(0);
  ++conditions_;
}

void Steps::addAll(const Steps& other) {
  if (other.isEmpty()) return;
  mark(Kind::all);
  raw(other.bytes_.data(), other.bytes_.size());
  bytes_.insert(bytes_.end(), other.open_.size() + 1, static_cast<Byte>(Kind::close));
  conditions_ += other.conditions_;
}

void Steps::mark(Kind kind) {
  if (bytes_.capacity() == 0) bytes_.reserve(usualSize);
  bytes_.push_back(static_cast<Byte>(kind));
}

void Steps::open(Kind grouping) {
  mark(grouping);
  open_.push_back(grouping);
}

void Steps::openField(std::string_view key) {
  head(static_cast<Type>(Kind::field), key);
  open_.push_back(Kind::field);
}

void Steps::closeThrough(bool (*isTarget)(Kind)) {
  const auto target = std::find_if(open_.rbegin(), open_.rend(), isTarget);
  if (target == open_.rend()) return;
  const auto closing = static_cast<std::size_t>(target - open_.rbegin()) + 1;
  bytes_.insert(bytes_.end(), closing, static_cast<Byte>(Kind::close));
  open_.resize(open_.size() - closing);
}

void Steps::closeGrouping() {
  closeThrough([](Kind kind) { return kind != Kind::field; });
}

void Steps::closeField() {
  closeThrough([](Kind kind) { return kind == Kind::field; });
}

}  // namespace database_client::filter
