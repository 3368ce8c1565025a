// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <variant>
#include <vector>

#include "client/bson/View.h"
#include "client/embedded/query/match/Pattern.h"
#include "client/embedded/query/values/OwnedValue.h"
#include "client/embedded/query/values/Path.h"

/// A query as a tree, the one form in which the engine reads queries.
///
/// A `Query` asks a document: it is a condition on the values that a path leads to, or a combination of queries. A
/// `Condition` asks those values: it is a test, or a combination of conditions on the same path. A `ValueTest` asks one
/// value; one with operands of its own holds them, so that a tree keeps no reference to the bytes it was made of.
///
/// The matcher evaluates the tree, the planner makes index conditions of it, the choice of an access path looks for
/// values of "_id" in it, and an upsert for values that it demands. That all four read one tree, rather than the bytes
/// each in its own way, is what keeps them from differing over what a query means: what is an operator and what a value
/// to equal is decided here alone (`isOperatorDocument`).
///
/// Invariants: what a server refuses is no tree, so that whoever reads one meets known operators with sound operands
/// alone. Spellings of the same are one form: $regex and $options are one test, a negation by $ne, $nin, $not or
/// {$exists: false} is a negation, several fields or operators stand side by side under one combination.
///
/// Data and not objects with virtual functions, since what the tree is asked differs by reader, and a new operator has
/// to be thought of in each: a reader that visits the variants and misses one does not compile, or says that it takes
/// the operator for unknown.
namespace database_client::embedded {

struct Condition;
struct Query;

enum class Comparison { equal, less, lessOrEqual, greater, greaterOrEqual };

/// $eq $lt $lte $gt $gte, and a value without an operator.
struct CompareTest {
  Comparison comparison = Comparison::equal;
  OwnedValue operand;
};

/// $in.
struct InTest {
  std::vector<OwnedValue> values;  ///< ascending
  std::vector<std::unique_ptr<const Pattern>> patterns;
  bool acceptsNull = false;  ///< whether null is among the values
};

/// $regex, and a regular expression without an operator.
struct PatternTest {
  std::unique_ptr<const Pattern> pattern;
};

struct ExistsTest {};

struct TypeTest {
  std::bitset<256> types;  ///< by type byte
};

struct SizeTest {
  std::size_t size = 0;
};

struct ModuloTest {
  std::int64_t divisor = 1;
  std::int64_t remainder = 0;
};

/// $elemMatch with a query: some element that is a document (or an array, with its indices as keys) matches it.
struct ElementQueryTest {
  std::unique_ptr<const Query> query;
};

/// $elemMatch with operators: some element meets the condition.
struct ElementValueTest {
  std::unique_ptr<const Condition> condition;
};

using ValueTest = std::variant<CompareTest, InTest, PatternTest, ExistsTest, TypeTest, SizeTest, ModuloTest,
                               ElementQueryTest, ElementValueTest>;

struct Condition {
  enum class Kind {
    test,         ///< some value on the path passes `test`
    conjunction,  ///< all of `parts` hold, the operators of one document; different values may meet each
    containsAll,  ///< $all: the same, but nothing holds without parts; and an upsert takes no value from it
    negation,     ///< the one part does not hold
  };

  Kind kind = Kind::test;
  ValueTest test;
  std::vector<Condition> parts;
};

struct Query {
  enum class Kind {
    field,  ///< `condition` holds for what `path` leads to
    all,    ///< several fields, $and; everything matches without parts
    any,    ///< $or
    none,   ///< $nor
  };

  Kind kind = Kind::all;
  Path path{""};
  Condition condition;
  std::vector<Query> parts;
};

/// Throws Error as `Matcher` says.
Query parseQuery(bson::View query);

/// Whether a query takes this value for operators rather than for a value to equal: its first key begins with `$`, and
/// it is no reference {$ref, $id}.
bool isOperatorDocument(const bson::Value& value);

}  // namespace database_client::embedded
