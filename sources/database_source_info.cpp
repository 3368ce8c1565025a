// SPDX-License-Identifier: Apache-2.0
#include "sources/database_source_info.h"

namespace database_provider {

bool DatabaseSourceInfo::serialize(ObjectProperties& target, int version) {
  target.setValueInt32("version", version);
  target.setValueString("host", host_);
  target.setValueInt64("port", port_);
  target.setValueString("database name", databaseName_);
  target.setValueString("source id", sourceId_);
  return true;
}

bool DatabaseSourceInfo::deserialize(const ObjectProperties& source, int version) {
  if (source.valueAsInt32("version", 0) != version) return false;
  host_ = source.valueAsString("host", "");
  // Not the default port: a source that was stored without one has none.
  port_ = source.valueAsInt64("port", 0);
  databaseName_ = source.valueAsString("database name", "");
  sourceId_ = source.valueAsString("source id", "");
  return true;
}

SourceType DatabaseSourceInfo::type() const {
  return SourceType::databaseSource;
}

void DatabaseSourceInfo::reset() {
  *this = DatabaseSourceInfo();
}

std::string DatabaseSourceInfo::host() const {
  return host_;
}

long long DatabaseSourceInfo::port() const {
  return port_;
}

std::string DatabaseSourceInfo::databaseName() const {
  return databaseName_;
}

std::string DatabaseSourceInfo::sourceId() const {
  return sourceId_;
}

void DatabaseSourceInfo::setHost(const std::string& host) {
  host_ = host;
}

void DatabaseSourceInfo::setPort(const long long& port) {
  port_ = port;
}

void DatabaseSourceInfo::setDatabaseName(const std::string& databaseName) {
  databaseName_ = databaseName;
}

void DatabaseSourceInfo::setSourceId(const std::string& sourceId) {
  sourceId_ = sourceId;
}

}  // namespace database_provider
