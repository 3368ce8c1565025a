#pragma once

#include <list>
#include <string>

#include "records/SectionView.h"

namespace database_provider {

/// A section that is an array of items; the copy holds each under its name.
class DATABASE_PROVIDER_EXPORT ItemsView : public SectionView {
 protected:
  /// The array stands in "recordInfo", or in `group` there.
  explicit ItemsView(const char* array, const char* group = nullptr) : array_(array), group_(group) {}

  ObjectProperties& cache() const { return cache_; }
  std::list<std::string> names() const;
  void removeItem(const std::string& name);

 private:
  /// Adds the item at the current level of `item` to the copy; items that are not valid are left out.
  virtual void loadItem(const ObjectProperties& item) const = 0;
  virtual void writeItem(ObjectProperties& target, const std::string& name) const = 0;

  void load(const ObjectProperties& record) const override;
  void loadArray(const ObjectProperties& level) const;
  void updateRecord_helper(ObjectProperties& target) const override;
  void writeArray(ObjectProperties& level) const;
  void empty() const override;

  const char* array_;
  const char* group_;
  mutable ObjectProperties cache_;
};

}  // namespace database_provider
