// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_provider/records.h>
#include <nanobind/nanobind.h>
#include <nanobind/stl/string.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

/// Values of categories and descriptions, and times, in Python and back.
namespace database_provider::python {

namespace nb = nanobind;

/// What an integer is to become beside others of its name: the type that the name has already.
using TypeOfName = std::function<std::optional<PropertyType>(const std::string& name)>;

nb::object textToPython(std::string_view text);
nb::object timeToPython(std::int64_t milliseconds);
/// A text of a category, a boolean, a number, or a time; a time beyond the years of `datetime` is a `Value`.
nb::object valueToPython(const Value& value);
nb::object optionalToPython(const std::optional<Value>& value);
nb::object optionalToPython(const std::optional<double>& value);
nb::object optionalToPython(const std::optional<std::string>& text);

/// Throws `Error` of kind document, with `where` in front, for what is no text.
std::string textFromPython(nb::handle object, const std::string& where);
/// Milliseconds since the epoch; nothing for an object that is no time. Throws for one that has no time zone.
std::optional<std::int64_t> timeFromPython(nb::handle object, const std::string& where);
/// Nothing for what is no integer; throws for one beyond 64 bits.
std::optional<std::int64_t> integerFromPython(nb::handle object, const std::string& where);
Value descriptionFromPython(nb::handle object, const std::string& name, const TypeOfName& typeOf);

/// The Python number or text that a scalar of numpy stands for, and any other object itself.
nb::object withoutNumpy(nb::handle object);
/// A dict of any mapping.
nb::dict dictOf(nb::handle mapping);
std::string typeNameOf(nb::handle object);
[[noreturn]] void refuse(const std::string& where, const std::string& reason);

}  // namespace database_provider::python
