// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "database_provider/SourceInfo.h"

namespace database_provider {

/// A source that lives on a data server: a section, a record and a path there, and a volume, a number that the library
/// only keeps. New and after `reset` the volume is 0, all else empty. Nothing is checked.
class DATABASE_PROVIDER_EXPORT DataServerSourceInfoInterface : public SourceInfo {
 public:
  virtual std::string host() const = 0;
  virtual std::string section() const = 0;
  virtual std::string record() const = 0;
  virtual std::string path() const = 0;
  virtual long long volume() const = 0;

  virtual void setHost(const std::string& host) = 0;
  virtual void setSection(const std::string& section) = 0;
  virtual void setRecord(const std::string& record) = 0;
  virtual void setPath(const std::string& path) = 0;
  virtual void setVolume(const long long& volume) = 0;
};

}  // namespace database_provider
