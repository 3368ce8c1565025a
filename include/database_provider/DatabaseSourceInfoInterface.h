// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "database_provider/SourceInfo.h"

namespace database_provider {

/// A source that lives in a database: its server, the database on it, and the source's identifier there. New and after
/// `reset` the port is 27017, all else empty; a stored source without a port reads as port 0. Nothing is checked.
class DATABASE_PROVIDER_EXPORT DatabaseSourceInfoInterface : public SourceInfo {
 public:
  virtual std::string host() const = 0;
  virtual long long port() const = 0;
  virtual std::string databaseName() const = 0;
  virtual std::string sourceId() const = 0;

  virtual void setHost(const std::string& host) = 0;
  virtual void setPort(const long long& port) = 0;
  virtual void setDatabaseName(const std::string& databaseName) = 0;
  virtual void setSourceId(const std::string& sourceId) = 0;
};

}  // namespace database_provider
