// SPDX-License-Identifier: Apache-2.0
#include "RecordObject.h"

#include <array>
#include <utility>

#include "bson.h"

namespace database_provider::python {

namespace {

constexpr std::array<std::pair<ObjectType, const char*>, 5> fileKinds = {{{ObjectType::xmlObject, "xml"},
                                                                          {ObjectType::mediaObject, "media"},
                                                                          {ObjectType::archiveObject, "archive"},
                                                                          {ObjectType::documentObject, "document"},
                                                                          {ObjectType::extraXmlObject, "extraXml"}}};

ObjectType fileKind(const std::string& name, const std::string& where) {
  for (const auto& [kind, kindName] : fileKinds) {
    if (name == kindName) return kind;
  }
  refuse(where, "has the kind \"" + name + "\"; document, xml, media, archive or extraXml is expected");
}

bool isSequence(nb::handle object) {
  return PyTuple_Check(object.ptr()) || PyList_Check(object.ptr());
}

template <class Make>
nb::dict kept(nb::object& place, const Make& make) {
  if (!place.is_valid()) place = make();
  return nb::borrow<nb::dict>(place);
}

}  // namespace

const char* RecordObject::kind() const {
  return record_.kind() == RecordKind::experiment ? "experiment" : "scenario";
}

nb::object RecordObject::created() const {
  const std::optional<Time> time = record_.created();
  return time ? timeToPython(time->milliseconds) : nb::none();
}

nb::dict RecordObject::categories() {
  return kept(categories_, [this] {
    nb::dict result;
    for (const auto& [name, value] : record_.categories()) result[textToPython(name)] = textToPython(value);
    return result;
  });
}

nb::dict RecordObject::descriptions() {
  return kept(descriptions_, [this] {
    nb::dict result;
    for (const auto& [name, value] : record_.descriptions()) result[textToPython(name)] = valueToPython(value);
    return result;
  });
}

nb::dict RecordObject::files() {
  return kept(files_, [this] {
    static const auto* const file =
        new nb::object(nb::module_::import_("database_provider._types").attr("File"));  // as in `Times`
    nb::dict result;
    for (const FileReference& reference : record_.files())
      result[textToPython(reference.id)] =
          (*file)(fileKindName(reference.type), textToPython(reference.host), textToPython(reference.path));
    return result;
  });
}

nb::dict RecordObject::data() {
  return kept(data_, [this] { return documentToPython(record_.data()); });
}

std::string RecordObject::json() const {
  return record_.document().toJson(database_client::JsonMode::canonical);
}

bool RecordObject::isEqual(const RecordObject& other) const {
  return record_.kind() == other.record_.kind() && id() == other.id() &&
         record_.document().toBson() == other.record_.document().toBson();
}

int RecordObject::traverse(visitproc visit, void* argument) const {
  for (const nb::object* place : {&categories_, &descriptions_, &files_, &data_}) {
    if (!place->is_valid()) continue;
    if (const int stop = visit(place->ptr(), argument)) return stop;
  }
  return 0;
}

void RecordObject::clear() {
  for (nb::object* place : {&categories_, &descriptions_, &files_, &data_}) place->reset();
}

RecordParts RecordParts::of(nb::handle dict) {
  RecordParts parts;
  for (const auto& [key, value] : itemsOf(dict, "a record")) {
    const std::string name = nameFromPython(key, "a part of a record");
    if (name == "categories") {
      parts.categories = value;
    } else if (name == "descriptions") {
      parts.descriptions = value;
    } else if (name == "files") {
      parts.files = value;
    } else if (name == "data") {
      parts.data = value;
    } else if (name == "id") {
      parts.id = value;
    } else if (name == "source") {
      parts.source = value;
    } else {
      refuse("a record", "has a part \"" + name +
                             "\"; categories, descriptions, files, data, id and source are expected (what has another "
                             "name goes into data)");
    }
  }
  return parts;
}

NewRecord RecordParts::toRecord(const TypeOfName& typeOf) const {
  NewRecord record;
  for (const auto& [key, value] : itemsOf(categories, "categories")) {
    const std::string name = nameFromPython(key, "a category");
    record.category(name, textFromPython(value, "category \"" + name + "\""));
  }
  for (const auto& [key, value] : itemsOf(descriptions, "descriptions")) {
    const std::string name = nameFromPython(key, "a description");
    record.description(name, descriptionFromPython(value, name, typeOf));
  }
  if (isSequence(files)) {
    for (const nb::handle file : files) record.file(fileFromPython(file, ""));
  } else {
    for (const auto& [key, value] : itemsOf(files, "files")) {
      const std::string name = nameFromPython(key, "a file");
      if (name.empty()) refuse("a file", "has an empty name");
      record.file(fileFromPython(value, name));
    }
  }
  if (!data.is_none()) record.data(documentFromPython(data, "data"));
  if (nb::isinstance<ObjectId>(id))
    record.id(nb::cast<const ObjectId&>(id).text);
  else if (!id.is_none())
    record.id(textFromPython(id, "the id"));
  if (!source.is_none()) {
    if (!isSequence(source) || nb::len(source) != 2) refuse("the source", "is no tuple of host and path");
    record.dataServer(textFromPython(source[0], "the source's host"), textFromPython(source[1], "the source's path"));
  }
  return record;
}

const char* fileKindName(ObjectType type) {
  for (const auto& [kind, name] : fileKinds) {
    if (kind == type) return name;
  }
  return "unknown";
}

FileReference fileFromPython(nb::handle file, const std::string& id) {
  const std::string where = id.empty() ? "a file" : "file \"" + id + "\"";
  if (!isSequence(file) || nb::len(file) != 3)
    refuse(where, R"(is no tuple of kind, host and path, such as ("document", "nas", "/a.log"))");
  return {id, fileKind(textFromPython(file[0], where + "'s kind"), where), textFromPython(file[1], where + "'s host"),
          textFromPython(file[2], where + "'s path")};
}

std::vector<std::pair<nb::object, nb::object>> itemsOf(nb::handle mapping, const std::string& what) {
  std::vector<std::pair<nb::object, nb::object>> result;
  if (mapping.is_none()) return result;
  nb::object dict = nb::borrow(mapping);
  if (!PyDict_Check(dict.ptr())) {
    if (!nb::hasattr(dict, "keys") || !nb::hasattr(dict, "items"))
      refuse(what, "is of the type " + typeNameOf(mapping) + "; a dict is expected");
    dict = dictOf(dict);
  }
  result.reserve(nb::len(dict));
  for (const auto [key, value] : nb::borrow<nb::dict>(dict)) result.emplace_back(nb::borrow(key), nb::borrow(value));
  return result;
}

std::string nameFromPython(nb::handle name, const std::string& what) {
  if (!PyUnicode_Check(name.ptr()))
    refuse("the name of " + what, "is of the type " + typeNameOf(name) + "; str is expected");
  return textFromPython(name, "the name of " + what);
}

}  // namespace database_provider::python
