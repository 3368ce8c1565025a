// SPDX-License-Identifier: Apache-2.0
#include "filter/database_filter_d.h"

#include "records/layout.h"

namespace database_provider {

DatabaseFilterPrivate::DatabaseFilterPrivate() = default;
DatabaseFilterPrivate::DatabaseFilterPrivate(const DatabaseFilterPrivate& other) = default;
DatabaseFilterPrivate::~DatabaseFilterPrivate() = default;

void DatabaseFilterPrivate::copy(const DatabaseFilterPrivate& other) {
  filter_ = other.filter_;
}

// Assignment is one operation that a derived class changes, in copy.
// NOLINTNEXTLINE(bugprone-unhandled-self-assignment, misc-unconventional-assign-operator)
DatabaseFilterPrivate& DatabaseFilterPrivate::operator=(const DatabaseFilterPrivate& other) {
  copy(other);
  return *this;
}

void DatabaseFilterPrivate::clear() {
  filter_ = ObjectFilter();
}

void DatabaseFilterPrivate::filter_init() {
  filter_.start_and();
}

void DatabaseFilterPrivate::filter_finish() {
  filter_.finish_and();
}

void DatabaseFilterPrivate::start_or() {
  filter_.start_or();
}

void DatabaseFilterPrivate::finish_or() {
  filter_.finish_or();
}

void DatabaseFilterPrivate::start_and() {
  filter_.start_and();
}

void DatabaseFilterPrivate::finish_and() {
  filter_.finish_and();
}

template <class AddValue>
void DatabaseFilterPrivate::addItemCondition(const char* group, OperationType type, const std::string& name,
                                             const AddValue& addValue) {
  // A derived class is asked for the key whether it is used or not.
  const std::string nameKey = createKey(group, "name");
  if (type == OperationType::exists || type == OperationType::notExists) {
    const auto asked = type == OperationType::exists ? OperationType::equal : OperationType::notEqual;
    return filter_.setFilterString(asked, nameKey, name, "i");
  }
  // Built apart: when one of these calls fails, nothing has reached the filter.
  ObjectFilter item;
  item.beginGroup(createGroupKey(group));
  item.beginGroup("$elemMatch");
  item.setFilterString(OperationType::equal, "name", name, "");
  addValue(item);
  item.endGroup();
  item.endGroup();
  filter_.include(item);
}

void DatabaseFilterPrivate::setCategory(OperationType type, const std::string& name, const std::string& value,
                                        const std::string& options) {
  addItemCondition(layout::key::category, type, name,
                   [&](ObjectFilter& item) { item.setFilterString(type, "value", value, options); });
}

void DatabaseFilterPrivate::setDescriptionAsString(OperationType type, const std::string& name,
                                                   const std::string& value, const std::string& options) {
  addItemCondition(layout::key::description, type, name,
                   [&](ObjectFilter& item) { item.setFilterString(type, "value", value, options); });
}

void DatabaseFilterPrivate::setDescriptionAsInt(OperationType type, const std::string& name, const int& value) {
  addItemCondition(layout::key::description, type, name,
                   [&](ObjectFilter& item) { item.setFilterInt(type, "value", value); });
}

void DatabaseFilterPrivate::setDescriptionAsDouble(OperationType type, const std::string& name, const double& value) {
  addItemCondition(layout::key::description, type, name,
                   [&](ObjectFilter& item) { item.setFilterDouble(type, "value", value); });
}

void DatabaseFilterPrivate::setDescriptionAsLongLong(OperationType type, const std::string& name,
                                                     const long long& value) {
  addItemCondition(layout::key::description, type, name,
                   [&](ObjectFilter& item) { item.setFilterLongLong(type, "value", value); });
}

void DatabaseFilterPrivate::setDescriptionAsBool(OperationType type, const std::string& name, const bool& value) {
  addItemCondition(layout::key::description, type, name,
                   [&](ObjectFilter& item) { item.setFilterBool(type, "value", value); });
}

void DatabaseFilterPrivate::setDescriptionAsTime(OperationType type, const std::string& name, const long long& value) {
  addItemCondition(layout::key::description, type, name,
                   [&](ObjectFilter& item) { item.setFilterTime(type, "value", value); });
}

void DatabaseFilterPrivate::setId(OperationType type, const std::string& id) {
  filter_.setFilterId(type, "_id", id);
}

void DatabaseFilterPrivate::include(const DatabaseFilterPrivate& other) {
  filter_.include(other.filter_);
}

void DatabaseFilterPrivate::exclude(const std::string& key, DatabaseFilterPrivate& target) {
  filter_.exclude(key, target.filter_);
}

bool DatabaseFilterPrivate::isEmpty() {
  return filter_.isEmpty();
}

ObjectProperties DatabaseFilterPrivate::toObjectProeprties() const {
  return filter_.toObjectProeprties();
}

void DatabaseFilterPrivate::fromObjectProperties(const ObjectProperties& query) {
  filter_.fromObjectProperties(query);
}

ObjectFilter DatabaseFilterPrivate::d() const {
  return filter_;
}

std::string DatabaseFilterPrivate::createKey(const std::string& group, const std::string& field) {
  return createGroupKey(group) + "." + field;
}

std::string DatabaseFilterPrivate::createGroupKey(const std::string& group) {
  return std::string(layout::key::recordInfo) + "." + group;
}

}  // namespace database_provider
