// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "database_provider/export.h"
#include "database_provider/types.h"

namespace database_provider::importing {

/// The largest text of one row: ample for a document of 16 MiB in extended JSON.
constexpr std::size_t maximalRowSize = 64U << 20U;
constexpr const char* maximalRowSizeText = "64 MiB";

/// The most names that one row, or a header, may have.
constexpr std::size_t maximalNames = 100'000;

/// One row of a file. A row of JSON comes parsed, since only that tells its keys; a CSV row has its cells, of which a
/// document is made when somebody wants one. A program's row is a document from the start.
struct DATABASE_PROVIDER_EXPORT Row {
  std::size_t number = 0;            ///< from 1, the header of a CSV file not counted
  std::size_t line = 0;              ///< of the file, where the row begins, from 1
  std::string problem{};             ///< why the row cannot be read; empty for a good one
  std::vector<std::string> keys{};   ///< in order; a key may stand twice
  std::string json{};                ///< the row's text, of a format that is JSON
  ObjectProperties parsed{};         ///< what the text means
  std::exception_ptr refusal{};      ///< why the text, which is JSON, is no document
  std::vector<std::string> cells{};  ///< one for each key, of a CSV row

  /// The row as a document: extended JSON as it stands, CSV cells as texts. Throws `database_client::Error`. Only for a
  /// row without a problem.
  ObjectProperties document() const;
  /// For each key of a row of JSON its number as it was typed, which a document does not keep; empty for any other
  /// value. The texts lie in the row. Goes through the row's text once.
  std::vector<std::string_view> typedNumbers() const;
  /// The bytes that the row took in its file, roughly.
  std::size_t size() const;
};

}  // namespace database_provider::importing
