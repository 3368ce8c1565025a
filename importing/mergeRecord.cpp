// SPDX-License-Identifier: Apache-2.0
#include "importing/mergeRecord.h"

#include <algorithm>
#include <chrono>
#include <memory>

#include "database_provider/database_provider_creator.h"
#include "database_provider/descriptions.h"
#include "records/layout.h"
#include "repository/valueText.h"

namespace database_provider::importing {

namespace {

using database_client::EnteredScope;
using database_client::GroupScope;

void set(DatabaseRecordInterface& record, const std::string& name, const Value& value) {
  struct Set {
    DatabaseRecordInterface& record;
    const std::string& name;
    void operator()(const std::string& text) const { setDescription(record, name, text); }
    void operator()(bool boolean) const { setDescription(record, name, boolean); }
    void operator()(std::int32_t integer) const { setDescription(record, name, integer); }
    void operator()(std::int64_t integer) const { setDescription(record, name, static_cast<long long>(integer)); }
    void operator()(double real) const { setDescription(record, name, real); }
    void operator()(Time time) const { setDescription(record, name, std::chrono::milliseconds(time.milliseconds)); }
  };
  std::visit(Set{record, name}, value);
}

bool isSame(const FileReference& left, const FileReference& right) {
  return left.type == right.type && left.host == right.host && left.path == right.path;
}

/// The host of the data source that a document has; empty where it has none.
std::string sourceHostOf(const ObjectProperties& document) {
  const auto info = EnteredScope::group(document, layout::key::recordInfo);
  if (!info) return "";
  const auto additional = EnteredScope::group(document, layout::key::additionalData);
  if (!additional) return "";
  const auto source = EnteredScope::group(document, layout::key::dataSource);
  return source ? document.valueAsString("host", "") : "";
}

/// A reference that stays is the same one, under its id.
void keepFileIds(ObjectProperties& document, const std::vector<FileReference>& known) {
  if (known.empty()) return;
  const auto info = EnteredScope::group(document, layout::key::recordInfo);
  const auto additional = EnteredScope::group(document, layout::key::additionalData);
  const auto files = EnteredScope::array(document, layout::key::files);
  if (!info || !additional || !files) return;
  for (int i = 0; i < document.size(); ++i) {
    const auto file = EnteredScope::at(document, i);
    const auto same = std::find_if(known.begin(), known.end(), [&](const FileReference& other) {
      return static_cast<int>(other.type) == document.valueAsInt32("type", 0) &&
             other.host == document.valueAsString("host", "") && other.path == document.valueAsString("path", "");
    });
    if (same != known.end()) document.setValueString("fileId", same->id);
  }
}

void copySource(ObjectProperties& document, const ObjectProperties& other) {
  const EnteredScope otherInfo = EnteredScope::group(other, layout::key::recordInfo);
  const EnteredScope otherAdditional = EnteredScope::group(other, layout::key::additionalData);
  const GroupScope info(document, layout::key::recordInfo);
  const GroupScope additional(document, layout::key::additionalData);
  document.copyValue(layout::key::dataSource, other, layout::key::dataSource);
}

}  // namespace

void mergeRecord(RecordKind kind, ObjectProperties& document, const Record& record,
                 const std::function<bool(const std::string& name)>& hasKind) {
  const Record stored(kind, document);
  // Made for the first difference: most rows of a table that comes back have none.
  std::unique_ptr<DatabaseRecordInterface> merged;
  const auto changed = [&]() -> DatabaseRecordInterface& {
    if (!merged) merged = stored.toInterface();
    return *merged;
  };
  for (const std::string& name : record.categoryNames()) {
    const std::string value = record.category(name).value_or("");
    if (stored.category(name) != value) changed().setCategory(name, value);
  }
  for (const std::string& name : record.descriptionNames()) {
    const std::optional<Value> value = record.description(name);
    const std::optional<Value> before = stored.description(name);
    if (!value || before == value) continue;
    const bool isWrittenAlike = before && repository::valueText(before) == repository::valueText(value);
    if (!isWrittenAlike || hasKind(name)) set(changed(), name, *value);
  }
  const std::vector<FileReference> fresh = record.files();
  const std::vector<FileReference> files = fresh.empty() ? fresh : stored.files();
  for (const FileReference& file : fresh) {
    const auto same = [&](const FileReference& other) { return isSame(file, other); };
    std::string newId;
    if (std::none_of(files.begin(), files.end(), same)) changed().addFileInfo(file.type, file.host, file.path, newId);
  }
  if (merged) {
    ObjectProperties result;
    if (document.contains("_id")) result.copyValue("_id", document, "_id");
    result.include("/", *merged->getD());
    document = std::move(result);
  }
  for (ElementReader value(record.document()); value.next();) {
    const bool isEmpty =
        value.type() == PropertyType::null || (value.type() == PropertyType::string && value.asString().empty());
    const std::string key(value.key());
    if (key != layout::key::recordInfo && !isEmpty) document.copyValue(key, record.document(), key);
  }
  const std::string host = sourceHostOf(record.document());
  if (!host.empty() && host != sourceHostOf(document)) copySource(document, record.document());
}

void replaceRecord(ObjectProperties& document, const Record& record) {
  ObjectProperties result;
  if (document.contains("_id")) result.copyValue("_id", document, "_id");
  result.include("/", record.document());
  keepFileIds(result, Record(RecordKind::experiment, document).files());
  document = std::move(result);
}

}  // namespace database_provider::importing
