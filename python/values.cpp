// SPDX-License-Identifier: Apache-2.0
#include "values.h"

#include <limits>

#include "bson.h"

namespace database_provider::python {

using database_client::Error;

namespace {

constexpr std::int64_t microsecondsOfMillisecond = 1000;
constexpr std::int64_t millisecondsOfSecond = 1000;
// The years 1 to 9999, which are those of `datetime`.
constexpr std::int64_t firstTime = -62135596800000;
constexpr std::int64_t lastTime = 253402300799999;

/// What is looked up once. It is never given back: the interpreter may be gone before this library is.
struct Times {
  nb::object type = nb::module_::import_("datetime").attr("datetime");
  nb::object dateType = nb::module_::import_("datetime").attr("date");
  nb::object delta = nb::module_::import_("datetime").attr("timedelta");
  nb::object epoch = type(1970, 1, 1, 0, 0, 0, 0, nb::module_::import_("datetime").attr("timezone").attr("utc"));
  nb::object millisecond = delta(0, 0, microsecondsOfMillisecond);

  static const Times& get() {
    static const auto* const times = new Times();
    return *times;
  }
};

Value integerValue(std::int64_t integer, std::optional<PropertyType> type) {
  constexpr std::int64_t endOfExact = std::int64_t{1} << std::numeric_limits<double>::digits;
  if (type == PropertyType::real && integer >= -endOfExact && integer <= endOfExact)
    return static_cast<double>(integer);
  const auto narrow = static_cast<std::int32_t>(integer);
  if (narrow == integer && type != PropertyType::int64) return narrow;
  return integer;
}

}  // namespace

nb::object textToPython(std::string_view text) {
  PyObject* result = PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), nullptr);
  if (result == nullptr) throw nb::python_error();
  return nb::steal(result);
}

nb::object timeToPython(std::int64_t milliseconds) {
  if (milliseconds < firstTime || milliseconds > lastTime) return timeAsValue(milliseconds);
  const Times& times = Times::get();
  const std::int64_t seconds = milliseconds / millisecondsOfSecond;
  const std::int64_t rest = milliseconds % millisecondsOfSecond * microsecondsOfMillisecond;
  return times.epoch + times.delta(0, seconds, rest);
}

nb::object valueToPython(const Value& value) {
  struct {
    nb::object operator()(const std::string& text) const { return textToPython(text); }
    nb::object operator()(bool boolean) const { return nb::bool_(boolean); }
    nb::object operator()(std::int32_t integer) const { return nb::int_(integer); }
    nb::object operator()(std::int64_t integer) const { return nb::int_(integer); }
    nb::object operator()(double real) const { return nb::float_(real); }
    nb::object operator()(Time time) const { return timeToPython(time.milliseconds); }
  } convert;
  return std::visit(convert, value);
}

nb::object optionalToPython(const std::optional<Value>& value) {
  return value ? valueToPython(*value) : nb::none();
}

nb::object optionalToPython(const std::optional<double>& value) {
  return value ? nb::object(nb::float_(*value)) : nb::none();
}

nb::object optionalToPython(const std::optional<std::string>& text) {
  return text ? textToPython(*text) : nb::none();
}

nb::dict dictOf(nb::handle mapping) {
  return nb::borrow<nb::dict>(nb::handle(reinterpret_cast<PyObject*>(&PyDict_Type))(mapping));
}

std::string typeNameOf(nb::handle object) {
  return nb::cast<std::string>(nb::handle(object.type()).attr("__name__"));
}

void refuse(const std::string& where, const std::string& reason) {
  throw Error(Error::Kind::document, where + " " + reason, {where});
}

std::string textFromPython(nb::handle object, const std::string& where) {
  if (!PyUnicode_Check(object.ptr())) {
    const nb::object plain = withoutNumpy(object);
    if (PyUnicode_Check(plain.ptr())) return textFromPython(plain, where);
    refuse(where, "is of the type " + typeNameOf(object) + "; a text (str) is expected");
  }
  Py_ssize_t size = 0;
  const char* text = PyUnicode_AsUTF8AndSize(object.ptr(), &size);
  if (text == nullptr) {
    PyErr_Clear();
    refuse(where, "holds a lone surrogate, which no UTF-8 text can");
  }
  return {text, static_cast<std::size_t>(size)};
}

std::optional<std::int64_t> timeFromPython(nb::handle object, const std::string& where) {
  const Times& times = Times::get();
  if (!nb::isinstance(object, times.type)) {
    if (nb::isinstance(object, times.dateType))
      refuse(where,
             "is a date without a time of day; give a datetime with a time zone, such as "
             "datetime(year, month, day, tzinfo=timezone.utc)");
    return std::nullopt;
  }
  if (typeNameOf(object) == "NaTType") refuse(where, "is no time (NaT); leave the name out instead");
  if (object.attr("utcoffset")().is_none())
    refuse(where,
           "is a datetime without a time zone, so that nobody can say which moment it is; give it one, for example "
           "value.replace(tzinfo=timezone.utc) where it is UTC, or value.astimezone() where it is local time");
  const nb::object since = nb::object(nb::borrow(object)) - times.epoch;
  PyObject* count = PyNumber_FloorDivide(since.ptr(), times.millisecond.ptr());
  if (count == nullptr) throw nb::python_error();
  return nb::cast<std::int64_t>(nb::steal(count));
}

std::optional<std::int64_t> integerFromPython(nb::handle object, const std::string& where) {
  if (!PyLong_Check(object.ptr())) return std::nullopt;
  int overflow = 0;
  const long long result = PyLong_AsLongLongAndOverflow(object.ptr(), &overflow);
  if (overflow != 0) refuse(where, "is an integer that does not fit into 64 bits");
  if (result == -1 && PyErr_Occurred() != nullptr) throw nb::python_error();
  return result;
}

nb::object withoutNumpy(nb::handle object) {
  const nb::object type = nb::borrow(nb::handle(object.type()));
  const nb::object module = type.attr("__module__");
  if (PyUnicode_Check(module.ptr()) && nb::cast<std::string>(module) == "numpy" && nb::hasattr(object, "item") &&
      nb::hasattr(object, "dtype") && nb::cast<int>(object.attr("ndim")) == 0)
    return object.attr("item")();
  return nb::borrow(object);
}

Value descriptionFromPython(nb::handle object, const std::string& name, const TypeOfName& typeOf) {
  const auto where = [&] { return "description \"" + name + "\""; };
  PyObject* const value = object.ptr();
  if (PyUnicode_Check(value)) return textFromPython(object, where());
  if (PyBool_Check(value)) return value == Py_True;
  if (PyFloat_Check(value)) return PyFloat_AsDouble(value);
  if (PyLong_Check(value)) return integerValue(*integerFromPython(object, where()), typeOf(name));
  if (object.is_none()) refuse(where(), "is None; leave the name out instead");
  if (const std::optional<std::int64_t> time = timeFromPython(object, where())) return Time{*time};
  const nb::object plain = withoutNumpy(object);
  if (!plain.is(object)) return descriptionFromPython(plain, name, typeOf);
  if (const std::optional<std::int64_t> time = timeOfValue(object)) return Time{*time};
  refuse(where(), "is of the type " + typeNameOf(object) + "; str, bool, int, float or datetime is expected");
}

}  // namespace database_provider::python
