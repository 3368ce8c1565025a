// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_provider/database_provider.h>

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace database_provider::recordctl {

/// The largest text of one row: ample for a document of 16 MiB in extended JSON.
constexpr std::size_t maximalRowSize = 64U << 20U;
constexpr const char* maximalRowSizeText = "64 MiB";

/// The most names that one row, or a header, may have.
constexpr std::size_t maximalNames = 100'000;

/// One row of a file, not yet taken apart further than its keys.
struct Row {
  std::size_t number = 0;                        ///< from 1, the header of a CSV file not counted
  std::size_t line = 0;                          ///< of the file, where the row begins, from 1
  std::string problem{};                         ///< why the row cannot be read; empty for a good one
  std::vector<std::string> keys{};               ///< in order; a key may stand twice
  std::map<std::string, std::string> numbers{};  ///< numbers of the row's own level, as they were typed
  std::string json{};                            ///< the row's text, of a format that is JSON
  std::vector<std::string> cells{};              ///< one for each key, of a CSV row

  /// The row as a document: extended JSON as it stands, CSV cells as texts. Throws `database_client::Error`. Only for a
  /// row without a problem.
  ObjectProperties document() const;
  /// The bytes that the row took in its file, roughly.
  std::size_t size() const;
};

}  // namespace database_provider::recordctl
