// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "client/bson/View.h"
#include "client/embedded/query/expression/Scratch.h"

/// What stages of an aggregation compute from a document: $project and $addFields a field, $group a key and what is
/// accumulated, $replaceRoot a document.
///
/// An expression is parsed once into a tree. Its leaves are constants, field paths ("$a.b") and variables ("$$name"),
/// its inner nodes documents and arrays of expressions, and operators ({"$add": ["$a", 1]}). What has constant operands
/// alone is computed while it is parsed, so that an error in it comes before any document is read, as from a server.
///
/// Evaluating a node gives a `bson::Value`, a view: into the document, into the tree (a constant), or into the
/// `Scratch` of the evaluation, which holds what was computed until the value has been used. So a path costs no copy
/// and a comparison no allocation. A node of owned values was not chosen: most of what the nodes of one expression hand
/// to each other are parts of the document.
///
/// Rules that every operator keeps. A path to nothing is *missing* (a value with null `data`): a field with it is left
/// out, comparisons put it below null, as undefined, and most operators treat it as null. Arithmetic with null is null.
/// Numbers become wider as they have to: an int32 an int64, that a double. Arithmetic beyond sums does not know
/// decimal128 and says so (Error{unsupported}).
///
/// Most operators are functions of values that are given all their operands (`FunctionCall`); those that evaluate some
/// of them only, or evaluate one several times, are nodes of their own (conditionalOperators, bindingOperators). Each
/// family has a file, whose table says what it knows.
namespace database_client::embedded {

class VariableScope;

/// A node of the tree.
class Expression {
 public:
  Expression() = default;
  Expression(const Expression&) = delete;
  Expression& operator=(const Expression&) = delete;
  virtual ~Expression() = default;

  /// Missing when there is no such field. Valid as long as the document, the expression and what the scratch keeps.
  virtual bson::Value evaluate(bson::View root, Scratch& scratch) const = 0;

  /// Whether the value is the same for every document.
  virtual bool isConstant() const { return false; }
};
using ExpressionPtr = std::unique_ptr<const Expression>;

/// Whether an aggregation takes this value for an operator with its operands rather than for a document of expressions:
/// its first key begins with `$`. A query also knows references (`isOperatorDocument`), an aggregation does not.
bool isOperatorExpression(const bson::Value& value);

/// Throws Error{unsupported} naming an operator or variable, Error{query} for what is malformed.
ExpressionPtr parseExpression(const bson::Value& value);
/// The same inside an operator that binds variables.
ExpressionPtr parseExpression(const bson::Value& value, VariableScope& scope);

}  // namespace database_client::embedded
