// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <vector>

#include "client/bson/View.h"

namespace database_client::embedded {

class ProjectionTree;

/// Which fields of a document `find` returns: those named (inclusion) or all but those named (exclusion). It keeps no
/// reference to the bytes it was made of.
///
/// A name may be a path; through an array it applies to every element that is a document. Kept fields stay in document
/// order, "_id" first. The constructor throws Error{query} for a mix of both kinds (31253, 31254) and for paths that
/// collide (31249, 31250), Error{unsupported} for an expression.
class Projection {
 public:
  explicit Projection(bson::View specification);
  Projection(const Projection&) = delete;
  Projection& operator=(const Projection&) = delete;
  Projection(Projection&& other) noexcept;
  Projection& operator=(Projection&& other) noexcept;
  ~Projection();

  /// Whether documents pass unchanged, so that `apply` can be spared.
  bool keepsEverything() const;
  std::vector<bson::Byte> apply(bson::View document) const;

 private:
  std::unique_ptr<const ProjectionTree> tree_;  ///< null for the empty specification
};

}  // namespace database_client::embedded
