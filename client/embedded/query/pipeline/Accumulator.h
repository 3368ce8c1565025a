// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "client/bson/View.h"
#include "client/bson/Writer.h"

namespace database_client::embedded {

/// What one accumulator of one group has seen so far.
class Accumulator {
 public:
  Accumulator() = default;
  Accumulator(const Accumulator&) = delete;
  Accumulator& operator=(const Accumulator&) = delete;
  virtual ~Accumulator() = default;

  /// Takes the value that a document gives, which may be missing. Returns by how many bytes the state grew at most.
  virtual std::size_t add(const bson::Value& value) = 0;
  virtual void write(std::string_view key, bson::Writer& out) = 0;
};

using AccumulatorMaker = std::unique_ptr<Accumulator> (*)();

/// The maker of $sum $avg $min $max $first $last $push $addToSet $mergeObjects $stdDevPop $stdDevSamp. Throws
/// Error{unsupported} for another one that a server knows, Error{query} with 15952 for any other name.
AccumulatorMaker accumulatorNamed(std::string_view name);

}  // namespace database_client::embedded
