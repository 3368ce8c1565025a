// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <list>
#include <memory>
#include <string>

#include "database_provider/DatabaseRecordInterface.h"
#include "records/CategoriesInfo.h"
#include "records/DescriptionsInfo.h"
#include "records/FilesInfo.h"
#include "records/UserData.h"

// Records: a document of the database behind an interface of names and values.
//
// A record is one document and the views of its sections, four in any record and a fifth in an experiment's. A section
// is what one view reads and writes: an array of named items under "recordInfo", the source of the data, or all that
// stands outside of "recordInfo"; layout.h has the grammar. A view (SectionView) loads its section into a copy when it
// is first asked for, edits the copy, and writes it back when the record is asked for its document. `getD` is that
// moment: a provider asks a record for its document and stores it, or hands it a document that was fetched.
//
// What holds throughout:
//
// - Between an edit and `getD` the document is not what the record says; the views are.
// - A section that was not edited is never written. So a record that was fetched and stored again is the same bytes,
//   whatever stands in it that this library would not write: fields of other programs, items that are not valid.
// - An array that was edited is written whole, and then holds what is valid and nothing else.
// - Views borrow the document. Whoever exchanges it has to attach them, which `setD` does; `clear` attaches them to a
//   document that nobody sees, and `take` leaves them at the one that it gives away.
//
// Why copies and not edits of the document in place: of the stored items those that are not valid do not count, and of
// one name only the last does, so each operation on the document itself would have to look at all items of its section,
// and to leave what it must not write. What a copy costs, and when it is made, is the views' to say (ItemsView).
//
// Where to begin: layout.h, SectionView, ItemsView; the typed records (TypedRecord) only add their tables of files.

namespace database_provider {

/// A record of no particular kind: it owns the document and the views of its four sections. It supports no kind of file
/// and leaves the list of `fileExtensions` as it is.
class DATABASE_PROVIDER_EXPORT DatabaseRecord : public DatabaseRecordInterface {
 public:
  DatabaseRecord();

  void clear() override;

  void setUserRecrod(const ObjectProperties& data) override;
  ObjectProperties getUserRecord() const override;
  void removeUserRecord() override;

  bool addDescriptionString(const std::string& name, const std::string& value) override;
  bool addDescriptionBool(const std::string& name, const bool& value) override;
  bool addDescriptionInt(const std::string& name, const int& value) override;
  bool addDescriptionDouble(const std::string& name, const double& value) override;
  bool addDescriptionLongLong(const std::string& name, const long long& value) override;
  bool addDescriptionTime(const std::string& name, const long long& value) override;
  std::string descriptionAsString(const std::string& name, const std::string& defaultValue) const override;
  int descriptionAsInt(const std::string& name, int defaultValue) const override;
  double descriptionAsDouble(const std::string& name, double defaultValue) const override;
  bool descriptionAsBool(const std::string& name, bool defaultValue) const override;
  long long descriptionAsLongLong(const std::string& name, long long defaultValue) const override;
  long long descriptionAsTime(const std::string& name, long long defaultValue) const override;
  void removeDescription(const std::string& name) override;
  void removeAllDescriptions() override;
  void enumDescriptionsNames(std::list<std::string>& names) const override;
  void descriptionType(const std::string& name, PropertyType& type) const override;

  bool setCategory(const std::string& name, const std::string& value) override;
  void enumCategoriesNames(std::list<std::string>& names) const override;
  std::string categoryValue(const std::string& name, const std::string& defaultValue) const override;
  void removeCategory(const std::string& name) override;
  void removeAllCategories() override;

  void enumFilesIds(const ObjectType& type, std::list<std::string>& ids) const override;
  void enumFilesIds(std::list<std::string>& ids) const override;
  bool addFileInfo(const ObjectType& type, const std::string& host, const std::string& path,
                   std::string& fileId) override;
  void removeFileInfo(const std::string& fileId) override;
  void removeAllFilesInfo() override;
  void getFileInfo(const std::string& fileId, ObjectType& type, std::string& host, std::string& path) const override;
  std::list<ObjectType> supportedObjectTypes() const override;
  void fileExtensions(const ObjectType& type, std::list<std::string>& extensions) const override;

  void setD(ObjectProperties* document) override;
  ObjectProperties* getD() const override;
  ObjectProperties* take() override;

 private:
  void attach(ObjectProperties* document);

  std::unique_ptr<ObjectProperties> d_;
  /// Where the views write between `clear` and `setD`; nobody ever sees it.
  std::unique_ptr<ObjectProperties> detached_;

  mutable CategoriesInfo categories_;
  mutable DescriptionsInfo descriptions_;
  mutable FilesInfo files_;
  mutable UserData userData_;
};

}  // namespace database_provider
