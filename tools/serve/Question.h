// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "database_provider/records.h"
#include "tools/commands/assignments.h"

namespace database_provider::recordctl {

/// A request that cannot be answered as it stands; `what` says why.
class BadQuestion : public std::runtime_error {
 public:
  explicit BadQuestion(const std::string& reason, std::optional<std::size_t> position = std::nullopt)
      : std::runtime_error(reason), position_(position) {}

  /// The byte of the filter that could not be read, where that was it.
  std::optional<std::size_t> position() const { return position_; }

 private:
  std::optional<std::size_t> position_;
};

/// What a browser or a program asks, with the words of the command: `kind=scenario&where=site%3DWaseca&limit=20`.
struct Question {
  RecordKind kind = RecordKind::experiment;
  std::string where{};
  std::string sort{};
  std::string columns{};
  std::string by{};
  std::string format{};
  std::string scenarios{};
  std::vector<std::string> ids{};
  int limit = 0;
  int skip = 0;
  int bins = 40;
  bool withMedian = false;
  bool all = false;
  // Of a change.
  AssignmentOptions assignments{};
  std::vector<std::string> unset{};
  bool dryRun = false;

  /// Reads "name=value&…", percent-encoded as in addresses, a plus for a blank. Throws `BadQuestion` for what is no
  /// UTF-8 or broken off in an escape, for a name that is not known (`token` is, and means nothing here), for a number
  /// that is none, and for a second value where there is one only. Takes time in proportion to the text.
  static Question parse(std::string_view text);

  /// The records that are asked for. Throws `BadQuestion`.
  Selection selection() const;
  /// Their order and the part of them that is asked for. Throws `BadQuestion`.
  FindOptions range() const;
};

/// What the escapes of an address stand for; nothing for one that is broken off.
std::optional<std::string> percentDecoded(std::string_view text, bool plusIsBlank);

}  // namespace database_provider::recordctl
