// SPDX-License-Identifier: Apache-2.0
#include "exporting/ArrowColumn.h"

#include <array>
#include <limits>
#include <memory>
#include <string>
#include <utility>

#include "database_client/Error.h"

namespace database_provider::exporting {

namespace {

constexpr std::int64_t bitsOfByte = 8;

void addBit(std::vector<std::uint8_t>& bits, std::int64_t place, bool isSet) {
  if (place % bitsOfByte == 0) bits.push_back(0);
  if (isSet) bits.back() = static_cast<std::uint8_t>(bits.back() | (1U << static_cast<unsigned>(place % bitsOfByte)));
}

/// What a structure owns. A consumer may move children out, which then are released by themselves, before or after.
template <class Node>
struct Owned {
  std::vector<std::unique_ptr<Node>> nodes{};
  std::vector<Node*> children{};
  std::string format{};
  std::string name{};
  std::array<const void*, 1> buffers{nullptr};
};

template <class Node>
void releaseStructure(Node* node) {
  const auto* owned = static_cast<Owned<Node>*>(node->private_data);
  for (Node* child : owned->children) {
    if (child->release != nullptr) child->release(child);
  }
  node->release = nullptr;
  delete owned;
}

/// What an array of one column owns.
struct OwnedColumn {
  ArrowColumn column;
  std::array<const void*, 3> buffers{};
};

void releaseColumn(ArrowArray* array) {
  const auto* owned = static_cast<OwnedColumn*>(array->private_data);
  array->release = nullptr;
  delete owned;
}

template <class Item>
const void* dataOf(const std::vector<Item>& items) {
  // A reader may want an address even where there is nothing at it.
  static const std::int64_t nothing = 0;
  return items.empty() ? static_cast<const void*>(&nothing) : items.data();
}

}  // namespace

void ArrowColumn::addValidity(bool isValid) {
  addBit(validity_, length_++, isValid);
  if (!isValid) ++nulls_;
}

void ArrowColumn::addNull() {
  switch (type_) {
    case PropertyType::boolean:
      addBit(booleans_, length_, false);
      break;
    case PropertyType::int32:
      integers_.push_back(0);
      break;
    case PropertyType::int64:
    case PropertyType::time:
      longs_.push_back(0);
      break;
    case PropertyType::real:
      reals_.push_back(0);
      break;
    default:
      offsets_.push_back(offsets_.back());
  }
  addValidity(false);
}

void ArrowColumn::add(std::string_view text) {
  const std::size_t size = text_.size() + text.size();
  if (size > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max()))
    throw database_client::Error(database_client::Error::Kind::document,
                                 "the texts of a column take more than 2 GiB in one batch");
  text_.insert(text_.end(), text.begin(), text.end());
  offsets_.push_back(static_cast<std::int32_t>(size));
  addValidity(true);
}

void ArrowColumn::add(bool boolean) {
  addBit(booleans_, length_, boolean);
  addValidity(true);
}

void ArrowColumn::add(std::int32_t integer) {
  integers_.push_back(integer);
  addValidity(true);
}

void ArrowColumn::add(std::int64_t integer) {
  longs_.push_back(integer);
  addValidity(true);
}

void ArrowColumn::add(double real) {
  reals_.push_back(real);
  addValidity(true);
}

void ArrowColumn::moveTo(ArrowArray& array) {
  auto owned = std::make_unique<OwnedColumn>(OwnedColumn{std::move(*this)});
  const ArrowColumn& column = owned->column;
  array = ArrowArray{};
  array.length = column.length_;
  array.null_count = column.nulls_;
  array.n_buffers = 2;
  owned->buffers[0] = column.nulls_ == 0 ? nullptr : dataOf(column.validity_);
  switch (column.type_) {
    case PropertyType::boolean:
      owned->buffers[1] = dataOf(column.booleans_);
      break;
    case PropertyType::int32:
      owned->buffers[1] = dataOf(column.integers_);
      break;
    case PropertyType::int64:
    case PropertyType::time:
      owned->buffers[1] = dataOf(column.longs_);
      break;
    case PropertyType::real:
      owned->buffers[1] = dataOf(column.reals_);
      break;
    default:
      array.n_buffers = 3;
      owned->buffers[1] = dataOf(column.offsets_);
      owned->buffers[2] = dataOf(column.text_);
  }
  array.buffers = owned->buffers.data();
  array.release = releaseColumn;
  array.private_data = owned.release();
}

const char* arrowFormat(PropertyType type) {
  switch (type) {
    case PropertyType::boolean:
      return "b";
    case PropertyType::int32:
      return "i";
    case PropertyType::int64:
      return "l";
    case PropertyType::real:
      return "g";
    case PropertyType::time:
      return "tsm:UTC";
    default:
      return "u";
  }
}

void fillSchema(ArrowSchema& schema, const char* format, const std::string& name) {
  auto owned = std::make_unique<Owned<ArrowSchema>>();
  owned->format = format;
  owned->name = name;
  schema = ArrowSchema{};
  schema.format = owned->format.c_str();
  schema.name = owned->name.c_str();
  schema.flags = ARROW_FLAG_NULLABLE;
  schema.release = releaseStructure<ArrowSchema>;
  schema.private_data = owned.release();
}

void fillStructure(ArrowSchema& schema, const std::vector<std::pair<std::string, PropertyType>>& fields) {
  fillSchema(schema, "+s", "");
  schema.flags = 0;
  auto* owned = static_cast<Owned<ArrowSchema>*>(schema.private_data);
  for (const auto& [name, type] : fields) {
    owned->nodes.push_back(std::make_unique<ArrowSchema>());
    owned->children.push_back(owned->nodes.back().get());
    fillSchema(*owned->children.back(), arrowFormat(type), name);
  }
  schema.n_children = static_cast<std::int64_t>(fields.size());
  schema.children = owned->children.data();
}

void fillStructure(ArrowArray& array, std::vector<ArrowColumn> columns) {
  auto owned = std::make_unique<Owned<ArrowArray>>();
  array = ArrowArray{};
  array.length = columns.empty() ? 0 : columns.front().length();
  for (ArrowColumn& column : columns) {
    owned->nodes.push_back(std::make_unique<ArrowArray>());
    owned->children.push_back(owned->nodes.back().get());
    column.moveTo(*owned->children.back());
  }
  array.n_buffers = 1;
  array.buffers = owned->buffers.data();
  array.n_children = static_cast<std::int64_t>(columns.size());
  array.children = owned->children.data();
  array.release = releaseStructure<ArrowArray>;
  array.private_data = owned.release();
}

}  // namespace database_provider::exporting
