// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>

#include "database_provider/Selection.h"
#include "database_provider/export.h"
#include "records/layout.h"

/// Changes of stored documents that lose no update of anybody else's.
///
/// It is optimistic concurrency control: a document is read, changed, and written only if it still is what was read,
/// else read and changed again. What is written is the difference: a key of the document, or one of "recordInfo", that
/// the change gave another value, so that everything else keeps its place, its kind and its bytes, and two writers who
/// change different keys do not disturb each other. The condition stands in the selector of the same update, which a
/// store carries out as one: for each key that is written, `{$expr: {$eq: ["$key", {$literal: what was read}]}}`.
///
/// - A comparison `{key: value}` would be shorter, and wrong: a 5 is also found in [5, 6], a null where nothing is.
/// - The whole document as the condition (`"$$ROOT"`) would need it twice in one command, which a server refuses above
///   16 MiB, and five levels more, which a document of 100 levels has not got. It is asked for only where a difference
///   is no list of new values: where keys are gone or stand in another order, or a key is no path (it holds a dot).
///   Such a document becomes the changed one as a whole.
/// - Values compare as a store compares them: 5 as 5.0. A description says its kind beside its value, so that a change
///   of the kind alone is seen, too.
/// - In a file nobody else can write while the caller's transaction is open. There the condition would only cost, and
///   the embedded engine has no `$expr` in queries; the "_id" selects.
namespace database_provider::repository {

class DATABASE_PROVIDER_EXPORT DocumentRewriter {
 public:
  /// Changes a document in place. It is called again for what somebody else made of the document meanwhile; what it
  /// throws ends the rewriting before anything is written.
  using Change = std::function<void(ObjectProperties&)>;

  /// How much of a document is read, and changed. Who changes categories, descriptions or files need not read, and on a
  /// server send, what a user put beside them.
  enum class Part { recordInfo, document };

  enum class Outcome {
    changed,
    unchanged,  ///< the change makes no difference; nothing was written
    gone,       ///< somebody else removed it, or changed it so that it is no longer selected
  };

  /// The documents of a place that `selection` selects, as long as it does. The store must outlive it; one in a file
  /// has a transaction open (see `Transaction`) whenever `rewrite` is called.
  DocumentRewriter(DataBaseClient& store, layout::Place place, Part part, Selection selection = {});

  /// What is to be read of a document that goes to `rewrite`, as `DataBaseClient::find` takes it.
  const ObjectProperties& projection() const { return projection_; }

  /// `stored` is a document as it was read, with its "_id". Throws Error{server} with the code `writeConflict`, which
  /// may be tried again, where others changed it each of ten times; Error{document} for a change that no store takes;
  /// Error{unsupported} where a server does not acknowledge writes.
  Outcome rewrite(const ObjectProperties& stored, const Change& change) const;

 private:
  std::optional<ObjectProperties> readAgain(const ObjectProperties& id) const;
  void requireAcknowledgement(const ObjectProperties& id) const;

  DataBaseClient* store_;
  layout::Place place_;
  Part part_;
  Selection selection_;
  ObjectProperties projection_{};
  bool isGuarded_;
};

}  // namespace database_provider::repository
