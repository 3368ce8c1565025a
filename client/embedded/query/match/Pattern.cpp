// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/match/Pattern.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <array>
#include <new>

#include "client/embedded/query/values/errors.h"

namespace database_client::embedded {
namespace {

constexpr std::uint32_t matchLimit = 1'000'000;
constexpr std::uint32_t depthLimit = 100'000;
constexpr std::uint32_t heapLimitKiB = 32 * 1024;

/// Compiling to machine code costs as much as some hundred short searches.
constexpr int searchesBeforeCompiling = 64;

std::uint32_t optionBits(std::string_view options) {
  std::uint32_t bits = 0;
  for (const char option : options) {
    if (option == 'i') {
      bits |= PCRE2_CASELESS;
    } else if (option == 'm') {
      bits |= PCRE2_MULTILINE;
    } else if (option == 's') {
      bits |= PCRE2_DOTALL;
    } else if (option == 'x') {
      bits |= PCRE2_EXTENDED;
    } else {
      refuseQuery(code::invalidRegexFlag,
                  "a regular expression has the options " + quoted(options) + ", possible are i, m, s, x");
    }
  }
  return bits;
}

std::string messageOf(int error) {
  std::array<PCRE2_UCHAR, 256> text{};
  pcre2_get_error_message(error, text.data(), text.size());
  return reinterpret_cast<const char*>(text.data());
}

pcre2_code* compile(std::string_view pattern, std::string_view options) {
  // Invalid UTF-8 in a text, which only a damaged file can hold, then never matches.
  const std::uint32_t bits = PCRE2_UTF | PCRE2_MATCH_INVALID_UTF | PCRE2_NEVER_BACKSLASH_C | optionBits(options);
  int error = 0;
  PCRE2_SIZE offset = 0;
  pcre2_code* code =
      pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()), pattern.size(), bits, &error, &offset, nullptr);
  if (code == nullptr) {
    refuseQuery(code::invalidRegex, "the regular expression " + quoted(pattern) + " is invalid at offset " +
                                        std::to_string(offset) + ": " + messageOf(error));
  }
  return code;
}

}  // namespace

void Pattern::Free::operator()(pcre2_code* code) const noexcept {
  pcre2_code_free(code);
}
void Pattern::Free::operator()(pcre2_match_data* data) const noexcept {
  pcre2_match_data_free(data);
}
void Pattern::Free::operator()(pcre2_match_context* context) const noexcept {
  pcre2_match_context_free(context);
}

Pattern::Pattern(std::string_view pattern, std::string_view options)
    : pattern_(pattern),
      options_(options),
      code_(compile(pattern_, options_)),
      match_(pcre2_match_data_create(1, nullptr)),
      context_(pcre2_match_context_create(nullptr)) {
  if (!match_ || !context_) throw std::bad_alloc();
  pcre2_set_match_limit(context_.get(), matchLimit);
  pcre2_set_depth_limit(context_.get(), depthLimit);
  pcre2_set_heap_limit(context_.get(), heapLimitKiB);
}

Pattern::~Pattern() = default;

bool Pattern::found(std::string_view text) const {
  // Without the just-in-time compiler, or for what it cannot compile, matching stays interpretation.
  if (searches_ <= searchesBeforeCompiling && ++searches_ > searchesBeforeCompiling) {
    pcre2_jit_compile(code_.get(), PCRE2_JIT_COMPLETE);
  }
  const auto* subject = reinterpret_cast<PCRE2_SPTR>(text.data());
  const auto match = [&](std::uint32_t options) {
    return pcre2_match(code_.get(), subject, text.size(), 0, options, match_.get(), context_.get());
  };
  int result = match(0);
  if (result == PCRE2_ERROR_JIT_STACKLIMIT) result = match(PCRE2_NO_JIT);
  if (result >= 0) return true;
  if (result == PCRE2_ERROR_NOMATCH) return false;
  refuseQuery(0, "the regular expression " + quoted(pattern_) + " cannot be searched for: " + messageOf(result));
}

}  // namespace database_client::embedded
