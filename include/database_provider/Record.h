// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "database_client/Error.h"
#include "database_provider/DatabaseRecordInterface.h"
#include "database_provider/types.h"

namespace database_provider {

enum class RecordKind : int { experiment = 0, scenario = 1 };

/// A point in time: milliseconds since the epoch, UTC.
struct Time {
  std::int64_t milliseconds = 0;

  friend bool operator==(Time left, Time right) { return left.milliseconds == right.milliseconds; }
  friend bool operator!=(Time left, Time right) { return left.milliseconds != right.milliseconds; }
  friend bool operator<(Time left, Time right) { return left.milliseconds < right.milliseconds; }
};

/// The value of a description: a text, a boolean, an integer of 32 or of 64 bits, a double, or a time.
using Value = std::variant<std::string, bool, std::int32_t, std::int64_t, double, Time>;

/// The number that a value is; nothing for a text, a boolean and a time. An integer beyond 2^53 is rounded.
DATABASE_PROVIDER_EXPORT std::optional<double> numberOf(const Value& value);

/// When the object id was made that this text stands for, to the second; nothing for any other id.
DATABASE_PROVIDER_EXPORT std::optional<Time> timeOfId(const std::string& id);

/// A file that a record refers to.
struct FileReference {
  std::string id;  ///< unique within the record
  ObjectType type = ObjectType::documentObject;
  std::string host;
  std::string path;
};

/// One record, read. It owns its document, which is not taken apart before something asks for a value; reading a value
/// takes time that grows with the number of categories or descriptions. A moved-from record may be assigned to.
class DATABASE_PROVIDER_EXPORT Record {
 public:
  /// `document` is a record as it is stored; its "_id" goes to `id`.
  Record(RecordKind kind, ObjectProperties document);

  RecordKind kind() const { return kind_; }
  /// The id; empty for one that is neither an object id nor a text.
  const std::string& id() const { return id_; }
  /// When the record was made, as its id says; nothing for an id that says none.
  std::optional<Time> created() const { return timeOfId(id_); }

  /// The names of categories and of descriptions, in the record's order.
  std::vector<std::string> categoryNames() const;
  std::vector<std::string> descriptionNames() const;
  /// Nothing when the record has no such category.
  std::optional<std::string> category(const std::string& name) const;
  /// Nothing when the record has no such description, or one of a kind that no description has.
  std::optional<Value> description(const std::string& name) const;
  /// The description as a `Type` that `Value` holds: nothing when the record has none; Error{document}, whose `where`
  /// is the name, when it has one of another kind. Numbers are read across their kinds where nothing is lost.
  template <class Type>
  std::optional<Type> descriptionAs(const std::string& name) const;

  /// All that `category` and `description` give, name by name in the record's order, in one pass.
  std::vector<std::pair<std::string, std::string>> categories() const;
  std::vector<std::pair<std::string, Value>> descriptions() const;

  std::vector<FileReference> files() const;
  /// The user record: every key of the document that is not the library's.
  ObjectProperties data() const;
  /// The document as it is stored, without its "_id".
  const ObjectProperties& document() const { return document_; }
  /// A record of the interfaces that holds a copy of the document.
  std::unique_ptr<DatabaseRecordInterface> toInterface() const;

 private:
  [[noreturn]] static void throwWrongKind(const std::string& name, const Value& value, const char* wanted);
  static std::optional<std::string> convert(const Value& value, const std::string*);
  static std::optional<bool> convert(const Value& value, const bool*);
  static std::optional<std::int32_t> convert(const Value& value, const std::int32_t*);
  static std::optional<std::int64_t> convert(const Value& value, const std::int64_t*);
  static std::optional<double> convert(const Value& value, const double*);
  static std::optional<Time> convert(const Value& value, const Time*);

  RecordKind kind_;
  std::string id_;
  ObjectProperties document_;
};

/// The name of a kind of value, as messages write it ("a text").
DATABASE_PROVIDER_EXPORT const char* kindName(const Value& value);

/// The short name of a type of descriptions: string, bool, int, long, double or time; "type N" for any other.
DATABASE_PROVIDER_EXPORT std::string typeName(PropertyType type);
DATABASE_PROVIDER_EXPORT std::string typeName(const Value& value);

template <class Type>
std::optional<Type> Record::descriptionAs(const std::string& name) const {
  const std::optional<Value> value = description(name);
  if (!value) return std::nullopt;
  std::optional<Type> result = convert(*value, static_cast<const Type*>(nullptr));
  if (!result) throwWrongKind(name, *value, kindName(Type()));
  return result;
}

/// A record to be written, put together in one expression. A name that is given twice has the value given last.
class DATABASE_PROVIDER_EXPORT NewRecord {
 public:
  NewRecord& category(const std::string& name, const std::string& value);
  /// A text; as a template, so that a literal 0 is a number and no null pointer.
  template <class Text, std::enable_if_t<std::is_same_v<std::decay_t<Text>, const char*>, int> = 0>
  NewRecord& description(const std::string& name, Text&& text) {
    return description(name, Value(std::string(text)));
  }
  NewRecord& description(const std::string& name, const Value& value);
  NewRecord& file(ObjectType type, const std::string& host, const std::string& path);
  /// A file under an id of the caller's, a new one where it is empty; an id that another file of the record has is
  /// refused when the record is written.
  NewRecord& file(const FileReference& file);
  /// The experiment's data lies in a section of a data server; a scenario that is given one is refused when written.
  NewRecord& dataServer(const std::string& host, const std::string& path = {});
  /// The id that the record is to have, instead of a new one.
  NewRecord& id(const std::string& id);
  /// The user record; a key "recordInfo" or "_id" in it is refused when the record is written.
  NewRecord& data(const ObjectProperties& data);

  /// The document of a record of this kind. Error{document} for an empty name, an empty text, or what is refused above,
  /// with the name in `where`.
  ObjectProperties toDocument(RecordKind kind) const;

 private:
  struct Source {
    std::string host;
    std::string path;
  };

  std::string id_{};
  std::vector<std::pair<std::string, std::string>> categories_{};
  std::vector<std::pair<std::string, Value>> descriptions_{};
  std::vector<FileReference> files_{};
  std::optional<Source> source_{};
  ObjectProperties data_{};
};

}  // namespace database_provider
