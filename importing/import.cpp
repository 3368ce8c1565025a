// SPDX-License-Identifier: Apache-2.0
#include "database_provider/import.h"

#include <memory>
#include <optional>
#include <set>

#include "database_provider/records.h"
#include "importing/ColumnInference.h"
#include "importing/Importer.h"
#include "importing/toolFormats.h"

namespace database_provider {

using database_client::Error;
using importing::Importer;
using importing::Row;

namespace {

constexpr std::size_t badRowsKept = 100;

std::function<void(const BadRow&)> tellOrKeep(const ImportObserver& observer, std::vector<BadRow>& kept) {
  if (observer.badRow) return observer.badRow;
  return [&kept](const BadRow& bad) {
    if (kept.size() < badRowsKept) kept.push_back(bad);
  };
}

std::string written(const ImportResult& result) {
  return std::to_string(result.imported + result.updated) + " records were written";
}

}  // namespace

InferredPlan inferPlan(RowReader& rows, const ImportPlan& given) {
  importing::ColumnInference inference(given, rows.areTextsTyped());
  inference.leave(importing::keysKept(rows));
  Row row;
  while (rows.next(row)) inference.add(row);
  if (!rows.rewind()) throw ImportError(rows.name() + ": can be read only once, so that its columns are to be named");
  return inference.result();
}

ImportResult Records::importFrom(RowReader& rows, const ImportPlan& plan, const ImportObserver& observer) const {
  std::vector<BadRow> kept;
  std::optional<database_client::Transaction> transaction;
  if (plan.allOrNothing) transaction.emplace(*store_);
  Importer importer(*this, plan, tellOrKeep(observer, kept), {plan.allOrNothing, false});
  std::uint64_t count = 0;
  const auto advance = [&] {
    if (!observer.progress || observer.progress({rows.position(), rows.size(), count})) return;
    throw Error(Error::Kind::cancelled, "the import was given up; " + (transaction ? std::string("nothing was written")
                                                                                   : written(importer.result())));
  };
  Row row;
  if (importer.wantsKeys() && !rows.hasRecords() && rows.rewind()) {
    while (rows.next(row)) {
      importer.noteKey(row, rows.name());
      advance();
    }
    rows.rewind();
  }
  while (rows.next(row)) {
    importer.add(row, rows.name(), rows.hasRecords());
    ++count;
    advance();
  }
  importer.finish();
  ImportResult result = importer.result();
  if (transaction && result.failed == 0) transaction->commit();
  if (transaction && result.failed > 0) result.imported = result.updated = result.unchanged = 0;
  result.badRows = std::move(kept);
  return result;
}

ImportResult Records::upsertMany(const std::vector<NewRecord>& records, const std::vector<std::string>& key,
                                 OnMatch onMatch) const {
  if (key.empty()) throw Error(Error::Kind::query, "the key is empty", {"key"});
  std::vector<std::unique_ptr<ObjectProperties>> documents;
  documents.reserve(records.size());
  // A bare name of the key is that of what the records have.
  std::set<std::string> categories;
  std::set<std::string> descriptions;
  for (const NewRecord& newRecord : records) {
    documents.push_back(std::make_unique<ObjectProperties>(newRecord.toDocument(kind_)));
    const Record record(kind_, *documents.back());
    for (std::string& name : record.categoryNames()) categories.insert(std::move(name));
    for (std::string& name : record.descriptionNames()) descriptions.insert(std::move(name));
  }
  ImportPlan plan;
  plan.key = key;
  plan.categories.assign(categories.begin(), categories.end());
  for (const std::string& name : descriptions) plan.descriptions.push_back({name});

  std::vector<BadRow> bad;
  std::optional<database_client::Transaction> transaction;
  if (store_->keepsInsertionOrder()) transaction.emplace(*store_);
  importing::Upserter upserter({*this, transaction.has_value(), false, [](const std::string&) { return true; }},
                               importing::RecordKey(plan, {}), onMatch,
                               [&bad](const BadRow& row) { bad.push_back(row); });
  for (std::size_t i = 0; i < documents.size(); ++i) {
    const std::string id = documents[i]->valueAsId("_id", "");
    upserter.add(std::move(documents[i]), id, {"", 0, i + 1}, 0);
  }
  upserter.flush();
  if (transaction) transaction->commit();
  ImportResult result = upserter.result();
  result.failed = static_cast<long long>(bad.size());
  result.badRows = std::move(bad);
  return result;
}

}  // namespace database_provider
