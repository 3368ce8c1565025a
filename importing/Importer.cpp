// SPDX-License-Identifier: Apache-2.0
#include "importing/Importer.h"

#include <algorithm>
#include <list>
#include <utility>

#include "repository/kinds.h"

namespace database_provider::importing {

namespace {

/// With a key, columns mean what the store has under their names.
StoreColumns columnsInStore(const Records& records, const ImportPlan& plan) {
  if (plan.key.empty()) return {};
  StoreColumns result(records.names());
  if (std::find(plan.key.begin(), plan.key.end(), "id") != plan.key.end()) result.takeId();
  return result;
}

}  // namespace

Importer::Importer(const Records& records, const ImportPlan& plan, std::function<void(const BadRow&)> bad, Mode mode)
    : records_(records),
      plan_(plan),
      mode_(mode),
      bad_([this, tell = std::move(bad)](const BadRow& row) {
        ++failed_;
        tell(row);
      }),
      inStore_(columnsInStore(records, plan)),
      maker_(records.kind(), plan, inStore_),
      writer_(records.store(), repository::placeOf(records.kind()), bad_) {
  if (plan.key.empty()) return;
  const auto hasKind = [this](const std::string& name) {
    return std::any_of(plan_.descriptions.begin(), plan_.descriptions.end(),
                       [&](const ImportPlan::Description& column) { return column.name == name; });
  };
  upserter_ = std::make_unique<Upserter>(Upserter::Target{records, mode.isInTransaction, mode.isDryRun, hasKind},
                                         RecordKey(plan, inStore_), plan.onMatch, bad_);
}

Importer::~Importer() = default;

void checkSize(const ObjectProperties& document) {
  constexpr std::size_t largest = 16U << 20U;
  constexpr std::size_t sizeOfId = 17;
  const std::size_t size = document.toBson().size() + (document.contains("_id") ? 0 : sizeOfId);
  if (size > largest) throw RowError("", "larger than 16 MiB");
}

std::unique_ptr<ObjectProperties> recordOf(const Row& row, bool keepId) {
  if (!row.problem.empty()) throw RowError("", row.problem);
  try {
    auto document = std::make_unique<ObjectProperties>(row.document());
    if (!keepId) document->removeKey("_id");
    return document;
  } catch (const database_client::Error& error) {
    throw RowError(error.where(), error.what());
  }
}

std::unique_ptr<ObjectProperties> Importer::documentOf(const Row& row, bool isRecord) const {
  return isRecord ? recordOf(row, plan_.keepIds) : std::unique_ptr<ObjectProperties>(maker_.make(row)->take());
}

/// The id of the record that a row is meant for, where the key has it.
std::string Importer::idOf(const Row& row) const {
  if (!upserter_->key().hasId()) return "";
  for (std::size_t i = 0; i < row.cells.size(); ++i) {
    if (row.keys[i] == "id") return row.cells[i];
  }
  if (!row.cells.empty() || row.parsed.type("id") == PropertyType::undefined ||
      row.parsed.type("id") == PropertyType::null)
    return "";
  std::string id = row.parsed.valueAsId("id", "");
  if (id.empty() && row.parsed.type("id") != PropertyType::string) throw RowError("id", "expected a text");
  return id;
}

void Importer::noteKey(const Row& row, const std::string& file) {
  try {
    const Record record(records_.kind(), std::move(*documentOf(row.cells.empty() ? row : withKeyAlone(row), false)));
    upserter_->noteKey(record, idOf(row), {file, row.line, row.number});
  } catch (const RowError&) {
    return;  // told when it is added
  }
}

/// Most of a wide row is not looked at for its key.
Row Importer::withKeyAlone(const Row& row) const {
  Row result;
  for (std::size_t i = 0; i < row.cells.size(); ++i) {
    const StoreColumn* inStore = inStore_.find(row.keys[i]);
    const auto& fields = upserter_->key().fields();
    const bool isOfKey = std::any_of(fields.begin(), fields.end(), [&](const RecordKey::Field& field) {
      return field.name == row.keys[i] || (inStore != nullptr && field.name == inStore->name);
    });
    if (!isOfKey) continue;
    result.keys.push_back(row.keys[i]);
    result.cells.push_back(row.cells[i]);
  }
  return result;
}

void Importer::add(const Row& row, const std::string& file, bool isRecord) {
  RowOrigin origin{file, row.line, row.number};
  try {
    auto document = documentOf(row, isRecord);
    if (upserter_ && !isRecord) {
      upserter_->add(std::move(document), idOf(row), std::move(origin), row.size());
    } else if (mode_.isDryRun) {
      checkSize(*document);
    } else {
      writer_.add(std::move(document), std::move(origin), row.size());
    }
  } catch (const RowError& error) {
    bad_({{file, row.line, row.number}, error.column(), error.what()});
  }
  configureOnce();
}

void Importer::finish() {
  if (upserter_) upserter_->flush();
  writer_.flush();
  configureOnce();
}

ImportResult Importer::result() const {
  ImportResult result;
  if (upserter_) result = upserter_->result();
  result.imported += static_cast<long long>(writer_.written());
  result.failed = failed_;
  return result;
}

/// Categories are configured with the first record that went in, so that an import of none changes nothing.
void Importer::configureOnce() {
  if (isConfigured_ || mode_.isDryRun) return;
  const ImportResult done = result();
  if (done.imported + done.updated == 0) return;
  addCategories(records_.store(), records_.kind(), plan_.categories);
  isConfigured_ = true;
}

void addCategories(DataBaseClient& store, RecordKind kind, const std::vector<std::string>& names) {
  const auto provider = repository::providerOf(kind, store);
  std::list<std::string> configured;
  provider->enumCategoriesNames(configured);
  const std::size_t before = configured.size();
  for (const std::string& name : names) {
    if (std::find(configured.begin(), configured.end(), name) == configured.end()) configured.push_back(name);
  }
  if (configured.size() > before) provider->setCategoriesNames(configured);
}

}  // namespace database_provider::importing
