// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <deque>
#include <memory>
#include <vector>

#include "client/bson/View.h"
#include "client/bson/Writer.h"

namespace database_client::embedded {

/// Keeps values that expressions build for as long as they are looked at.
class Scratch {
 public:
  /// The document or array of finished bytes, valid until `clear`.
  bson::Value keep(bson::Type type, std::vector<bson::Byte>&& bytes) {
    const std::vector<bson::Byte>& kept = kept_.emplace_back(std::move(bytes));
    return {type, kept.data(), kept.size()};
  }
  void clear() { kept_.clear(); }

 private:
  std::deque<std::vector<bson::Byte>> kept_;
};

/// Computes a value from a document: a field path, $$ROOT or $$CURRENT, a literal, or a document or array of these.
class Expression {
 public:
  Expression() = default;
  Expression(const Expression&) = delete;
  Expression& operator=(const Expression&) = delete;
  virtual ~Expression() = default;

  /// Missing when there is no such field. Valid as long as the document, the expression and the scratch.
  virtual bson::Value evaluate(bson::View root, Scratch& scratch) const = 0;

  /// Whether the value is the same for every document.
  virtual bool isConstant() const { return false; }
};
using ExpressionPtr = std::unique_ptr<const Expression>;

/// Whether an aggregation takes this value for an operator with its operands rather than for a document of expressions:
/// its first key begins with `$`. A query also knows references (`isOperatorDocument`), an aggregation does not.
bool isOperatorExpression(const bson::Value& value);

/// Throws Error{unsupported} naming an operator or variable, Error{query} for a malformed path.
ExpressionPtr parseExpression(const bson::Value& value);

}  // namespace database_client::embedded
