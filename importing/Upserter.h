// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "database_provider/records.h"
#include "importing/BatchWriter.h"
#include "importing/KeyRegister.h"
#include "importing/RecordKey.h"
#include "repository/DocumentRewriter.h"

/// Records that are told to be those which are there already, by a key.
///
/// They come in batches. For a batch the store is asked once: which records have, in each field of the key, any of the
/// values that the batch has there. What comes back is compared here, since several fields together select more than
/// the batch's own keys: two of three hundred values each, in any order, select every record for every batch. So
/// batches grow where that happens. One query with an alternative for each key would select no more than is wanted; it
/// took two hundred times longer, since each record is held against all thousand of them.
///
/// - A key that several records have, or several rows, says nothing of which is meant: all of these rows are bad ones,
///   and each names another. Rows of one batch are compared at once; those of several by a first pass over all rows
///   (`noteKey`). Where rows can be read only once, those of the batches before have gone in by then, and are named.
/// - In a file a batch is one transaction, from the question to the last write, so that nobody comes in between. On a
///   server a record is written only as long as it is what was read; DocumentRewriter tells how.
namespace database_provider::importing {

class Upserter {
 public:
  struct Target {
    Records records;
    bool isInTransaction = false;  ///< of the caller's
    bool isDryRun = false;         ///< everything but the writing
    /// Whether the kind of a description was asked for. Of others a value that is written as the stored one is that
    /// one.
    std::function<bool(const std::string& name)> hasKind{};
  };

  /// What `target` names must outlive this.
  Upserter(Target target, RecordKey key, OnMatch onMatch, std::function<void(const BadRow&)> bad);

  /// Takes the key of a row that will be added later; nothing for a row without one.
  void noteKey(const Record& record, const std::string& id, const RowOrigin& origin);
  /// `size` is that of the record, roughly.
  void add(std::unique_ptr<ObjectProperties> document, const std::string& id, RowOrigin origin, std::size_t size);
  void flush();

  const RecordKey& key() const { return key_; }
  /// All but the failed.
  const ImportResult& result() const { return result_; }

 private:
  struct Item {
    Record record;
    std::string id;
    RowOrigin origin;
    RecordKey::Values key{};
    std::string keyText{};
    bool isBad = false;
  };
  struct Match {
    std::vector<std::string> ids{};
    ObjectProperties stored{};
  };

  void refuse(Item& item, const std::string& reason, const std::string& column = {});
  void takeNotes();
  void refuseKnownKeys();
  std::map<std::string, Match> findMatches();
  void settle();
  void settleItem(Item& item, const std::map<std::string, Match>& matches, BatchWriter& inserted);
  void change(Item& item, const ObjectProperties& stored);

  Target target_;
  RecordKey key_;
  OnMatch onMatch_;
  std::function<void(const BadRow&)> bad_;
  repository::DocumentRewriter rewriter_;
  KeyRegister seen_{};
  KeyRegister twice_{};
  std::vector<std::pair<std::string, RowOrigin>> notes_{};  ///< keys and where they stand, yet to be compared
  bool areKeysNoted_ = false;
  std::size_t mostItems_ = 1000;  ///< of a batch
  std::vector<Item> items_{};
  std::size_t size_ = 0;
  ImportResult result_{};
};

}  // namespace database_provider::importing
