// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/transform/Projection.h"

#include "client/embedded/query/transform/Fields.h"

namespace database_client::embedded {

class ProjectionTree {
 public:
  explicit ProjectionTree(FieldSpecification specification) : specification_(std::move(specification)) {}
  const FieldSpecification& specification() const { return specification_; }

 private:
  FieldSpecification specification_;
};

Projection::Projection(bson::View specification)
    : tree_(specification.empty()
                ? nullptr
                : std::make_unique<ProjectionTree>(parseFields(specification, Expressions::refused))) {}
Projection::Projection(Projection&& other) noexcept = default;
Projection& Projection::operator=(Projection&& other) noexcept = default;
Projection::~Projection() = default;

bool Projection::keepsEverything() const {
  return !tree_ || (!tree_->specification().inclusion && tree_->specification().fields.empty());
}

std::vector<bson::Byte> Projection::apply(bson::View document) const {
  if (!tree_) return {document.data, document.data + document.size};
  return tree_->specification().apply(document);
}

}  // namespace database_client::embedded
