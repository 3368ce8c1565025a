// SPDX-License-Identifier: Apache-2.0

// The query of an address, as a browser or anybody else sends it to `recordctl serve`: any bytes are read or refused
// with a reason, what is read fits its bounds, and what was read once is read again from its canonical form.

#include "tools/serve/Question.h"

#include <cstdint>
#include <cstdlib>
#include <string>

#include "values/Text.h"

namespace {

using database_provider::recordctl::BadQuestion;
using database_provider::recordctl::Question;

void require(bool holds) {
  if (!holds) std::abort();
}

std::string encoded(const std::string& name, const std::string& value) {
  constexpr const char* digits = "0123456789ABCDEF";
  std::string result = name + "=";
  for (const char c : value) {
    const auto byte = static_cast<unsigned char>(c);
    result += {'%', digits[byte >> 4U], digits[byte & 15U]};
  }
  return result;
}

void checkAgain(const Question& question) {
  const std::string text = encoded("where", question.where) + "&" + encoded("sort", question.sort) + "&" +
                           encoded("columns", question.columns) + "&" +
                           encoded("limit", std::to_string(question.limit));
  const Question again = Question::parse(text);
  require(again.where == question.where && again.sort == question.sort && again.columns == question.columns &&
          again.limit == question.limit);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(data, data + size);
  try {
    const Question question = Question::parse(text);
    require(question.limit >= 0 && question.skip >= 0 && question.bins >= 0);
    require(database_provider::values::isUtf8(question.where));
    require(question.where.size() <= text.size() && question.ids.size() <= text.size());
    checkAgain(question);
    try {
      static_cast<void>(question.selection());
      static_cast<void>(question.range());
    } catch (const BadQuestion& error) {
      require(!error.position() || *error.position() <= question.where.size());
    } catch (const database_client::Error& error) {
      require(error.kind() == database_client::Error::Kind::document);
    }
  } catch (const BadQuestion& error) {
    require(!std::string(error.what()).empty());
  }
  return 0;
}
