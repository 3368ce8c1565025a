// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_provider/records.h>
#include <nanobind/nanobind.h>

#include <optional>
#include <string>
#include <vector>

#include "values.h"

/// Records in Python, and what Python gives to make one.
namespace database_provider::python {

/// A record that was read. What is asked for is converted once, and kept.
class RecordObject {
 public:
  explicit RecordObject(Record record) : record_(std::move(record)) {}

  const std::string& id() const { return record_.id(); }
  const char* kind() const;
  nb::object created() const;
  nb::dict categories();
  nb::dict descriptions();
  nb::dict files();
  nb::dict data();
  /// Canonical extended JSON of the whole document, without the id.
  std::string json() const;
  bool isEqual(const RecordObject& other) const;

  /// For the collector of cycles, which the dicts may be part of.
  int traverse(visitproc visit, void* argument) const;
  void clear();

 private:
  Record record_;
  nb::object categories_{};
  nb::object descriptions_{};
  nb::object files_{};
  nb::object data_{};
};

/// The parts of a record as `add` takes them; each may be None.
struct RecordParts {
  nb::object categories = nb::none();
  nb::object descriptions = nb::none();
  nb::object files = nb::none();
  nb::object data = nb::none();
  nb::object id = nb::none();
  nb::object source = nb::none();

  /// Reads a dict of these names. Throws Error{document} for another one.
  static RecordParts of(nb::handle dict);
  NewRecord toRecord(const TypeOfName& typeOf) const;
};

const char* fileKindName(ObjectType type);
/// A tuple of kind, host and path.
FileReference fileFromPython(nb::handle file, const std::string& id);
/// The items of a mapping, or nothing for None. Throws Error{document} for another object, naming it.
std::vector<std::pair<nb::object, nb::object>> itemsOf(nb::handle mapping, const std::string& what);
std::string nameFromPython(nb::handle name, const std::string& what);

}  // namespace database_provider::python
