// SPDX-License-Identifier: Apache-2.0
#include "selection/Pattern.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <array>
#include <memory>

namespace database_provider::selection {

namespace {

std::string messageOf(int error) {
  std::array<PCRE2_UCHAR, 256> text{};
  pcre2_get_error_message(error, text.data(), text.size());
  return reinterpret_cast<const char*>(text.data());
}

}  // namespace

std::optional<std::string> whyNoPattern(std::string_view text) {
  int error = 0;
  PCRE2_SIZE offset = 0;
  const std::unique_ptr<pcre2_code, decltype(&pcre2_code_free)> code(
      pcre2_compile(reinterpret_cast<PCRE2_SPTR>(text.data()), text.size(), PCRE2_UTF, &error, &offset, nullptr),
      &pcre2_code_free);
  if (code) return std::nullopt;
  return messageOf(error);
}

}  // namespace database_provider::selection
