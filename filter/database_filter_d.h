// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "database_provider/types.h"

namespace database_provider {

/// The query behind a `DatabaseFilter`, which calls every operation virtually: a derived class may address records of
/// another layout (`createKey`, `createGroupKey`) or change any condition.
///
/// Names are tested alone under `exists` and `notExists`; they go to the query as equal and notEqual on the name,
/// whatever its letter case.
class DATABASE_PROVIDER_EXPORT DatabaseFilterPrivate {
 public:
  DatabaseFilterPrivate();
  DatabaseFilterPrivate(const DatabaseFilterPrivate& other);
  virtual ~DatabaseFilterPrivate();

  virtual void copy(const DatabaseFilterPrivate& other);
  // NOLINTNEXTLINE(misc-unconventional-assign-operator): virtual, so that a derived class can change it
  virtual DatabaseFilterPrivate& operator=(const DatabaseFilterPrivate& other);
  virtual void clear();
  virtual void filter_init();
  virtual void filter_finish();
  virtual void start_or();
  virtual void finish_or();
  virtual void start_and();
  virtual void finish_and();

  virtual void setCategory(OperationType type, const std::string& name, const std::string& value,
                           const std::string& options);
  virtual void setDescriptionAsString(OperationType type, const std::string& name, const std::string& value,
                                      const std::string& options);
  virtual void setDescriptionAsInt(OperationType type, const std::string& name, const int& value);
  virtual void setDescriptionAsDouble(OperationType type, const std::string& name, const double& value);
  virtual void setDescriptionAsLongLong(OperationType type, const std::string& name, const long long& value);
  virtual void setDescriptionAsBool(OperationType type, const std::string& name, const bool& value);
  virtual void setDescriptionAsTime(OperationType type, const std::string& name, const long long& value);
  virtual void setId(OperationType type, const std::string& id);

  virtual void include(const DatabaseFilterPrivate& other);
  virtual void exclude(const std::string& key, DatabaseFilterPrivate& target);
  virtual bool isEmpty();
  virtual ObjectProperties toObjectProeprties() const;
  virtual void fromObjectProperties(const ObjectProperties& query);

  /// A copy of the query.
  virtual ObjectFilter d() const;
  /// The path of a field of the items of a group: "recordInfo.category.name".
  virtual std::string createKey(const std::string& group, const std::string& field);
  /// The path of a group's array: "recordInfo.category".
  virtual std::string createGroupKey(const std::string& group);

 private:
  /// One item of the group has this name, and `addValue` says what its value must be.
  template <class AddValue>
  void addItemCondition(const char* group, OperationType type, const std::string& name, const AddValue& addValue);

  ObjectFilter filter_;
};

}  // namespace database_provider
