// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_provider/records.h>
#include <nanobind/nanobind.h>

#include <string>
#include <vector>

#include "Connection.h"

/// Tables of records: as a stream of Apache Arrow for whoever reads one, and as columns for pandas.
namespace database_provider::python {

/// A capsule "arrow_array_stream", as the protocol `__arrow_c_stream__` has it. The stream holds the connection.
nb::object streamCapsule(const ConnectionPtr& connection, RecordKind kind, const Selection& selection,
                         const std::vector<std::string>& columns, const FindOptions& options);

/// For each column a tuple of its name, its type ("string", "bool", "int", "long", "double", "time"), its values, and a
/// mask. Values are a list for texts, with None for a missing one, or (`areTextsArrow`) the parts of the column, each a
/// pair of capsules as the protocol `__arrow_c_array__` has them; else an array of numpy. The mask is an array of
/// booleans, true where a value is missing, for booleans and integers that miss any, else None: doubles are NaN there,
/// and times, which are milliseconds, the least number. Integers with a mask have 64 bits.
nb::list readColumns(const ConnectionPtr& connection, RecordKind kind, const Selection& selection,
                     const std::vector<std::string>& columns, const FindOptions& options, bool areTextsArrow);

}  // namespace database_provider::python
