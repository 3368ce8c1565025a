// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/expression/Scratch.h"

#include <string>
#include <utility>

#include "client/embedded/query/values/errors.h"

namespace database_client::embedded {

using bson::Byte;
using bson::Type;
using bson::Value;

namespace {

constexpr Byte noByte[1] = {0};
constexpr Byte trueByte[1] = {1};

}  // namespace

Value nullValue() {
  return {Type::null, noByte, 0};
}

Value booleanValue(bool value) {
  return {Type::boolean, value ? trueByte : noByte, 1};
}

Value Scratch::keep(Type type, std::vector<Byte>&& bytes) {
  checkSize(bytes.size());
  if (keptBytes_ + bytes.size() > memoryLimit) {
    refuseQuery(code::exceededMemoryLimit, "an expression needs more than " + std::to_string(memoryLimit) + " bytes");
  }
  keptBytes_ += bytes.size();
  const std::vector<Byte>& kept = kept_.emplace_back(std::move(bytes));
  return {type, kept.data(), kept.size()};
}

void Scratch::checkSize(std::size_t size) {
  if (size > bson::maximumSize) {
    refuseDocument(code::bsonObjectTooLarge, "an expression gives a value of more than 16777216 bytes");
  }
}

Value Scratch::keepText(std::string_view text) {
  const std::size_t prefix = sizeof(std::int32_t);
  std::vector<Byte> bytes(prefix + text.size() + 1);
  bson::store(bytes.data(), static_cast<std::int32_t>(text.size() + 1));
  text.copy(reinterpret_cast<char*>(bytes.data() + prefix), text.size());
  return keep(Type::string, std::move(bytes));
}

Byte* Scratch::room() {
  const std::size_t block = usedCells_ / cellsInBlock;
  if (block == cells_.size()) cells_.push_back(std::make_unique<CellBlock>());
  return (*cells_[block])[usedCells_++ % cellsInBlock].data();
}

void Scratch::release(const Mark& mark) {
  while (kept_.size() > mark.values) {
    keptBytes_ -= kept_.back().size();
    kept_.pop_back();
  }
  usedCells_ = mark.cells;
}

}  // namespace database_client::embedded
