// SPDX-License-Identifier: Apache-2.0
#include "database_provider/descriptions.h"

namespace database_provider {

namespace {

/// Marks the descriptions as edited through the interface alone: no description has an empty name.
bool touch(DatabaseRecordInterface& record) {
  record.removeDescription("");
  return true;
}

}  // namespace

bool setDescription(DatabaseRecordInterface& record, const std::string& name, const std::string& value) {
  return record.addDescriptionString(name, value) && !value.empty();
}

bool setDescription(DatabaseRecordInterface& record, const std::string& name, const char* value) {
  return setDescription(record, name, std::string(value));
}

bool setDescription(DatabaseRecordInterface& record, const std::string& name, bool value) {
  return record.addDescriptionBool(name, value);
}

bool setDescription(DatabaseRecordInterface& record, const std::string& name, int value) {
  return record.addDescriptionInt(name, value);
}

bool setDescription(DatabaseRecordInterface& record, const std::string& name, long value) {
  return setDescription(record, name, static_cast<long long>(value));
}

bool setDescription(DatabaseRecordInterface& record, const std::string& name, long long value) {
  if (name.empty()) return false;
  record.addDescriptionLongLong(name, value);
  return touch(record);
}

bool setDescription(DatabaseRecordInterface& record, const std::string& name, double value) {
  if (name.empty()) return false;
  record.addDescriptionDouble(name, value);
  return touch(record);
}

bool setDescription(DatabaseRecordInterface& record, const std::string& name,
                    std::chrono::system_clock::time_point value) {
  return setDescription(record, name, std::chrono::floor<std::chrono::milliseconds>(value.time_since_epoch()));
}

bool setDescription(DatabaseRecordInterface& record, const std::string& name, std::chrono::milliseconds value) {
  return record.addDescriptionTime(name, value.count());
}

}  // namespace database_provider
