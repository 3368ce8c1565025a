// SPDX-License-Identifier: Apache-2.0
#include "records/FilesInfo.h"

#include <cstdlib>
#include <ctime>
#include <utility>

#include "records/layout.h"

namespace database_provider {

struct FilesInfo::File {
  int type = 0;
  std::string host{};
  std::string path{};

  static File read(const ObjectProperties& level) {
    return {level.valueAsInt32("type", 0), level.valueAsString("host", ""), level.valueAsString("path", "")};
  }
  void write(ObjectProperties& level) const {
    level.setValueInt32("type", type);
    level.setValueString("host", host);
    level.setValueString("path", path);
  }
};

FilesInfo::FilesInfo() : ItemsView({layout::key::files, "fileId", layout::key::additionalData}) {}

bool FilesInfo::addFileInfo(const ObjectType& type, const std::string& host, const std::string& path,
                            std::string& fileId) {
  const bool added = addFileInfo_helper(type, host, path, fileId);
  if (added) setModified();
  return added;
}

bool FilesInfo::addFileInfo_helper(const ObjectType& type, const std::string& host, const std::string& path,
                                   std::string& fileId) {
  const std::string id = createFileId();
  setFile(id, {static_cast<int>(type), host, path});
  fileId = id;
  return true;
}

int FilesInfo::number(std::size_t index) const {
  draw(index + 1);
  return numbers_.drawn[index];
}

/// Makes so many numbers known, and as many again, since each call begins anew.
void FilesInfo::draw(std::size_t count) const {
  if (count <= numbers_.drawn.size()) return;
  // Ids need to be unique within their record only, which `createFileId` sees to; nothing here is a secret.
  // NOLINTBEGIN(cert-msc30-c, cert-msc32-c, cert-msc50-cpp, cert-msc51-cpp, concurrency-mt-unsafe)
  std::srand(static_cast<unsigned>(numbers_.second));
  for (std::size_t i = 0; i < numbers_.drawn.size(); ++i) static_cast<void>(std::rand());
  while (numbers_.drawn.size() < 2 * count) numbers_.drawn.push_back(std::rand());
  // NOLINTEND(cert-msc30-c, cert-msc32-c, cert-msc50-cpp, cert-msc51-cpp, concurrency-mt-unsafe)
}

/// The first number that no file has. Those that were found taken within this second are passed over, so that thousands
/// of files take time in proportion.
std::string FilesInfo::createFileId() const {
  const std::time_t now = std::time(nullptr);
  std::srand(static_cast<unsigned>(now));  // NOLINT(cert-msc32-c, cert-msc51-cpp): as above
  const bool isKnown = numbers_.second == now && numbers_.taken > 0;
  if (!isKnown || !contains(std::to_string(number(numbers_.taken - 1)))) numbers_ = {now, {}, 0};
  for (;; ++numbers_.taken) {
    std::string id = std::to_string(number(numbers_.taken));
    if (!contains(id)) return id;
  }
}

FilesInfo::File FilesInfo::file(const std::string& fileId) const {
  return read(fileId, File(), [](const ObjectProperties& item) { return File::read(item); });
}

void FilesInfo::setFile(const std::string& fileId, const File& file) const {
  setItem(fileId, [&](ObjectProperties& item) { file.write(item); });
}

void FilesInfo::getFileInfo(const std::string& fileId, ObjectType& type, std::string& host, std::string& path) const {
  File found = file(fileId);
  type = static_cast<ObjectType>(found.type);
  host = std::move(found.host);
  path = std::move(found.path);
}

void FilesInfo::enumFilesIds(std::list<std::string>& ids) const {
  ids = names();
}

void FilesInfo::enumFilesIds(const ObjectType& type, std::list<std::string>& ids) const {
  for (const std::string& id : names()) {
    if (file(id).type == static_cast<int>(type)) ids.push_back(id);
  }
}

void FilesInfo::removeFileInfo(const std::string& fileId) {
  numbers_ = {};
  removeItem(fileId);
}

void FilesInfo::removeAllFilesInfo() {
  numbers_ = {};
  removeAll();
}

bool FilesInfo::isCanonical(ElementReader fields) const {
  const auto has = [&fields](const char* key, PropertyType type) {
    return fields.next() && fields.key() == key && fields.type() == type;
  };
  return has("fileId", PropertyType::string) && has("type", PropertyType::int32) && has("host", PropertyType::string) &&
         has("path", PropertyType::string) && !fields.next();
}

void FilesInfo::loadItem(const ObjectProperties& item) const {
  setFile(item.valueAsString("fileId", ""), File::read(item));
}

}  // namespace database_provider
