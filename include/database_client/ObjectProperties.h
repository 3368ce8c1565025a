// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "database_client/export.h"
#include "database_client/types.h"

namespace database_client {

class Document;

/// A hierarchical, typed document: an ordered set of keys, each with a value, a nested document (a group) or an array.
///
/// A document has a position, at first the root; everything reads and writes at the current level. Opening and closing
/// a level also works on a const document, so a document must not be shared between threads without a lock, not even to
/// read it. Keys are kept verbatim: dots and dollar signs have no meaning here. Writing an existing key keeps its
/// place. Keys that a store repeats are kept, and reading finds the first.
///
/// The document is held as one block of BSON, up to 16 MiB and 100 levels below the root. A copy shares the block until
/// one of the two is changed, and stands at the root. Reading a key takes constant time in document order, else time
/// that grows with the number of keys the first time and is constant afterwards; writing also moves the bytes behind
/// it.
///
/// Failures are `Error` of kind document, with the key's path in `where()`; after one, the document is as it was.
/// Refused are: a key with a NUL, text that is not UTF-8, more than 100 levels, more than 16 MiB.
class DATABASE_CLIENT_EXPORT ObjectProperties {
 public:
  ObjectProperties();
  ObjectProperties(const ObjectProperties& other);
  ObjectProperties(ObjectProperties&& other) noexcept;
  ObjectProperties& operator=(const ObjectProperties& other);
  ObjectProperties& operator=(ObjectProperties&& other) noexcept;
  virtual ~ObjectProperties();

  /// Enters the nested document under `key`, creating an empty one when absent. In an array the key is the element's
  /// index ("0", "1", …). A value of another kind reads as an empty level, and the first write into it replaces it.
  virtual void beginGroup(const std::string& key);
  /// Returns to the enclosing level; at the root it does nothing.
  virtual void endGroup() const;
  /// Enters the array under `key`, creating an empty one when absent; otherwise as `beginGroup`. Whoever only reads
  /// uses `enterArray`, or asks `contains` first.
  virtual void beginArray(const std::string& key) const;
  /// Returns to the level that holds the array; at the root it does nothing.
  virtual void endArray() const;

  virtual void setValueString(const std::string& key, const std::string& value);
  virtual void setValueBool(const std::string& key, bool value);
  virtual void setValueInt32(const std::string& key, int value);
  virtual void setValueInt64(const std::string& key, std::int64_t value);
  virtual void setValueDouble(const std::string& key, double value);
  /// `value` is in milliseconds since the epoch, UTC.
  virtual void setValueTime(const std::string& key, long long value);
  /// 24 hex digits become an object id; any other text is kept as a string, so that a foreign id still finds its
  /// record.
  virtual void setValueId(const std::string& key, const std::string& id);

  /// The value under `key`, or `defaultValue` when the key is absent or holds another kind. Numbers are read
  /// across their kinds where nothing is lost: an int64 of 5 reads as int32 5, a double of 5.5 does not.
  virtual std::string valueAsString(const std::string& key, const std::string& defaultValue) const;
  virtual bool valueAsBool(const std::string& key, bool defaultValue) const;
  virtual int valueAsInt32(const std::string& key, int defaultValue) const;
  virtual std::int64_t valueAsInt64(const std::string& key, std::int64_t defaultValue) const;
  virtual double valueAsDouble(const std::string& key, double defaultValue) const;
  virtual long long valueAsTime(const std::string& key, long long defaultValue) const;
  /// An object id as 24 lower-case hex digits, or the text of a string.
  virtual std::string valueAsId(const std::string& key, const std::string& defaultValue) const;

  virtual bool contains(const std::string& key) const;
  /// Removes the key and all it holds; does nothing when absent. "/" stands for the whole document and empties it
  /// (see `removeKey`).
  virtual void remove(const std::string& key);
  /// The kind of the value under `key`; `PropertyType::undefined` when absent.
  virtual PropertyType type(const std::string& key) const;
  /// All keys of the current level, in document order.
  virtual std::list<std::string> childKeys() const;
  /// The keys of the current level that hold nested documents (not arrays), in document order.
  virtual std::list<std::string> childGroups() const;

  /// Places a copy of the whole of `other` under `key`. With "/", the keys of `other` are placed at the root instead.
  virtual void include(const std::string& key, const ObjectProperties& other);
  /// Takes what stands under `key` out of this document and makes it the whole content of `out`: the keys of a group,
  /// the elements of an array under their indices, any other value under its own key. When absent, `out` is left alone.
  virtual void exclude(const std::string& key, ObjectProperties& out);

  // Positional access to the current level. An index outside 0 .. size() - 1 is no error.

  /// The number of entries of the current level.
  virtual int size() const;
  /// Enters the group or array at a position, to be left with `endGroup`; false, and no move, when there is none.
  virtual bool enterAt(const int& index) const;
  /// The position of the last group or array of this level that has the text `value` under `key`, -1 when there is
  /// none: how an item is found by its name. Goes through the level once.
  virtual int findLastItem(const std::string& key, const std::string& value) const;
  /// The former name of `findLastItem`.
  int lastWith(const std::string& key, const std::string& value) const { return findLastItem(key, value); }
  /// The key at a position, empty outside.
  virtual std::string nameAt(const int& index) const;
  /// The kind at a position, `PropertyType::undefined` outside.
  virtual PropertyType typeAt(const int& index) const;
  /// The boolean at a position, `defaultValue` outside or for another kind.
  virtual bool boolAt(const int& index, bool defaultValue) const;

  // Reading without a trace, and values of every kind.

  /// Enters the group under `key` if there is one, to be left with `endGroup`; else false, and nothing changes.
  virtual bool enterGroup(const std::string& key) const;
  /// Enters the array under `key` if there is one, to be left with `endArray`; else false, and nothing changes.
  virtual bool enterArray(const std::string& key) const;
  /// As `remove`, with every key an ordinary one, "/" too.
  virtual void removeKey(const std::string& key);
  virtual void setValueNull(const std::string& key);
  /// Places a copy of the value that `other` has under `otherKey` at its current level, of whatever kind, under `key`;
  /// false when it has none.
  virtual bool copyValue(const std::string& key, const ObjectProperties& other, const std::string& otherKey);
  /// Whether the whole document has no key.
  virtual bool isEmpty() const;

  // The exchange forms, always of the whole document.

  std::vector<std::uint8_t> toBson() const;
  /// Takes one BSON document, checked whole: Error{document} for anything malformed, with the path of the key.
  static ObjectProperties fromBson(const void* data, std::size_t size);
  std::string toJson(JsonMode mode = JsonMode::relaxed) const;
  /// Takes canonical or relaxed extended JSON of one object.
  static ObjectProperties fromJson(const std::string& extendedJson);

 private:
  friend class DocumentAccess;

  Document& document() const;

  mutable std::unique_ptr<Document> document_;  ///< null while the document is empty and at its root
};

/// Opens a group for a scope: `endGroup` on the way out, so that an early return cannot leave a document on the wrong
/// level.
class GroupScope {
 public:
  GroupScope(ObjectProperties& document, const std::string& key) : document_(document) { document.beginGroup(key); }
  ~GroupScope() { document_.endGroup(); }
  GroupScope(const GroupScope&) = delete;
  GroupScope& operator=(const GroupScope&) = delete;

 private:
  const ObjectProperties& document_;
};

/// Opens an array for a scope.
class ArrayScope {
 public:
  ArrayScope(const ObjectProperties& document, const std::string& key) : document_(document) {
    document.beginArray(key);
  }
  ~ArrayScope() { document_.endArray(); }
  ArrayScope(const ArrayScope&) = delete;
  ArrayScope& operator=(const ArrayScope&) = delete;

 private:
  const ObjectProperties& document_;
};

/// Enters what is there for a scope, and only that: false in a condition when it is absent or of another kind.
class EnteredScope {
 public:
  static EnteredScope group(const ObjectProperties& document, const std::string& key) {
    return {document, document.enterGroup(key)};
  }
  static EnteredScope array(const ObjectProperties& document, const std::string& key) {
    return {document, document.enterArray(key)};
  }
  static EnteredScope at(const ObjectProperties& document, int index) { return {document, document.enterAt(index)}; }
  ~EnteredScope() {
    if (entered_) document_.endGroup();
  }
  EnteredScope(const EnteredScope&) = delete;
  EnteredScope& operator=(const EnteredScope&) = delete;
  explicit operator bool() const { return entered_; }

 private:
  EnteredScope(const ObjectProperties& document, bool entered) : document_(document), entered_(entered) {}
  const ObjectProperties& document_;
  bool entered_;
};

// Their former names.
using Group = GroupScope;
using Array = ArrayScope;
using Entered = EnteredScope;

}  // namespace database_client
