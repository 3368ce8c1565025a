// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "database_provider/types.h"

// Filters: conditions on records, and the query document that is made of them.
//
// A filter is an `ObjectFilter` of the client, addressed in the terms of records. A condition on a category or a
// description is one on an item: some element of the section's array has this name, and its value compares as asked,
// {"recordInfo.category": {"$elemMatch": {"name": …, "value": …}}}. All conditions have to hold, but for those in a
// group of "or"; a filter may include another.
//
// Why "$elemMatch" and not two conditions on "recordInfo.category.name" and ".value": each of these would be met by an
// item of its own, and a record with the categories Color=red and Shape=round would be found by Color=round. The
// embedded engine takes an "$elemMatch" of this form for one look-up in its index.
//
// What holds throughout: a condition that is refused leaves the filter as it was, and every step is a virtual call, so
// that a derived class sees each of them. Building a query takes a little more than twice the time in which libbson
// writes the same document. A filter that was one run of bytes, and asked for keys only in derived classes, took 0.92
// of it and was given up: it was a form of its own beside queries, and a second way to each key.

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
