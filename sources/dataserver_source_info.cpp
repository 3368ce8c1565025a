// SPDX-License-Identifier: Apache-2.0
#include "sources/dataserver_source_info.h"

namespace database_provider {

bool DataServerSourceInfo::serialize(ObjectProperties& target, int version) {
  target.setValueInt32("version", version);
  target.setValueString("host", host_);
  target.setValueString("section", section_);
  target.setValueString("record", record_);
  target.setValueString("path", path_);
  target.setValueInt64("volume", volume_);
  return true;
}

bool DataServerSourceInfo::deserialize(const ObjectProperties& source, int version) {
  if (source.valueAsInt32("version", 0) != version) return false;
  host_ = source.valueAsString("host", "");
  section_ = source.valueAsString("section", "");
  record_ = source.valueAsString("record", "");
  path_ = source.valueAsString("path", "");
  volume_ = source.valueAsInt64("volume", 0);
  return true;
}

SourceType DataServerSourceInfo::type() const {
  return SourceType::dataServerSource;
}

void DataServerSourceInfo::reset() {
  *this = DataServerSourceInfo();
}

std::string DataServerSourceInfo::host() const {
  return host_;
}

std::string DataServerSourceInfo::section() const {
  return section_;
}

std::string DataServerSourceInfo::record() const {
  return record_;
}

std::string DataServerSourceInfo::path() const {
  return path_;
}

long long DataServerSourceInfo::volume() const {
  return volume_;
}

void DataServerSourceInfo::setHost(const std::string& host) {
  host_ = host;
}

void DataServerSourceInfo::setSection(const std::string& section) {
  section_ = section;
}

void DataServerSourceInfo::setRecord(const std::string& record) {
  record_ = record;
}

void DataServerSourceInfo::setPath(const std::string& path) {
  path_ = path;
}

void DataServerSourceInfo::setVolume(const long long& volume) {
  volume_ = volume;
}

}  // namespace database_provider
