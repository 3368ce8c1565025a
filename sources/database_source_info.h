// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "database_provider/DatabaseSourceInfoInterface.h"

namespace database_provider {

// Serialized, in this order: "version": int32, "host": string, "port": int64, "database name": string,
// "source id": string.

/// A plain value.
class DATABASE_PROVIDER_EXPORT DatabaseSourceInfo : public DatabaseSourceInfoInterface {
 public:
  bool serialize(ObjectProperties& target, int version) override;
  bool deserialize(const ObjectProperties& source, int version) override;

  SourceType type() const override;
  void reset() override;

  std::string host() const override;
  long long port() const override;
  std::string databaseName() const override;
  std::string sourceId() const override;

  void setHost(const std::string& host) override;
  void setPort(const long long& port) override;
  void setDatabaseName(const std::string& databaseName) override;
  void setSourceId(const std::string& sourceId) override;

 private:
  std::string host_;
  long long port_ = 27017;
  std::string databaseName_;
  std::string sourceId_;
};

}  // namespace database_provider
