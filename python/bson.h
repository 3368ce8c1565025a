// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_client/ObjectProperties.h>
#include <nanobind/nanobind.h>
#include <nanobind/stl/string.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Documents as Python's dicts, and back. The exchange form of a document, its bytes, is read and written here, since
/// it alone has every kind of value; what is written is checked by `ObjectProperties::fromBson` before it goes
/// anywhere.
namespace database_provider::python {

namespace nb = nanobind;

/// An object id.
struct ObjectId {
  explicit ObjectId(std::string hexadecimal);
  std::string text;  ///< 24 lower-case hex digits
};

/// A value of a kind that Python has none for, as the bytes of a document that holds it alone under the key "v".
struct ForeignValue {
  std::string document;

  database_client::ObjectProperties properties() const;
  std::string kind() const;
  /// Canonical extended JSON of the value alone.
  std::string json() const;
  static ForeignValue fromJson(const std::string& json);
};

nb::object documentToPython(const database_client::ObjectProperties& document);
/// Throws Error{document}, naming the key, for what a document cannot hold. `where` is what messages call the document.
database_client::ObjectProperties documentFromPython(nb::handle mapping, const std::string& where);

/// A time as a `ForeignValue`, for one that `datetime` cannot hold; and back, nothing for any other object.
nb::object timeAsValue(std::int64_t milliseconds);
std::optional<std::int64_t> timeOfValue(nb::handle object);

}  // namespace database_provider::python
