// SPDX-License-Identifier: Apache-2.0
#include "database_provider/arrow.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "database_provider/records.h"
#include "exporting/ArrowColumn.h"
#include "exporting/TypedColumns.h"
#include "records/layout.h"
#include "repository/DocumentPages.h"
#include "repository/documentValue.h"

namespace database_provider {

using database_client::Error;
using exporting::ArrowColumn;
using exporting::TypedColumn;

namespace {

constexpr int recordsOfBatch = 8192;
constexpr std::size_t mostText = 64U << 20U;  // of one column in a batch, so that memory stays level for long texts

ObjectProperties projectionOf(const std::vector<TypedColumn>& columns) {
  ObjectProperties result;
  result.setValueBool("_id", true);
  for (const TypedColumn& column : columns) {
    if (column.source == TypedColumn::Source::category) result.setValueBool(layout::path::category, true);
    if (column.source == TypedColumn::Source::description) result.setValueBool(layout::path::description, true);
  }
  return result;
}

/// Which of a record's items belong to which columns. A name with values of several kinds has a column for each.
class ItemSlots {
 public:
  void add(std::string_view name, std::size_t column) { columns_[name].push_back(column); }

  /// Notes for each column its value in the record, the last one of the name, whatever its kind.
  void read(ElementReader items, std::vector<std::optional<ElementReader>>& values) const {
    while (items.next()) {
      std::string_view name;
      std::optional<ElementReader> value;
      for (ElementReader field = items.children(); field.next();) {
        if (field.key() == "name") name = field.asString();
        if (field.key() == "value") value = field;
      }
      const auto found = columns_.find(name);
      if (found == columns_.end()) continue;
      for (const std::size_t column : found->second) values[column] = value;
    }
  }

 private:
  std::unordered_map<std::string_view, std::vector<std::size_t>> columns_{};
};

/// Reads records into columns, a batch at a time.
class ArrowSource {
 public:
  ArrowSource(const Records& records, const Selection& selection, const FindOptions& options,
              std::vector<TypedColumn> columns)
      : columns_(std::move(columns)), pages_(records, selection, options, projectionOf(columns_)) {
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      if (columns_[i].source == TypedColumn::Source::category) categories_.add(columns_[i].name, i);
      if (columns_[i].source == TypedColumn::Source::description) descriptions_.add(columns_[i].name, i);
    }
  }
  ArrowSource(const ArrowSource&) = delete;
  ArrowSource& operator=(const ArrowSource&) = delete;
  ArrowSource(ArrowSource&&) = delete;
  ArrowSource& operator=(ArrowSource&&) = delete;
  ~ArrowSource() = default;

  void fill(ArrowSchema& schema) const {
    std::vector<std::pair<std::string, PropertyType>> fields;
    for (const TypedColumn& column : columns_) fields.emplace_back(column.heading, column.type);
    exporting::fillStructure(schema, fields);
  }

  /// Leaves the array released at the end.
  void fill(ArrowArray& array) {
    array.release = nullptr;
    std::vector<ArrowColumn> batch;
    for (const TypedColumn& column : columns_) batch.emplace_back(column.type);
    const bool isAny = pages_.next(recordsOfBatch, [&](ObjectProperties& document) {
      add(document, batch);
      return std::all_of(batch.begin(), batch.end(),
                         [](const ArrowColumn& column) { return column.textSize() < mostText; });
    });
    if (isAny) exporting::fillStructure(array, std::move(batch));
  }

  std::string error{};  ///< what `get_last_error` gives

 private:
  void add(const ObjectProperties& document, std::vector<ArrowColumn>& batch) {
    values_.assign(columns_.size(), std::nullopt);
    for (ElementReader key(document); key.next();) {
      if (key.key() != layout::key::recordInfo) continue;
      for (ElementReader section = key.children(); section.next();) {
        if (section.key() == layout::key::category) categories_.read(section.children(), values_);
        if (section.key() == layout::key::description) descriptions_.read(section.children(), values_);
      }
    }
    const std::string id = document.valueAsId("_id", "");
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      switch (columns_[i].source) {
        case TypedColumn::Source::id:
          batch[i].add(std::string_view(id));
          break;
        case TypedColumn::Source::created:
          if (const auto created = timeOfId(id))
            batch[i].add(created->milliseconds);
          else
            batch[i].addNull();
          break;
        default:
          addValue(i, id, batch[i]);
      }
    }
  }

  void addValue(std::size_t place, const std::string& id, ArrowColumn& column) const {
    const std::optional<ElementReader>& value = values_[place];
    const PropertyType type = value ? value->type() : PropertyType::undefined;
    if (type != column.type()) {
      requireColumn(place, id);
      return column.addNull();
    }
    switch (type) {
      case PropertyType::boolean:
        return column.add(value->asBool(false));
      case PropertyType::int32:
        return column.add(value->asInt32(0));
      case PropertyType::int64:
        return column.add(value->asInt64(0));
      case PropertyType::real:
        return column.add(value->asDouble(0));
      case PropertyType::time:
        return column.add(std::int64_t{value->asTime(0)});
      default:
        return column.add(value->asString());
    }
  }

  /// A value that has no column of its kind would be missing in silence.
  void requireColumn(std::size_t place, const std::string& id) const {
    const TypedColumn& column = columns_[place];
    const std::optional<Value> value = values_[place] ? repository::valueOf(*values_[place]) : std::optional<Value>();
    if (!value || column.source != TypedColumn::Source::description) return;
    for (const TypedColumn& other : columns_) {
      if (other.source == column.source && other.name == column.name && other.type == values_[place]->type()) return;
    }
    throw Error(Error::Kind::document,
                "description \"" + column.name + "\" of the record " + id + " is " + kindName(*value) +
                    ", for which the table has no column: it was written while the table was read, or says another "
                    "kind than it has",
                {column.name});
  }

  std::vector<TypedColumn> columns_;
  ItemSlots categories_{};
  ItemSlots descriptions_{};
  std::vector<std::optional<ElementReader>> values_{};
  repository::DocumentPages pages_;
};

ArrowSource& sourceOf(ArrowArrayStream* stream) {
  return *static_cast<ArrowSource*>(stream->private_data);
}

/// No exception may pass through a consumer, which may be written in any language.
template <class Step>
int guarded(ArrowArrayStream* stream, const Step& step) noexcept {
  ArrowSource& source = sourceOf(stream);
  try {
    try {
      step(source);
      return 0;
    } catch (const Error& error) {
      source.error = error.what();
      return error.kind() == Error::Kind::cancelled ? ECANCELED : EIO;
    } catch (const std::exception& error) {
      source.error = error.what();
      return EIO;
    }
  } catch (const std::bad_alloc&) {
    return ENOMEM;  // for the message
  }
}

int getSchema(ArrowArrayStream* stream, ArrowSchema* schema) {
  return guarded(stream, [schema](const ArrowSource& source) { source.fill(*schema); });
}

int getNext(ArrowArrayStream* stream, ArrowArray* array) {
  return guarded(stream, [array](ArrowSource& source) { source.fill(*array); });
}

const char* getLastError(ArrowArrayStream* stream) {
  const std::string& error = sourceOf(stream).error;
  return error.empty() ? nullptr : error.c_str();
}

void release(ArrowArrayStream* stream) {
  const auto* source = &sourceOf(stream);
  stream->release = nullptr;
  stream->private_data = nullptr;
  delete source;
}

}  // namespace

void Records::exportArrow(const Selection& selection, const std::vector<std::string>& columns, ArrowArrayStream* stream,
                          const FindOptions& options) const {
  auto source =
      std::make_unique<ArrowSource>(*this, selection, options, exporting::typedColumns(columns, names(selection)));
  *stream = ArrowArrayStream{};
  stream->get_schema = getSchema;
  stream->get_next = getNext;
  stream->get_last_error = getLastError;
  stream->release = release;
  stream->private_data = source.release();
}

}  // namespace database_provider
