// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/values/Path.h"

#include <algorithm>
#include <charconv>

#include "client/embedded/query/values/errors.h"

namespace database_client::embedded {
namespace {

constexpr std::ptrdiff_t maximumParts = 200;

}  // namespace

std::optional<std::size_t> arrayIndex(std::string_view part) {
  if (part.empty() || (part.size() > 1 && part.front() == '0')) return std::nullopt;
  std::size_t index = 0;
  const auto parsed = std::from_chars(part.data(), part.data() + part.size(), index);
  if (parsed.ec != std::errc() || parsed.ptr != part.data() + part.size()) return std::nullopt;
  return index;
}

Path::Path(std::string_view dotted) {
  if (std::count(dotted.begin(), dotted.end(), '.') >= maximumParts) {
    refuseQuery(code::overflow, "a path has more than 200 parts");
  }
  for (std::size_t start = 0;;) {
    const std::size_t dot = dotted.find('.', start);
    const std::string_view name = dotted.substr(start, dot - start);
    parts_.push_back({std::string(name), arrayIndex(name)});
    if (dot == std::string_view::npos) return;
    start = dot + 1;
  }
}

Path fieldPath(std::string_view dotted) {
  const auto refuse = [dotted](int code, const char* reason) {
    refuseQuery(code, "the path " + quoted(dotted) + reason, dotted);
  };
  if (dotted.empty()) refuse(code::fieldPathEmpty, " is empty");
  if (dotted.back() == '.') refuse(code::fieldPathEndsWithDot, " ends with a dot");
  if (dotted.find('\0') != std::string_view::npos) refuse(code::fieldNameWithNul, " holds a NUL");
  Path path(dotted);
  for (std::size_t at = 0; at < path.size(); ++at) {
    if (path[at].name.empty()) refuse(code::fieldNameEmpty, " has an empty part");
    if (path[at].name.front() == '$') refuse(code::fieldNameWithDollar, " has a part that begins with $");
  }
  return path;
}

std::string Path::text(std::size_t from) const {
  std::string text;
  for (std::size_t at = from; at < parts_.size(); ++at) {
    if (at > from) text += '.';
    text += parts_[at].name;
  }
  return text;
}

}  // namespace database_client::embedded
