// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "client/bson/View.h"
#include "client/embedded/query/expression/Expression.h"
#include "client/embedded/query/values/PathTree.h"

/// What $project, $addFields and $unset do to a document, and the projection of `find`.
namespace database_client::embedded {

/// Paths that are kept or left out; false stands where a computed field comes later.
using FieldSet = PathTree<bool>;
/// Paths that get a computed value.
using ComputedFields = PathTree<ExpressionPtr>;

/// Only the fields of the set, in document order, "_id" first. Through an array it applies to each element; elements
/// that are no documents are dropped.
std::vector<bson::Byte> included(const FieldSet& fields, bson::View document);
/// All but the fields of the set. Through an array it applies to each element that is a document.
std::vector<bson::Byte> excluded(const FieldSet& fields, bson::View document);
/// The document with each field set to the value that its expression has for `root`, in place or at the end. Absent
/// parents become documents, and so does any other value on the way, the elements of an array one by one. A missing
/// value takes the field out.
std::vector<bson::Byte> withFields(const ComputedFields& fields, bson::View document, bson::View root);

/// Throws Error{query} with 31249 or 31250 when the path collides with one that is there.
void addField(FieldSet& fields, const Path& path);

/// A specification of `find` or $project, taken apart.
struct FieldSpecification {
  bool inclusion = false;
  FieldSet fields;          ///< what is included or excluded
  ComputedFields computed;  ///< only in an inclusion; their parents are among `fields`

  std::vector<bson::Byte> apply(bson::View document) const;
};

/// What $addFields sets. Throws Error{query}: 40176 for paths that collide, 40180 for an empty document.
ComputedFields parseComputedFields(bson::View specification);

enum class Expressions { refused, allowed };
/// Throws Error as `Projection` says; 31252 for an expression in an exclusion, 51270 for an empty document.
FieldSpecification parseFields(bson::View specification, Expressions expressions);

}  // namespace database_client::embedded
