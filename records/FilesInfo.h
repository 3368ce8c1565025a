// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ctime>
#include <list>
#include <string>
#include <vector>

#include "records/ItemsView.h"

namespace database_provider {

/// The references to files of a record: kind, host and path of each, under an id that is unique within the record. Any
/// kind is taken.
class DATABASE_PROVIDER_EXPORT FilesInfo : public ItemsView {
 public:
  FilesInfo();

  /// Writes the new id to `fileId`; true.
  bool addFileInfo(const ObjectType& type, const std::string& host, const std::string& path, std::string& fileId);
  /// Writes into the copy alone.
  bool addFileInfo_helper(const ObjectType& type, const std::string& host, const std::string& path,
                          std::string& fileId);
  /// A decimal number that no file of the record has. Seeds the platform's generator with the time.
  std::string createFileId() const;
  /// Kind 0 and empty texts for an unknown id.
  void getFileInfo(const std::string& fileId, ObjectType& type, std::string& host, std::string& path) const;
  void enumFilesIds(std::list<std::string>& ids) const;
  /// Appends the ids of one kind.
  void enumFilesIds(const ObjectType& type, std::list<std::string>& ids) const;
  void removeFileInfo(const std::string& fileId);
  void removeAllFilesInfo();

 private:
  struct File;

  /// What the generator gives when it is seeded with a second, and how many of these numbers the files have.
  struct Numbers {
    std::time_t second = -1;
    std::vector<int> drawn{};
    std::size_t taken = 0;
  };

  int number(std::size_t index) const;
  void draw(std::size_t count) const;
  File file(const std::string& fileId) const;
  void setFile(const std::string& fileId, const File& file) const;
  void loadItem(const ObjectProperties& item) const override;
  bool isCanonical(ElementReader fields) const override;

  mutable Numbers numbers_{};
};

}  // namespace database_provider
