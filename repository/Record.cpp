// SPDX-License-Identifier: Apache-2.0
#include "database_provider/Record.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <limits>
#include <set>
#include <string_view>
#include <unordered_map>

#include "database_provider/descriptions.h"
#include "records/layout.h"
#include "repository/convertValue.h"
#include "repository/documentValue.h"
#include "repository/items.h"
#include "repository/kinds.h"

namespace database_provider {

using database_client::ArrayScope;
using database_client::ElementReader;
using database_client::Error;
using database_client::GroupScope;
using repository::findItem;
using repository::Item;
using repository::itemAt;
using repository::itemsOf;
using repository::levelAt;
using repository::valueOf;

namespace {

std::vector<std::string> namesOf(ElementReader items) {
  std::vector<std::string> result;
  while (items.next()) {
    const Item item = itemAt(items);
    if (!item.name.empty()) result.emplace_back(item.name);
  }
  return result;
}

/// The values of items as `read` takes them, each name once: with the value of its last item, in its first place.
template <class Read>
auto valuesOf(ElementReader items, const Read& read) {
  using Value = typename decltype(read(items))::value_type;
  std::vector<std::pair<std::string, std::optional<Value>>> found;
  std::unordered_map<std::string_view, std::size_t> places;
  while (items.next()) {
    const Item item = itemAt(items);
    if (item.name.empty()) continue;
    const auto [place, isNew] = places.try_emplace(item.name, found.size());
    if (isNew) found.emplace_back(item.name, std::nullopt);
    found[place->second].second = item.value ? read(*item.value) : std::nullopt;
  }
  std::vector<std::pair<std::string, Value>> result;
  result.reserve(found.size());
  for (auto& [name, value] : found) {
    if (value) result.emplace_back(std::move(name), std::move(*value));
  }
  return result;
}

std::optional<std::string> textOf(const ElementReader& value) {
  return value.type() == PropertyType::string ? std::optional(std::string(value.asString())) : std::nullopt;
}

void refuse(bool isWrong, const std::string& name, const std::string& reason) {
  if (isWrong) throw Error(Error::Kind::document, reason, {name});
}

void store(DatabaseRecordInterface& record, const std::string& name, const Value& value) {
  struct Store {
    DatabaseRecordInterface& record;
    const std::string& name;
    void operator()(const std::string& text) const { setDescription(record, name, text); }
    void operator()(bool boolean) const { setDescription(record, name, boolean); }
    void operator()(std::int32_t integer) const { setDescription(record, name, integer); }
    void operator()(std::int64_t integer) const { setDescription(record, name, static_cast<long long>(integer)); }
    void operator()(double real) const { setDescription(record, name, real); }
    void operator()(Time time) const { setDescription(record, name, std::chrono::milliseconds(time.milliseconds)); }
  };
  std::visit(Store{record, name}, value);
}

/// Gives the files of a new record, which stand there in their order, the ids that were asked for.
void nameFiles(const std::vector<FileReference>& files, ObjectProperties& document) {
  const auto isNamed = [](const FileReference& file) { return !file.id.empty(); };
  if (std::none_of(files.begin(), files.end(), isNamed)) return;
  const GroupScope info(document, layout::key::recordInfo);
  const GroupScope additional(document, layout::key::additionalData);
  const ArrayScope list(document, layout::key::files);
  for (std::size_t i = 0; i < files.size(); ++i) {
    const GroupScope file(document, std::to_string(i));
    if (isNamed(files[i])) document.setValueString("fileId", files[i].id);
  }
}

}  // namespace

std::optional<double> numberOf(const Value& value) {
  if (const auto* narrow = std::get_if<std::int32_t>(&value)) return *narrow;
  if (const auto* wide = std::get_if<std::int64_t>(&value)) return static_cast<double>(*wide);
  if (const auto* real = std::get_if<double>(&value)) return *real;
  return std::nullopt;
}

std::optional<Time> timeOfId(const std::string& id) {
  constexpr std::size_t digits = 24;
  constexpr std::size_t digitsOfTime = 8;
  constexpr int hexadecimal = 16;
  if (id.size() != digits || id.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) return std::nullopt;
  return Time{std::stoll(id.substr(0, digitsOfTime), nullptr, hexadecimal) * 1000};
}

const char* kindName(const Value& value) {
  struct Name {
    const char* operator()(const std::string&) const { return "a text"; }
    const char* operator()(bool) const { return "a boolean"; }
    const char* operator()(std::int32_t) const { return "an integer of 32 bits"; }
    const char* operator()(std::int64_t) const { return "an integer of 64 bits"; }
    const char* operator()(double) const { return "a double"; }
    const char* operator()(Time) const { return "a time"; }
  };
  return std::visit(Name(), value);
}

std::string typeName(PropertyType type) {
  switch (type) {
    case PropertyType::string:
      return "string";
    case PropertyType::boolean:
      return "bool";
    case PropertyType::int32:
      return "int";
    case PropertyType::int64:
      return "long";
    case PropertyType::real:
      return "double";
    case PropertyType::time:
      return "time";
    default:
      return "type " + std::to_string(static_cast<int>(type));
  }
}

std::string typeName(const Value& value) {
  constexpr std::array types = {PropertyType::string, PropertyType::boolean, PropertyType::int32,
                                PropertyType::int64,  PropertyType::real,    PropertyType::time};
  static_assert(types.size() == std::variant_size_v<Value>);
  return typeName(types.at(value.index()));
}

Record::Record(RecordKind kind, ObjectProperties document)
    : kind_(kind), id_(document.valueAsId("_id", "")), document_(std::move(document)) {
  document_.removeKey("_id");
}

std::vector<std::string> Record::categoryNames() const {
  return namesOf(itemsOf(document_, layout::key::category));
}

std::vector<std::string> Record::descriptionNames() const {
  return namesOf(itemsOf(document_, layout::key::description));
}

std::optional<std::string> Record::category(const std::string& name) const {
  const std::optional<ElementReader> value = findItem(itemsOf(document_, layout::key::category), name);
  return value ? textOf(*value) : std::nullopt;
}

std::optional<Value> Record::description(const std::string& name) const {
  const std::optional<ElementReader> value = findItem(itemsOf(document_, layout::key::description), name);
  return value ? valueOf(*value) : std::nullopt;
}

std::vector<std::pair<std::string, std::string>> Record::categories() const {
  return valuesOf(itemsOf(document_, layout::key::category), textOf);
}

std::vector<std::pair<std::string, Value>> Record::descriptions() const {
  return valuesOf(itemsOf(document_, layout::key::description), valueOf);
}

std::vector<FileReference> Record::files() const {
  ElementReader files = levelAt(document_, {layout::key::recordInfo, layout::key::additionalData, layout::key::files});
  std::vector<FileReference> result;
  while (files.next()) {
    FileReference file;
    for (ElementReader field = files.children(); field.next();) {
      if (field.key() == "fileId") file.id = field.asString();
      if (field.key() == "type") file.type = static_cast<ObjectType>(field.asInt32(0));
      if (field.key() == "host") file.host = field.asString();
      if (field.key() == "path") file.path = field.asString();
    }
    if (!file.id.empty()) result.push_back(std::move(file));
  }
  return result;
}

ObjectProperties Record::data() const {
  ObjectProperties result(document_);
  result.removeKey(layout::key::recordInfo);
  return result;
}

std::unique_ptr<DatabaseRecordInterface> Record::toInterface() const {
  std::unique_ptr<DatabaseRecordInterface> result = repository::newRecordOf(kind_);
  result->setD(std::make_unique<ObjectProperties>(document_).release());
  return result;
}

void Record::throwWrongKind(const std::string& name, const Value& value, const char* wanted) {
  throw Error(Error::Kind::document, "description \"" + name + "\" is " + kindName(value) + ", not " + wanted, {name});
}

std::optional<std::string> Record::convert(const Value& value, const std::string* /*type*/) {
  const auto* text = std::get_if<std::string>(&value);
  return text != nullptr ? std::optional<std::string>(*text) : std::nullopt;
}

std::optional<bool> Record::convert(const Value& value, const bool* /*type*/) {
  const bool* boolean = std::get_if<bool>(&value);
  return boolean != nullptr ? std::optional<bool>(*boolean) : std::nullopt;
}

std::optional<std::int32_t> Record::convert(const Value& value, const std::int32_t* /*type*/) {
  const std::optional<std::int64_t> integer = repository::exactInteger(value);
  const bool isNarrow = integer && static_cast<std::int32_t>(*integer) == *integer;
  return isNarrow ? std::optional(static_cast<std::int32_t>(*integer)) : std::nullopt;
}

std::optional<std::int64_t> Record::convert(const Value& value, const std::int64_t* /*type*/) {
  return repository::exactInteger(value);
}

std::optional<double> Record::convert(const Value& value, const double* /*type*/) {
  constexpr std::int64_t end = std::int64_t{1} << std::numeric_limits<double>::digits;
  const auto* wide = std::get_if<std::int64_t>(&value);
  if (wide != nullptr && (*wide < -end || *wide > end)) return std::nullopt;
  return numberOf(value);
}

std::optional<Time> Record::convert(const Value& value, const Time* /*type*/) {
  const auto* time = std::get_if<Time>(&value);
  return time != nullptr ? std::optional<Time>(*time) : std::nullopt;
}

NewRecord& NewRecord::category(const std::string& name, const std::string& value) {
  categories_.emplace_back(name, value);
  return *this;
}

NewRecord& NewRecord::description(const std::string& name, const Value& value) {
  descriptions_.emplace_back(name, value);
  return *this;
}

NewRecord& NewRecord::file(ObjectType type, const std::string& host, const std::string& path) {
  files_.push_back({"", type, host, path});
  return *this;
}

NewRecord& NewRecord::file(const FileReference& file) {
  files_.push_back(file);
  return *this;
}

NewRecord& NewRecord::dataServer(const std::string& host, const std::string& path) {
  source_ = Source{host, path};
  return *this;
}

NewRecord& NewRecord::id(const std::string& id) {
  id_ = id;
  return *this;
}

NewRecord& NewRecord::data(const ObjectProperties& data) {
  data_ = data;
  return *this;
}

ObjectProperties NewRecord::toDocument(RecordKind kind) const {
  for (const char* key : {"_id", layout::key::recordInfo})
    refuse(data_.contains(key), key, std::string("the data of a record cannot have the key \"") + key + "\"");
  const std::unique_ptr<DatabaseRecordInterface> record = repository::newRecordOf(kind);
  if (!data_.isEmpty()) record->setUserRecrod(data_);
  for (const auto& [name, value] : categories_) {
    refuse(name.empty(), name, "a category has an empty name");
    refuse(value.empty(), name, "category \"" + name + "\" has an empty value");
    record->setCategory(name, value);
  }
  for (const auto& [name, value] : descriptions_) {
    refuse(name.empty(), name, "a description has an empty name");
    const auto* text = std::get_if<std::string>(&value);
    refuse(text != nullptr && text->empty(), name, "description \"" + name + "\" has an empty text");
    store(*record, name, value);
  }
  std::set<std::string> fileIds;
  for (const FileReference& file : files_) {
    std::string newId;
    record->addFileInfo(file.type, file.host, file.path, newId);
    const std::string& fileId = file.id.empty() ? newId : file.id;
    refuse(!fileIds.insert(fileId).second, fileId, "two files of the record have the id \"" + fileId + "\"");
  }
  if (source_) {
    auto* experiment = dynamic_cast<ExperimentDatabaseRecordInterface*>(record.get());
    if (experiment == nullptr)
      throw Error(Error::Kind::document, "a scenario has no data source", {layout::key::dataSource});
    std::unique_ptr<DataServerSourceInfoInterface> source(createDataServerSourceInfo());
    source->setHost(source_->host);
    source->setPath(source_->path);
    experiment->setDataServerSourceInfo(source.release());
  }
  const std::unique_ptr<ObjectProperties> document(record->take());
  nameFiles(files_, *document);
  if (id_.empty()) return std::move(*document);
  ObjectProperties result;
  result.setValueId("_id", id_);
  result.include("/", *document);
  return result;
}

}  // namespace database_provider
