// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <stdexcept>
#include <string>

#include "database_provider/DatabaseRecordInterface.h"

namespace database_provider {

// Storing a description so that the record is sure to write it, whatever its kind; `addDescriptionDouble` and
// `addDescriptionLongLong` of the record leave that to the next edit. True when stored; false for an empty name. An
// empty text removes the description and is false.

DATABASE_PROVIDER_EXPORT bool setDescription(DatabaseRecordInterface& record, const std::string& name,
                                             const std::string& value);
DATABASE_PROVIDER_EXPORT bool setDescription(DatabaseRecordInterface& record, const std::string& name,
                                             const char* value);
DATABASE_PROVIDER_EXPORT bool setDescription(DatabaseRecordInterface& record, const std::string& name, bool value);
DATABASE_PROVIDER_EXPORT bool setDescription(DatabaseRecordInterface& record, const std::string& name, int value);
DATABASE_PROVIDER_EXPORT bool setDescription(DatabaseRecordInterface& record, const std::string& name, long value);
DATABASE_PROVIDER_EXPORT bool setDescription(DatabaseRecordInterface& record, const std::string& name, long long value);
DATABASE_PROVIDER_EXPORT bool setDescription(DatabaseRecordInterface& record, const std::string& name, double value);
/// A time, kept to the millisecond.
DATABASE_PROVIDER_EXPORT bool setDescription(DatabaseRecordInterface& record, const std::string& name,
                                             std::chrono::system_clock::time_point value);
/// A time, since the epoch, UTC.
DATABASE_PROVIDER_EXPORT bool setDescription(DatabaseRecordInterface& record, const std::string& name,
                                             std::chrono::milliseconds value);

/// As above; a null record throws `std::invalid_argument`.
template <class Value>
bool setDescription(DatabaseRecordInterface* record, const std::string& name, const Value& value) {
  if (record == nullptr) throw std::invalid_argument("Null pointer to database record.");
  return setDescription(*record, name, value);
}

}  // namespace database_provider
