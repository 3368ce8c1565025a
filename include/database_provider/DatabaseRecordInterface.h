// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <list>
#include <string>

#include "database_provider/types.h"

namespace database_provider {

/// A record: one document, seen as named, typed descriptions, categories (names with a text), references to files, and
/// a user record, which is everything else that stands in the document.
///
/// A record owns one document. Each section is read from it when first asked for, edited in a copy, and written back by
/// `getD` and `take` when it was edited; an unedited section is never rewritten, and reading changes nothing. Even
/// const operations fill these copies, so a record must not be shared between threads without a lock.
///
/// Nothing here fails for want of data: what is absent reads as the caller's default, an empty list, or an output left
/// as described. Names and texts that no document can hold (no UTF-8, too long) throw `database_client::Error`, and the
/// record is as it was.
class DATABASE_PROVIDER_EXPORT DatabaseRecordInterface {
 public:
  DatabaseRecordInterface() = default;
  DatabaseRecordInterface(const DatabaseRecordInterface&) = delete;
  DatabaseRecordInterface& operator=(const DatabaseRecordInterface&) = delete;
  virtual ~DatabaseRecordInterface() = default;

  /// Empties the record and cuts its sections off from the document: until the next `setD`, what is edited is readable
  /// here but does not reach the document that `getD` returns.
  virtual void clear() = 0;

  // The user record: every top-level key of the document but "recordInfo".

  /// Replaces the user record by a copy of `data`; a key "recordInfo" in it is dropped when the record is written.
  virtual void setUserRecrod(const ObjectProperties& data) = 0;
  virtual ObjectProperties getUserRecord() const = 0;
  virtual void removeUserRecord() = 0;

  // Descriptions: each name has one value of one kind, the last that was given.

  /// Stores a text; an empty one removes the description. False for an empty name with a text.
  virtual bool addDescriptionString(const std::string& name, const std::string& value) = 0;
  /// False for an empty name; so for `addDescriptionInt` and `addDescriptionTime`.
  virtual bool addDescriptionBool(const std::string& name, const bool& value) = 0;
  virtual bool addDescriptionInt(const std::string& name, const int& value) = 0;
  /// Stores a double and returns false (true for an empty name, which stores nothing). The section does not count as
  /// edited: the value is written together with the next other edit of a description. `setDescription` (descriptions.h)
  /// has no such pitfall.
  virtual bool addDescriptionDouble(const std::string& name, const double& value) = 0;
  /// As `addDescriptionDouble`, for a 64-bit integer.
  virtual bool addDescriptionLongLong(const std::string& name, const long long& value) = 0;
  /// `value` is in milliseconds since the epoch, UTC.
  virtual bool addDescriptionTime(const std::string& name, const long long& value) = 0;

  /// The value of a description, or `defaultValue` when there is none or it is of another kind. Numbers are read across
  /// their kinds where nothing is lost.
  virtual std::string descriptionAsString(const std::string& name, const std::string& defaultValue) const = 0;
  virtual int descriptionAsInt(const std::string& name, int defaultValue) const = 0;
  virtual double descriptionAsDouble(const std::string& name, double defaultValue) const = 0;
  virtual bool descriptionAsBool(const std::string& name, bool defaultValue) const = 0;
  virtual long long descriptionAsLongLong(const std::string& name, long long defaultValue) const = 0;
  virtual long long descriptionAsTime(const std::string& name, long long defaultValue) const = 0;

  virtual void removeDescription(const std::string& name) = 0;
  virtual void removeAllDescriptions() = 0;
  /// Replaces the list by the names, in the record's order.
  virtual void enumDescriptionsNames(std::list<std::string>& names) const = 0;
  /// `PropertyType::undefined` when there is none.
  virtual void descriptionType(const std::string& name, PropertyType& type) const = 0;

  // Categories: each name has one text.

  /// Sets a category; an empty value removes it. False for an empty name only.
  virtual bool setCategory(const std::string& name, const std::string& value) = 0;
  /// Replaces the list by the names, in the record's order.
  virtual void enumCategoriesNames(std::list<std::string>& names) const = 0;
  virtual std::string categoryValue(const std::string& name, const std::string& defaultValue) const = 0;
  virtual void removeCategory(const std::string& name) = 0;
  virtual void removeAllCategories() = 0;

  // References to files: a kind, a host and a path under an id that is unique within the record.

  /// Appends the ids of the files of one kind; what the list held stays.
  virtual void enumFilesIds(const ObjectType& type, std::list<std::string>& ids) const = 0;
  /// Replaces the list by the ids of all files, in the record's order.
  virtual void enumFilesIds(std::list<std::string>& ids) const = 0;
  /// Adds a reference of any kind and writes its new id, a decimal number, to `fileId`; true.
  virtual bool addFileInfo(const ObjectType& type, const std::string& host, const std::string& path,
                           std::string& fileId) = 0;
  virtual void removeFileInfo(const std::string& fileId) = 0;
  virtual void removeAllFilesInfo() = 0;
  /// An unknown id gives kind 0 and empty texts.
  virtual void getFileInfo(const std::string& fileId, ObjectType& type, std::string& host, std::string& path) const = 0;

  /// The kinds of file that records of this kind are meant to hold; `addFileInfo` takes any.
  virtual std::list<ObjectType> supportedObjectTypes() const = 0;
  /// Replaces the list by the file name extensions of a kind, each with its dot; a name may stand there twice.
  virtual void fileExtensions(const ObjectType& type, std::list<std::string>& extensions) const = 0;

  // The document.

  /// Takes the document over and drops the one held before and all edits not yet written. The document that the record
  /// holds already changes nothing.
  virtual void setD(ObjectProperties* document) = 0;
  /// Writes the edited sections back and lends the document, until the record is changed or destroyed.
  virtual ObjectProperties* getD() const = 0;
  /// As `getD`, but the caller owns the document, and the record has a new empty one. The sections stay with the
  /// document that was handed out: use the record again only after `setD` or `clear`.
  virtual ObjectProperties* take() = 0;
};

}  // namespace database_provider
