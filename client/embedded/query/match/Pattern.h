// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <string_view>

struct pcre2_real_code_8;
struct pcre2_real_match_data_8;
struct pcre2_real_match_context_8;

namespace database_client::embedded {

/// A regular expression as a server takes it: PCRE over UTF-8, unanchored, with the options `i m s x`.
///
/// The constructor throws Error{query}: 51108 for another option, 51091 for a pattern that does not compile. Work and
/// memory of a search are limited; beyond, `found` throws Error{query}, since "no match" would be a wrong answer.
class Pattern {
 public:
  Pattern(std::string_view pattern, std::string_view options);
  ~Pattern();
  Pattern(const Pattern&) = delete;
  Pattern& operator=(const Pattern&) = delete;

  bool found(std::string_view text) const;
  /// Whether a stored regular expression is this one.
  bool is(std::string_view pattern, std::string_view options) const {
    return pattern == pattern_ && options == options_;
  }

 private:
  struct Free {
    void operator()(pcre2_real_code_8* code) const noexcept;
    void operator()(pcre2_real_match_data_8* data) const noexcept;
    void operator()(pcre2_real_match_context_8* context) const noexcept;
  };

  std::string pattern_;
  std::string options_;
  std::unique_ptr<pcre2_real_code_8, Free> code_;
  std::unique_ptr<pcre2_real_match_data_8, Free> match_;
  std::unique_ptr<pcre2_real_match_context_8, Free> context_;
  mutable int searches_ = 0;
};

}  // namespace database_client::embedded
