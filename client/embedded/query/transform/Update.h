// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <vector>

#include "client/Engine.h"
#include "client/bson/View.h"

namespace database_client::embedded {

class UpdateTree;
struct Query;

/// What an update makes of a document, parsed and checked once. `document` must outlive it.
///
/// The paths of an update are merged into a tree (`PathTree`), whose leaves are the new values. The stored document is
/// then copied once from front to back, with the tree beside it: what no path names is copied as bytes, what one names
/// is replaced, and what is left of the tree at the end of a level is created there. So an update costs one copy of the
/// document however many paths it has, fields keep their order, and a refusal leaves nothing half changed. Changing the
/// bytes in place path by path was not chosen: each change of size moves the rest of the document, and mends the
/// lengths of all levels around it.
///
/// Invariants: a path is in the tree once, and none is the beginning of another (else code 40), so that the order of
/// the keys of an update makes no difference to the values; "_id" of a stored document stays as it is, with its bytes.
///
/// replaceFirst puts `document` in the place of the stored one, which keeps its "_id". setInAll sets each key of
/// `document`, a path, to its value, as $set does: absent parents become documents. appendToArrayInAll appends each
/// value to the array that its key, a path, names, as $push does ($each spreads an array); an absent array is created.
///
/// Refused with Error{query} and a server's code are: replacing by a document with `$` keys (22), another "_id" (66), a
/// path through a value that is no document or array (28), padding an array by more than 1,500,000 elements (34), a
/// path and its beginning at once (40), an empty part of a path (56), appending to a value that is no array (2). A
/// result above 16 MiB or 100 levels is Error{document}. Positional paths and the modifiers of $push other than $each
/// are Error{unsupported}.
class Update {
 public:
  Update(UpdateKind kind, bson::View document);
  Update(const Update&) = delete;
  Update& operator=(const Update&) = delete;
  Update(Update&& other) noexcept;
  Update& operator=(Update&& other) noexcept;
  ~Update();

  /// The bytes of the document that takes the place of `stored`; empty when nothing changes.
  std::vector<bson::Byte> apply(bson::View stored) const;

  /// The document to insert when nothing matched `selector`: made of its equality conditions ("_id" alone for a
  /// replacement), then changed as `apply` does. "_id" comes first; `newId` (12 bytes) is used when neither side gives
  /// one. Conditions that contradict each other in what they create are Error{query}, code 54.
  std::vector<bson::Byte> upsertDocument(const Query& selector, const bson::Byte* newId) const;

 private:
  std::vector<bson::Byte> change(bson::View stored) const;
  std::vector<bson::Byte> replace(bson::View stored) const;

  UpdateKind kind_;
  bson::View document_;
  std::unique_ptr<const UpdateTree> tree_;
};

}  // namespace database_client::embedded
