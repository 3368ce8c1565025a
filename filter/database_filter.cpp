// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include "database_provider/DatabaseFilter.h"
#include "filter/database_filter_d.h"

namespace database_provider {

DatabaseFilter::DatabaseFilter() : d(std::make_unique<DatabaseFilterPrivate>()) {}

DatabaseFilter::DatabaseFilter(const DatabaseFilter& other) : d(std::make_unique<DatabaseFilterPrivate>(*other.d)) {}

DatabaseFilter::DatabaseFilter(std::unique_ptr<DatabaseFilterPrivate> implementation) : d(std::move(implementation)) {}

DatabaseFilter::~DatabaseFilter() = default;

void DatabaseFilter::clear() {
  d->clear();
}

void DatabaseFilter::filter_init() {
  d->filter_init();
}

void DatabaseFilter::filter_finish() {
  d->filter_finish();
}

void DatabaseFilter::start_or() {
  d->start_or();
}

// Closes as finish_and does, on purpose: derived implementations see one way in which a filter closes a group.
void DatabaseFilter::finish_or() {
  d->filter_finish();
}

void DatabaseFilter::start_and() {
  d->start_and();
}

void DatabaseFilter::finish_and() {
  d->filter_finish();
}

void DatabaseFilter::setCategory(OperationType type, const std::string& name, const std::string& value,
                                 const std::string& options) {
  d->setCategory(type, name, value, options);
}

void DatabaseFilter::setDescriptionAsString(OperationType type, const std::string& name, const std::string& value,
                                            const std::string& options) {
  d->setDescriptionAsString(type, name, value, options);
}

void DatabaseFilter::setDescriptionAsInt(OperationType type, const std::string& name, const int& value) {
  d->setDescriptionAsInt(type, name, value);
}

void DatabaseFilter::setDescriptionAsDouble(OperationType type, const std::string& name, const double& value) {
  d->setDescriptionAsDouble(type, name, value);
}

void DatabaseFilter::setDescriptionAsLongLong(OperationType type, const std::string& name, const long long& value) {
  d->setDescriptionAsLongLong(type, name, value);
}

void DatabaseFilter::setDescriptionAsBool(OperationType type, const std::string& name, const bool& value) {
  d->setDescriptionAsBool(type, name, value);
}

void DatabaseFilter::setDescriptionAsTime(OperationType type, const std::string& name, const long long& value) {
  d->setDescriptionAsTime(type, name, value);
}

void DatabaseFilter::setId(OperationType type, const std::string& id) {
  d->setId(type, id);
}

void DatabaseFilter::include(const DatabaseFilter& other) {
  d->include(*other.d);
}

void DatabaseFilter::exclude(const std::string& key, DatabaseFilter& target) {
  DatabaseFilterPrivate excluded;
  d->exclude(key, excluded);
  target.d->copy(excluded);
}

// NOLINTNEXTLINE(misc-unconventional-assign-operator)
DatabaseFilter& DatabaseFilter::operator=(const DatabaseFilter& other) {
  if (d != other.d) d->copy(*other.d);
  return *this;
}

ObjectProperties DatabaseFilter::toObjectProeprties() const {
  return d->toObjectProeprties();
}

void DatabaseFilter::fromObjectProperties(const ObjectProperties& query) {
  d->fromObjectProperties(query);
}

}  // namespace database_provider
