// SPDX-License-Identifier: Apache-2.0
#include "tools/input/SumoConfig.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>
#include <initializer_list>
#include <pugixml.hpp>

#include "tools/terminal/Interrupt.h"
#include "tools/values/Errors.h"
#include "values/Number.h"
#include "values/Text.h"

namespace database_provider::recordctl {

namespace {

using values::inQuotes;
using values::parseReal;
using values::splitEscaped;

namespace fs = std::filesystem;

constexpr const char* ending = ".sumocfg";
constexpr std::size_t sortedAtOnce = 10'000;

// What is read is held as a tree of some ten times this size.
constexpr std::uintmax_t largestFile = 16U << 20U;
constexpr const char* largestFileText = "16 MiB";

/// SUMO takes an option under its names wherever it stands; the groups around it are for readers.
std::optional<std::string> valueOf(const pugi::xml_node& root, std::initializer_list<const char*> names) {
  const pugi::xml_node found = root.find_node([&](const pugi::xml_node& node) {
    const std::string name = node.name();
    return std::any_of(names.begin(), names.end(), [&](const char* candidate) { return name == candidate; });
  });
  if (!found) return std::nullopt;
  for (const char* attribute : {"value", "v"}) {
    if (found.attribute(attribute)) return found.attribute(attribute).value();
  }
  return found.text().get();
}

std::string trimmed(const std::string& text) {
  const std::size_t begin = text.find_first_not_of(" \t\r\n");
  if (begin == std::string::npos) return "";
  return text.substr(begin, text.find_last_not_of(" \t\r\n") - begin + 1);
}

/// Seconds, or "[days:]hours:minutes:seconds", with a minus before all of it where it is below zero.
std::optional<double> parseSeconds(const std::string& text) {
  const auto parts = splitEscaped(text, ':');
  if (parts.size() == 1) return parseReal(text);
  if (text.front() == '-') {
    const auto positive = text[1] == '-' ? std::nullopt : parseSeconds(text.substr(1));
    return positive ? std::optional(-*positive) : std::nullopt;
  }
  if (parts.size() != 3 && parts.size() != 4) return std::nullopt;
  double result = 0;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    const auto number = parseReal(parts[i]);
    if (!number || std::signbit(*number)) return std::nullopt;
    const bool isHours = parts.size() == 4 && i == 1;
    result = result * (i == 0 ? 1 : isHours ? 24 : 60) + *number;
  }
  return result;
}

std::optional<double> timeOf(const pugi::xml_node& root, std::initializer_list<const char*> names) {
  const auto text = valueOf(root, names);
  if (!text) return std::nullopt;
  const auto seconds = parseSeconds(trimmed(*text));
  if (!seconds) throw SumoError(*names.begin(), "expected seconds or hours:minutes:seconds, found " + inQuotes(*text));
  return seconds;
}

std::vector<std::string> pathsOf(const pugi::xml_node& root, std::initializer_list<const char*> names,
                                 const fs::path& folder) {
  std::vector<std::string> result;
  const auto text = valueOf(root, names);
  if (!text) return result;
  std::string rest = *text;
  std::replace(rest.begin(), rest.end(), ',', '\n');
  for (std::size_t begin = 0; begin <= rest.size();) {
    const std::size_t end = std::min(rest.find('\n', begin), rest.size());
    const std::string path = trimmed(rest.substr(begin, end - begin));
    if (!path.empty()) result.push_back((folder / path).lexically_normal().string());
    begin = end + 1;
  }
  return result;
}

/// Goes through a folder and those below it.
class Walk {
 public:
  explicit Walk(const SumoConfigReceiver& receiver) : receiver_(receiver) {}

  void enter(const fs::path& folder) const {
    std::error_code error;
    fs::directory_iterator entries(folder, error);
    while (!error && entries != fs::directory_iterator()) {
      for (const Entry& entry : take(entries, error)) visit(entry);
    }
    if (error) receiver_.refuse(folder, error.message());
  }

 private:
  struct Entry {
    fs::path path;
    bool isFolder;
  };

  /// The next entries that matter, in their order.
  static std::vector<Entry> take(fs::directory_iterator& entries, std::error_code& error) {
    std::vector<Entry> result;
    for (; !error && entries != fs::directory_iterator() && result.size() < sortedAtOnce; entries.increment(error)) {
      checkInterrupt();
      std::error_code unknown;
      const bool isFolder = !entries->is_symlink(unknown) && entries->is_directory(unknown);
      if (isFolder || entries->path().extension() == ending) result.push_back({entries->path(), isFolder});
    }
    std::sort(result.begin(), result.end(), [](const Entry& a, const Entry& b) { return a.path < b.path; });
    return result;
  }

  void visit(const Entry& entry) const {
    checkInterrupt();
    if (entry.isFolder) return enter(entry.path);
    std::error_code error;
    const fs::file_status status = fs::status(entry.path, error);
    if (error) return receiver_.refuse(entry.path, error.message());
    if (fs::is_regular_file(status)) receiver_.take(entry.path);
  }

  const SumoConfigReceiver& receiver_;
};

}  // namespace

SumoConfig readSumoConfig(const fs::path& file) {
  std::error_code unknown;
  const std::uintmax_t size = fs::file_size(file, unknown);
  if (!unknown && size > largestFile) throw SumoError("", std::string("larger than ") + largestFileText);
  std::ifstream input(file, std::ios::binary);
  if (!input) throw SumoError("", std::strerror(errno));
  pugi::xml_document document;
  const pugi::xml_parse_result parsed = document.load(input);
  if (!parsed)
    throw SumoError(
        "", "not XML: " + std::string(parsed.description()) + " (at byte " + std::to_string(parsed.offset) + ")");
  const pugi::xml_node root = document.document_element();
  const std::string name = root.name();
  if (name != "configuration" && name != "sumoConfiguration")
    throw SumoError("", "expected a configuration, found " + inQuotes(name));
  const fs::path folder = file.parent_path();
  SumoConfig result;
  result.begin = timeOf(root, {"begin", "b"});
  result.end = timeOf(root, {"end", "e"});
  result.stepLength = timeOf(root, {"step-length"});
  result.networks = pathsOf(root, {"net-file", "net", "n"}, folder);
  result.routes = pathsOf(root, {"route-files", "route", "routes", "r"}, folder);
  result.additionals = pathsOf(root, {"additional-files", "additional", "a"}, folder);
  return result;
}

void forEachSumoConfig(const fs::path& folder, const SumoConfigReceiver& receiver) {
  std::error_code error;
  const fs::directory_iterator readable(folder, error);
  if (error) throw UsageError(folder.string() + ": " + error.message());
  Walk(receiver).enter(folder);
}

}  // namespace database_provider::recordctl
