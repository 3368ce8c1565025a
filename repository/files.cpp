// SPDX-License-Identifier: Apache-2.0
#include "database_provider/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "records/layout.h"
#include "values/Text.h"

namespace database_provider {

namespace fs = std::filesystem;

namespace {

std::string ownName() {
  std::array<char, 256> name{};
  if (::gethostname(name.data(), name.size() - 1) != 0) return "";
  return values::lowered(name.data());
}

/// A host is named with or without its domain.
bool isThisHost(const std::string& host) {
  constexpr std::array<std::string_view, 6> always = {"",          "localhost", "localhost.localdomain",
                                                      "127.0.0.1", "::1",       "[::1]"};
  static const std::string own = ownName();
  const std::string name = values::lowered(host);
  if (std::find(always.begin(), always.end(), name) != always.end()) return true;
  return !own.empty() && (name == own || name.substr(0, name.find('.')) == own || name == own.substr(0, own.find('.')));
}

bool hasParentStep(const fs::path& path) {
  return std::find(path.begin(), path.end(), "..") != path.end();
}

bool isBelow(const fs::path& path, const fs::path& folder) {
  const auto [end, at] = std::mismatch(folder.begin(), folder.end(), path.begin(), path.end());
  return end == folder.end() || (std::next(end) == folder.end() && end->empty());
}

/// Why a path below a root must not be followed; nothing when it may. Only ".." is looked at: what else leads out of
/// the root is a link, and whoever made the root made that, too.
std::optional<std::string> whyOutside(const fs::path& root, const fs::path& path) {
  if (!hasParentStep(path.relative_path())) return std::nullopt;
  std::error_code failure;
  const fs::path whole = fs::weakly_canonical(root / path.relative_path(), failure);
  const fs::path folder = failure ? fs::path() : fs::weakly_canonical(root, failure);
  // Both as links are followed and as the text says: neither way may lead out.
  const bool leadsOut =
      (root / path.relative_path()).lexically_normal().lexically_relative(root.lexically_normal()).begin()->string() ==
      "..";
  if (!failure && !leadsOut && isBelow(whole, folder)) return std::nullopt;
  return "\"..\" in it leads out of " + root.string() + ", so that it is not looked at";
}

/// Opening could wait for somebody, at a pipe, or wind a tape; so the right to read is asked for instead.
FileLook lookAt(const fs::path& path) {
  FileLook result{FileState::ok, path.string(), ""};
  struct stat found {};
  const bool isThere = ::stat(path.c_str(), &found) == 0;
  if (isThere && ::faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) == 0) return result;
  const int failure = errno;
  result.state = failure == ENOENT || failure == ENOTDIR ? FileState::missing : FileState::unreadable;
  result.reason = std::strerror(failure);
  return result;
}

}  // namespace

const char* fileStateName(FileState state) {
  switch (state) {
    case FileState::ok:
      return "ok";
    case FileState::missing:
      return "missing";
    case FileState::unreadable:
      return "unreadable";
    case FileState::elsewhere:
      break;
  }
  return "elsewhere";
}

FileRoots& FileRoots::add(const std::string& host, const std::string& folder) {
  roots_.emplace_back(values::lowered(host), folder);
  return *this;
}

std::optional<std::string> FileRoots::rootOf(const std::string& host) const {
  const std::string name = values::lowered(host);
  const auto found = std::find_if(roots_.rbegin(), roots_.rend(), [&](const auto& root) { return root.first == name; });
  return found == roots_.rend() ? std::nullopt : std::optional<std::string>(found->second);
}

FileLook FileRoots::look(const FileReference& file) const {
  const std::optional<std::string> root = rootOf(file.host);
  if (!root && !isThisHost(file.host)) return {};
  // The system would take such a path for the shorter one that ends there.
  if (file.path.find('\0') != std::string::npos) return {FileState::missing, "", "no path holds a byte of zero"};
  if (file.path.empty()) return {FileState::missing, "", "the path is empty"};
  const fs::path path(file.path);
  if (!root) return lookAt(path);
  if (auto reason = whyOutside(*root, path)) return {FileState::unreadable, "", *reason};
  return lookAt(fs::path(*root) / path.relative_path());
}

void forEachFile(const Records& records, const Selection& selection,
                 const std::function<bool(FileOfRecord&&)>& receive) {
  ObjectProperties projection;
  projection.setValueBool(layout::path::files, true);
  records.forEachDocument(selection, {}, projection, [&](ObjectProperties& document) {
    const Record record(records.kind(), std::move(document));
    for (FileReference& file : record.files()) {
      if (!receive({record.id(), std::move(file)})) return false;
    }
    return true;
  });
}

}  // namespace database_provider
