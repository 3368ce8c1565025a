// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "database_provider/DataServerSourceInfoInterface.h"

namespace database_provider {

// Serialized, in this order: "version": int32, "host": string, "section": string, "record": string, "path": string,
// "volume": int64.

/// A plain value.
class DATABASE_PROVIDER_EXPORT DataServerSourceInfo : public DataServerSourceInfoInterface {
 public:
  bool serialize(ObjectProperties& target, int version) override;
  bool deserialize(const ObjectProperties& source, int version) override;

  SourceType type() const override;
  void reset() override;

  std::string host() const override;
  std::string section() const override;
  std::string record() const override;
  std::string path() const override;
  long long volume() const override;

  void setHost(const std::string& host) override;
  void setSection(const std::string& section) override;
  void setRecord(const std::string& record) override;
  void setPath(const std::string& path) override;
  void setVolume(const long long& volume) override;

 private:
  std::string host_;
  std::string section_;
  std::string record_;
  std::string path_;
  long long volume_ = 0;
};

}  // namespace database_provider
