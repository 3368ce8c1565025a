// SPDX-License-Identifier: Apache-2.0

// A filter typed by a person: any text is read or refused, and what is read makes a query that a store can be sent.

#include <cstdint>
#include <cstdlib>
#include <string>

#include "database_provider/Selection.h"
#include "selection/Parser.h"
#include "selection/Query.h"

namespace selection = database_provider::selection;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(data, data + size);
  const database_provider::values::Time now{1'772'704'800'000};  // so that every run sees the same
  try {
    const database_provider::ObjectProperties query = selection::queryOf(selection::parseFilter(text, now));
    const bool isBlank = text.find_first_not_of(" \t\r\n") == std::string::npos;
    if (query.isEmpty() != isBlank) std::abort();
  } catch (const database_provider::SelectionError& error) {
    if (error.position() > text.size() || error.text() != text || error.reason().empty()) std::abort();
  } catch (const database_client::Error& error) {
    if (error.kind() != database_client::Error::Kind::document) std::abort();
  }
  return 0;
}
