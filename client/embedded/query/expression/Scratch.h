// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "client/bson/View.h"

namespace database_client::embedded {

/// Values that need no room of their own.
bson::Value nullValue();
bson::Value booleanValue(bool value);

/// What an evaluation works with besides the document: room for the values that it computes, and the variables in
/// scope. A number takes a cell, which is used again after `clear` or `release`.
class Scratch {
 public:
  /// How many bytes the values of one evaluation may take.
  static constexpr std::size_t memoryLimit = 128 * 1024 * 1024;

  /// The value of these bytes, valid until `clear` or a `release` behind which it lies. Throws Error{document} for more
  /// bytes than a document may have, Error{query} with 146 beyond the limit.
  bson::Value keep(bson::Type type, std::vector<bson::Byte>&& bytes);
  bson::Value keepText(std::string_view text);
  /// Throws as `keep` does for bytes that are still being written, so that they do not grow far beyond what a document
  /// may have.
  static void checkSize(std::size_t size);
  bson::Value keepInt32(std::int32_t number) { return keepNumber(bson::Type::int32, number); }
  bson::Value keepInt64(std::int64_t number) { return keepNumber(bson::Type::int64, number); }
  bson::Value keepDouble(double number) { return keepNumber(bson::Type::real, number); }
  bson::Value keepDate(std::int64_t milliseconds) { return keepNumber(bson::Type::date, milliseconds); }
  /// Room for one number of any kind.
  bson::Byte* room();

  /// Variables have numbers that no other variable of the same expression has (`VariableScope`).
  void bind(std::size_t variable, const bson::Value& value) {
    if (variable >= variables_.size()) variables_.resize(variable + 1);
    variables_[variable] = value;
  }
  const bson::Value& variable(std::size_t variable) const { return variables_[variable]; }

  /// What is kept after `mark` goes with `release`: what each element of an array needs while it is looked at.
  struct Mark {
    std::size_t values;
    std::size_t cells;
  };
  Mark mark() const { return {kept_.size(), usedCells_}; }
  void release(const Mark& mark);

  void clear() {
    if (!kept_.empty()) release({0, 0});
    usedCells_ = 0;
  }

 private:
  static constexpr std::size_t cellSize = 16;
  static constexpr std::size_t cellsInBlock = 16;
  using CellBlock = std::array<std::array<bson::Byte, cellSize>, cellsInBlock>;

  template <class Number>
  bson::Value keepNumber(bson::Type type, Number number) {
    bson::Byte* const at = room();
    bson::store(at, number);
    return {type, at, sizeof number};
  }

  // What is kept must not move when more comes: the bytes of a vector do not when the vector does, cells lie in blocks.
  // Nothing is allocated before it is needed, since stages make a scratch for each document.
  std::vector<std::vector<bson::Byte>> kept_;
  std::size_t keptBytes_ = 0;
  std::vector<std::unique_ptr<CellBlock>> cells_;
  std::size_t usedCells_ = 0;
  std::vector<bson::Value> variables_;
};

}  // namespace database_client::embedded
