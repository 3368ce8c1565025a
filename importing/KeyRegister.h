// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "database_provider/import.h"

namespace database_provider::importing {

/// Remembers keys and where they stood. What does not fit into 32 MiB goes to a store of its own in a temporary
/// file, so that memory does not grow with the number of rows.
class KeyRegister {
 public:
  /// Where a key stood, twice where it did.
  struct Places {
    RowOrigin first{};
    RowOrigin second{};
  };

  KeyRegister() = default;
  ~KeyRegister();
  KeyRegister(const KeyRegister&) = delete;
  KeyRegister& operator=(const KeyRegister&) = delete;

  /// A key that is known stays as it is.
  void add(const std::string& key, const Places& places);
  /// Those of the keys that are known.
  std::map<std::string, Places> find(const std::set<std::string>& keys) const;

 private:
  void spill();

  std::map<std::string, Places> recent_{};
  std::size_t bytes_ = 0;
  std::filesystem::path folder_{};
  std::unique_ptr<DataBaseClient> store_{};
};

}  // namespace database_provider::importing
