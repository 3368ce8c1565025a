// SPDX-License-Identifier: Apache-2.0
#include "filter/database_filter_d.h"

#include <typeinfo>

#include "records/layout.h"

namespace database_provider {

namespace {

std::string pathOf(const std::string& group) {
  return std::string(layout::key::recordInfo) + "." + group;
}

/// The words that conditions on the items of a group are made of, as the texts that the calls want.
struct Group {
  explicit Group(const char* word) : group(word), key(pathOf(group)), nameKey(key + "." + name) {}

  std::string group;
  std::string name = "name";
  std::string value = "value";
  std::string elemMatch = "$elemMatch";
  std::string noOptions{};
  // As this class itself makes them.
  std::string key;
  std::string nameKey;
};

const Group& category() {
  static const Group group(layout::key::category);
  return group;
}

const Group& description() {
  static const Group group(layout::key::description);
  return group;
}

}  // namespace

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

template <class Group, class AddValue>
void DatabaseFilterPrivate::addItemCondition(const Group& group, OperationType type, const std::string& name,
                                             const AddValue& addValue) {
  // A derived class makes keys of its own, and is asked for them whether they are used or not.
  const bool isDerived = typeid(*this) != typeid(DatabaseFilterPrivate);
  const std::string nameKey = isDerived ? createKey(group.group, group.name) : std::string();
  if (type == OperationType::exists || type == OperationType::notExists) {
    const auto asked = type == OperationType::exists ? OperationType::equal : OperationType::notEqual;
    return filter_.setFilterString(asked, isDerived ? nameKey : group.nameKey, name, "i");
  }
  ObjectFilter item;
  if (isDerived) {
    item.beginGroup(createGroupKey(group.group));
  } else {
    item.beginGroup(group.key);
  }
  item.beginGroup(group.elemMatch);
  item.setFilterString(OperationType::equal, group.name, name, group.noOptions);
  addValue(item, group.value);
  item.endGroup();
  item.endGroup();
  filter_.include(item);
}

void DatabaseFilterPrivate::setCategory(OperationType type, const std::string& name, const std::string& value,
                                        const std::string& options) {
  addItemCondition(category(), type, name, [&](ObjectFilter& item, const std::string& key) {
    item.setFilterString(type, key, value, options);
  });
}

void DatabaseFilterPrivate::setDescriptionAsString(OperationType type, const std::string& name,
                                                   const std::string& value, const std::string& options) {
  addItemCondition(description(), type, name, [&](ObjectFilter& item, const std::string& key) {
    item.setFilterString(type, key, value, options);
  });
}

void DatabaseFilterPrivate::setDescriptionAsInt(OperationType type, const std::string& name, const int& value) {
  addItemCondition(description(), type, name,
                   [&](ObjectFilter& item, const std::string& key) { item.setFilterInt(type, key, value); });
}

void DatabaseFilterPrivate::setDescriptionAsDouble(OperationType type, const std::string& name, const double& value) {
  addItemCondition(description(), type, name,
                   [&](ObjectFilter& item, const std::string& key) { item.setFilterDouble(type, key, value); });
}

void DatabaseFilterPrivate::setDescriptionAsLongLong(OperationType type, const std::string& name,
                                                     const long long& value) {
  addItemCondition(description(), type, name,
                   [&](ObjectFilter& item, const std::string& key) { item.setFilterLongLong(type, key, value); });
}

void DatabaseFilterPrivate::setDescriptionAsBool(OperationType type, const std::string& name, const bool& value) {
  addItemCondition(description(), type, name,
                   [&](ObjectFilter& item, const std::string& key) { item.setFilterBool(type, key, value); });
}

void DatabaseFilterPrivate::setDescriptionAsTime(OperationType type, const std::string& name, const long long& value) {
  addItemCondition(description(), type, name,
                   [&](ObjectFilter& item, const std::string& key) { item.setFilterTime(type, key, value); });
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
  return pathOf(group);
}

}  // namespace database_provider
