// SPDX-License-Identifier: Apache-2.0
#include <database_provider/backup.h>
#include <database_provider/version.h>
#include <nanobind/nanobind.h>
#include <nanobind/stl/optional.h>
#include <nanobind/stl/shared_ptr.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/unique_ptr.h>
#include <nanobind/stl/vector.h>

#include <list>

#include "Connection.h"
#include "RecordObject.h"
#include "RecordsCore.h"
#include "UsersCore.h"
#include "bson.h"
#include "errors.h"
#include "values.h"

// The functions that Python sees, under the names that `_core.pyi` describes.

namespace nb = nanobind;
using nb::literals::operator""_a;
namespace database_provider::python {

namespace {

nb::dict backupReport(const BackupReport& report) {
  nb::list users;
  for (const std::string& user : report.usersWithoutPassword) users.append(textToPython(user));
  nb::dict result;
  result["records"] = report.records;
  result["replaced"] = report.replaced;
  result["held"] = textToPython(report.held);
  result["users_without_password"] = users;
  result["is_one_moment"] = report.isOneMoment;
  return result;
}

OpenOptions loginOf(const std::string& user, const std::string& password, const std::string& authDatabase,
                    bool create) {
  OpenOptions options;
  options.user = user;
  options.password = password;
  options.authDatabase = authDatabase;
  options.create = create;
  return options;
}

void bindValues(nb::module_& module) {
  nb::class_<ObjectId>(module, "ObjectId", R"(An object id, as stores make them: 24 hex digits.

>>> dp.ObjectId("65f0c0ffee65f0c0ffee65f0").created.year
2024
)")
      .def(nb::init<std::string>(), "hexadecimal"_a)
      .def_prop_ro("created", [](const ObjectId& id) { return timeToPython(timeOfId(id.text)->milliseconds); })
      .def("__str__", [](const ObjectId& id) { return id.text; })
      .def("__repr__", [](const ObjectId& id) { return "ObjectId('" + id.text + "')"; })
      .def("__hash__", [](const ObjectId& id) { return nb::hash(nb::str(id.text.c_str())); })
      .def("__eq__",
           [](const ObjectId& id, nb::handle other) {
             return nb::isinstance<ObjectId>(other) && nb::cast<const ObjectId&>(other).text == id.text;
           })
      .def("__reduce__",
           [](const ObjectId& id) { return nb::make_tuple(nb::type<ObjectId>(), nb::make_tuple(id.text)); });

  nb::class_<ForeignValue>(module, "Value", R"(A value of a kind that Python has none for, as canonical extended JSON.

What is read so can be written again, and stays as it was.

>>> price = dp.Value('{"$numberDecimal": "9.95"}')
>>> price.kind
'decimal128'
>>> id = runs.add(data={"price": price})
>>> runs[id].data["price"] == price
True
)")
      .def(
          "__init__",
          [](ForeignValue* value, const std::string& json) { new (value) ForeignValue(ForeignValue::fromJson(json)); },
          "json"_a)
      .def_prop_ro("kind", &ForeignValue::kind)
      .def_prop_ro("json", &ForeignValue::json)
      .def("__repr__",
           [](const ForeignValue& value) {
             return "Value(" + nb::cast<std::string>(nb::repr(textToPython(value.json()))) + ")";
           })
      .def("__hash__",
           [](const ForeignValue& value) { return nb::hash(nb::bytes(value.document.data(), value.document.size())); })
      .def("__eq__",
           [](const ForeignValue& value, nb::handle other) {
             return nb::isinstance<ForeignValue>(other) &&
                    nb::cast<const ForeignValue&>(other).document == value.document;
           })
      .def("__reduce__", [](const ForeignValue& value) {
        return nb::make_tuple(nb::type<ForeignValue>(), nb::make_tuple(value.json()));
      });
}

void bindConnection(nb::module_& module) {
  nb::class_<Connection>(module, "Connection")
      .def(nb::new_([](const std::string& address, const std::string& user, const std::string& password,
                       const std::string& authDatabase, bool create) {
             return std::make_shared<Connection>(address, loginOf(user, password, authDatabase, create));
           }),
           "address"_a, "user"_a, "password"_a, "auth_database"_a, "create"_a)
      .def("close", &Connection::close)
      .def_prop_ro("closed", &Connection::isClosed)
      .def("begin", &Connection::begin)
      .def("commit", &Connection::commit)
      .def("rollback", &Connection::rollback)
      .def(
          "backup",
          [](Connection& connection, const std::string& path) {
            return backupReport(
                connection.run([&](DataBaseClient& client) { return backUp(client, path, connection.login()); }));
          },
          "path"_a)
      .def("describe",
           [](Connection& connection) {
             const auto description = connection.run([](DataBaseClient& client) { return client.describe(); });
             nb::dict result;
             result["format"] = textToPython(description.format);
             result["bytes"] = description.bytes ? nb::object(nb::int_(*description.bytes)) : nb::none();
             result["free_bytes"] = description.freeBytes ? nb::object(nb::int_(*description.freeBytes)) : nb::none();
             return result;
           })
      .def("access_control",
           [](Connection& connection) -> nb::object {
             switch (connection.run([](DataBaseClient& client) { return client.accessControl(); })) {
               case database_client::AccessControl::off:
                 return nb::bool_(false);
               case database_client::AccessControl::on:
                 return nb::bool_(true);
               default:
                 return nb::none();
             }
           })
      .def("check",
           [](Connection& connection) {
             const auto report = connection.run([](DataBaseClient& client) { return client.check(); });
             nb::list problems;
             for (const std::string& problem : report.problems) problems.append(textToPython(problem));
             return nb::make_tuple(report.documents, problems);
           })
      .def("compact", [](Connection& connection) { connection.run([](DataBaseClient& client) { client.compact(); }); });

  module.def(
      "restore",
      [](const std::string& path, const std::string& address, const std::string& user, const std::string& password,
         bool replace, bool dryRun) {
        RestoreOptions options;
        options.login = loginOf(user, password, "", true);
        options.replace = replace;
        options.dryRun = dryRun;
        BackupReport report;
        {
          const nb::gil_scoped_release unlocked;
          report = restore(path, address, options);
        }
        return backupReport(report);
      },
      "path"_a, "address"_a, "user"_a, "password"_a, "replace"_a, "dry_run"_a);

  nb::class_<UsersCore>(module, "Users")
      .def(nb::init<ConnectionPtr>(), "connection"_a)
      .def("list", &UsersCore::list)
      .def("info", &UsersCore::info, "name"_a)
      .def("add", &UsersCore::add, "name"_a, "password"_a, "roles"_a.none(), "data"_a.none())
      .def("update", &UsersCore::update, "name"_a, "roles"_a.none(), "data"_a.none())
      .def("remove", &UsersCore::remove, "name"_a)
      .def("change_password", &UsersCore::changePassword, "name"_a, "password"_a)
      .def("change_admin_password", &UsersCore::changeAdminPassword, "password"_a);
}

/// What the package's module `_show` makes of a record.
nb::object shown(const char* function, nb::handle record) {
  return nb::module_::import_("database_provider._show").attr(function)(record);
}

int traverseRecord(PyObject* self, visitproc visit, void* argument) {
  if (const int stop = visit(reinterpret_cast<PyObject*>(Py_TYPE(self)), argument)) return stop;
  if (!nb::inst_ready(self)) return 0;
  return nb::inst_ptr<RecordObject>(self)->traverse(visit, argument);
}

int clearRecord(PyObject* self) {
  nb::inst_ptr<RecordObject>(self)->clear();
  return 0;
}

PyType_Slot recordSlots[] = {{Py_tp_traverse, reinterpret_cast<void*>(traverseRecord)},
                             {Py_tp_clear, reinterpret_cast<void*>(clearRecord)},
                             {0, nullptr}};

void bindRecords(nb::module_& module) {
  nb::class_<RecordObject>(module, "Record", nb::type_slots(recordSlots), R"(A record, as it was when it was read.

Its dicts are the record's own: changing them changes nothing in the store, which `Records.update` does.

>>> record = runs[id]
>>> record.categories["site"], record.descriptions["yield"]
('Waseca', 48.9)
>>> record.created.tzinfo
datetime.timezone.utc
>>> record.to_dict()["descriptions"]
{'yield': 48.9, 'year': 1931}
)")
      .def_prop_ro(
          "id", [](const RecordObject& record) { return textToPython(record.id()); }, "The id, a text.")
      .def_prop_ro("kind", &RecordObject::kind, R"("experiment" or "scenario".)")
      .def_prop_ro("created", &RecordObject::created,
                   "When the record was made, as its id says; None for an id that says none.")
      .def_prop_ro("categories", &RecordObject::categories, "The categories, names with texts.")
      .def_prop_ro("descriptions", &RecordObject::descriptions,
                   "The descriptions, names with str, bool, int, float or datetime.")
      .def_prop_ro("files", &RecordObject::files, "The files that the record refers to, each a `File`, by their ids.")
      .def_prop_ro("data", &RecordObject::data, "All else that stands in the record.")
      .def(
          "to_dict", [](nb::handle self) { return shown("record_to_dict", self); },
          "The parts of the record, as `Records.add` takes them.")
      .def("__repr__", [](nb::handle self) { return shown("record_repr", self); })
      .def("_repr_html_", [](nb::handle self) { return shown("record_html", self); })
      .def(
          "to_json", [](const RecordObject& record) { return textToPython(record.json()); },
          "The whole document, without its id, as canonical extended JSON.")
      .def("__eq__",
           [](const RecordObject& record, nb::handle other) {
             return nb::isinstance<RecordObject>(other) && record.isEqual(nb::cast<const RecordObject&>(other));
           })
      .def("__hash__", [](const RecordObject& record) { return nb::hash(textToPython(record.id())); });

  nb::class_<FoundIterator>(module, "FoundIterator")
      .def("__iter__", [](nb::handle self) { return nb::borrow(self); })
      .def("__next__", &FoundIterator::next);

  // What is asked of the records: a filter, ids, an order; each function takes those of them that it heeds.
  using Where = std::optional<std::string>;
  using Ids = std::optional<std::vector<std::string>>;
  using Names = std::vector<std::string>;
  nb::class_<RecordsCore>(module, "Records")
      .def(
          "__init__",
          [](RecordsCore* self, ConnectionPtr connection, bool isScenario) {
            new (self) RecordsCore(std::move(connection), isScenario ? RecordKind::scenario : RecordKind::experiment);
          },
          "connection"_a, "is_scenario"_a)
      .def(
          "insert",
          [](RecordsCore& self, nb::object categories, nb::object descriptions, nb::object files, nb::object data,
             nb::object id, nb::object source) {
            return self.insert({std::move(categories), std::move(descriptions), std::move(files), std::move(data),
                                std::move(id), std::move(source)});
          },
          "categories"_a.none(), "descriptions"_a.none(), "files"_a.none(), "data"_a.none(), "id"_a.none(),
          "source"_a.none())
      .def("insert_many", &RecordsCore::insertMany, "records"_a, "batch_size"_a)
      .def("upsert_many", &RecordsCore::upsertMany, "records"_a, "key"_a, "on_match"_a)
      .def("read", &RecordsCore::read, "id"_a)
      .def(
          "find",
          [](RecordsCore& self, Where where, Ids ids, std::string sort, int limit, int skip, std::string after) {
            return self.find({std::move(where), std::move(ids)}, {std::move(sort), limit, skip, std::move(after)});
          },
          "where"_a.none(), "ids"_a.none(), "sort"_a, "limit"_a, "skip"_a, "after"_a)
      .def(
          "ids",
          [](RecordsCore& self, Where where, std::string sort, int limit, int skip, std::string after) {
            return self.ids({std::move(where), {}}, {std::move(sort), limit, skip, std::move(after)});
          },
          "where"_a.none(), "sort"_a, "limit"_a, "skip"_a, "after"_a)
      .def("ids_beginning_with", &RecordsCore::idsBeginningWith, "text"_a, "limit"_a)
      .def(
          "count",
          [](RecordsCore& self, Where where, Ids ids) {
            return self.count({std::move(where), std::move(ids)});
          },
          "where"_a.none(), "ids"_a.none())
      .def(
          "remove",
          [](RecordsCore& self, Where where, Ids ids, bool all) {
            return self.remove({std::move(where), std::move(ids)}, all);
          },
          "where"_a.none(), "ids"_a.none(), "all"_a)
      .def(
          "update",
          [](RecordsCore& self, Where where, Ids ids, bool all, nb::handle categories, nb::handle descriptions,
             nb::handle compute, const Names& unset, nb::handle files, bool dryRun) {
            return self.update({std::move(where), std::move(ids)}, all, categories, descriptions, compute, unset, files,
                               dryRun);
          },
          "where"_a.none(), "ids"_a.none(), "all"_a, "categories"_a.none(), "descriptions"_a.none(), "compute"_a.none(),
          "unset"_a, "files"_a.none(), "dry_run"_a)
      .def("rename", &RecordsCore::rename, "old"_a, "new"_a, "merge"_a, "kind"_a.none(), "dry_run"_a)
      .def("rename_values", &RecordsCore::renameValues, "category"_a, "values"_a, "dry_run"_a)
      .def("convert", &RecordsCore::convert, "description"_a, "type"_a, "dry_run"_a)
      .def(
          "facets",
          [](RecordsCore& self, const std::string& category, Where where, int limit) {
            return self.facets(category, {std::move(where), {}}, limit);
          },
          "category"_a, "where"_a.none(), "limit"_a)
      .def(
          "names",
          [](RecordsCore& self, Where where) {
            return self.names({std::move(where), {}});
          },
          "where"_a.none())
      .def(
          "stats",
          [](RecordsCore& self, const Names& names, const Names& by, Where where, bool median) {
            return self.stats(names, by, {std::move(where), {}}, median);
          },
          "names"_a, "by"_a, "where"_a.none(), "median"_a)
      .def(
          "histogram",
          [](RecordsCore& self, const std::string& name, int bins, Where where) {
            return self.histogram(name, bins, {std::move(where), {}});
          },
          "name"_a, "bins"_a, "where"_a.none())
      .def(
          "coverage",
          [](RecordsCore& self, const std::string& first, const std::string& second, Where where) {
            return self.coverage(first, second, {std::move(where), {}});
          },
          "first"_a, "second"_a, "where"_a.none())
      .def("compare", &RecordsCore::compare, "ids"_a)
      .def("summary", &RecordsCore::summary)
      .def("remarks", &RecordsCore::remarks, "where"_a)
      .def("type_in_use", &RecordsCore::typeInUse, "description"_a)
      .def("import_file", &RecordsCore::importFile, "path"_a, "format"_a.none(), "plan"_a, "progress"_a.none())
      .def("import_columns", &RecordsCore::importColumns, "columns"_a, "plan"_a)
      .def(
          "export",
          [](RecordsCore& self, nb::handle write, const std::string& format, Where where, std::string sort, int limit) {
            return self.exportTo(write, format, {std::move(where), {}}, {std::move(sort), limit, 0, ""});
          },
          "write"_a, "format"_a, "where"_a.none(), "sort"_a, "limit"_a)
      .def(
          "arrow_stream",
          [](RecordsCore& self, Where where, const Names& columns, std::string sort, int limit) {
            return self.arrowStream({std::move(where), {}}, columns, {std::move(sort), limit, 0, ""});
          },
          "where"_a.none(), "columns"_a, "sort"_a, "limit"_a)
      .def(
          "columns",
          [](RecordsCore& self, Where where, const Names& columns, std::string sort, int limit, bool textsArrow) {
            return self.columns({std::move(where), {}}, columns, {std::move(sort), limit, 0, ""}, textsArrow);
          },
          "where"_a.none(), "columns"_a, "sort"_a, "limit"_a, "texts_arrow"_a);
}

}  // namespace

}  // namespace database_provider::python

NB_MODULE(_core, module) {
  namespace python = database_provider::python;
  // What is alive when the interpreter ends was not leaked by anybody here.
  nb::set_leak_warnings(false);
  module.attr("version") = database_provider::version();
  python::registerErrors();
  python::bindValues(module);
  python::bindConnection(module);
  python::bindRecords(module);
}
