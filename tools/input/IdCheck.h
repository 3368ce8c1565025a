// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_provider/database_provider.h>

#include <filesystem>
#include <memory>
#include <vector>

#include "importing/BatchWriter.h"
#include "tools/core/Records.h"
#include "tools/input/BadRows.h"

namespace database_provider::recordctl {

/// Looks, before anything is written, for ids that could not be inserted: those that the store has already, those that
/// stand twice in the input, and what is no id. The ids seen are kept in a store of their own in a temporary file,
/// which compares them as any store does, so that memory does not grow with their number.
class IdCheck {
 public:
  /// `client` and `bad` must outlive the check. Throws `StoreError` when the temporary file cannot be made.
  IdCheck(DataBaseClient& client, RecordPlace place, BadRows& bad);

  /// Looks at the id of a document, together with those of others; a document without one is good.
  void add(const ObjectProperties& document, RowOrigin origin);
  /// Looks at those that still wait.
  void flush();

 private:
  class Folder {
   public:
    Folder();
    ~Folder();
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    std::string file() const { return path_ / "ids.db"; }

   private:
    std::filesystem::path path_;
  };

  /// Puts those of the waiting ids that the store has among the seen ones.
  void takeFromStore();

  DataBaseClient& client_;
  RecordPlace place_;
  Folder folder_{};
  std::unique_ptr<DataBaseClient> seen_;
  importing::BatchWriter writer_;
  std::vector<std::unique_ptr<ObjectProperties>> waiting_{};
  std::vector<RowOrigin> origins_{};
};

}  // namespace database_provider::recordctl
