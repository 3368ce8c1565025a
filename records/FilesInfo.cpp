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

std::string FilesInfo::createFileId() const {
  // Ids need to be unique within their record only, which the search below sees to; nothing here is a secret.
  // NOLINTBEGIN(cert-msc30-c, cert-msc32-c, cert-msc50-cpp, cert-msc51-cpp, concurrency-mt-unsafe)
  std::srand(static_cast<unsigned>(std::time(nullptr)));
  std::string id = std::to_string(std::rand());
  while (contains(id)) id = std::to_string(std::rand());
  // NOLINTEND(cert-msc30-c, cert-msc32-c, cert-msc50-cpp, cert-msc51-cpp, concurrency-mt-unsafe)
  return id;
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
  removeItem(fileId);
}

void FilesInfo::removeAllFilesInfo() {
  removeAll();
}

bool FilesInfo::isAsWritten(Reader fields) const {
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
