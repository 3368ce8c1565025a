// SPDX-License-Identifier: Apache-2.0
#include "tools/input/JsonReader.h"

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "tools/values/Errors.h"

namespace database_provider::recordctl {

namespace {

// Numbers as they were typed, since a category takes that text; iterative, since the file may nest as it likes.
constexpr unsigned parseFlags = rapidjson::kParseStopWhenDoneFlag | rapidjson::kParseNumbersAsStringsFlag |
                                rapidjson::kParseValidateEncodingFlag | rapidjson::kParseIterativeFlag;

/// A file as the parser wants its input, keeping what the parser took.
class Recording {
 public:
  using Ch = char;

  Recording(InputFile& file, std::string& taken) : file_(file), taken_(taken), begin_(file.position()) {}

  char Peek() const { return file_.peek(); }
  char Take() {
    if (taken_.size() >= maximalRowSize)
      throw UsageError(file_.path() + ": a row is longer than " + maximalRowSizeText);
    taken_ += file_.peek();
    return file_.take();
  }
  std::size_t Tell() const { return static_cast<std::size_t>(file_.position() - begin_); }

  // The parser's output side, for parsing in place, which does not happen.
  static char* PutBegin() { return nullptr; }
  void Put(char) {}
  static std::size_t PutEnd(const char*) { return 0; }

 private:
  InputFile& file_;
  std::string& taken_;
  std::uint64_t begin_;
};

/// Notes the keys of the outermost level and the numbers under them, of no more keys than a row may have.
class RowHandler : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, RowHandler> {
 public:
  explicit RowHandler(Row& row) : row_(row) {}

  /// What is wrong with the row; empty when nothing is.
  std::string problem() const {
    if (!isObject_) return "expected an object";
    return hasTooManyKeys_ ? "more than " + std::to_string(maximalNames) + " names" : "";
  }

  bool Key(const char* text, rapidjson::SizeType length, bool) {
    if (depth_ != 1) return true;
    hasTooManyKeys_ = row_.keys.size() == maximalNames;
    if (!hasTooManyKeys_) row_.keys.emplace_back(text, length);
    return true;
  }
  bool RawNumber(const char* text, rapidjson::SizeType length, bool) {
    if (depth_ == 1 && isObject_ && !hasTooManyKeys_) row_.numbers[row_.keys.back()].assign(text, length);
    return true;
  }
  bool StartObject() {
    if (depth_++ == 0) isObject_ = true;
    return true;
  }
  bool EndObject(rapidjson::SizeType) { return leave(); }
  bool StartArray() {
    ++depth_;
    return true;
  }
  bool EndArray(rapidjson::SizeType) { return leave(); }

 private:
  bool leave() {
    --depth_;
    return true;
  }

  Row& row_;
  int depth_ = 0;
  bool isObject_ = false;
  bool hasTooManyKeys_ = false;
};

/// Reads one value into the row; the result tells whether it is JSON.
template <class Stream>
rapidjson::ParseResult readValue(Stream& stream, Row& row) {
  RowHandler handler(row);
  rapidjson::Reader reader;
  const rapidjson::ParseResult result = reader.Parse<parseFlags>(stream, handler);
  if (!result.IsError()) row.problem = handler.problem();
  return result;
}

std::string reasonOf(const rapidjson::ParseResult& result) {
  return std::string(rapidjson::GetParseError_En(result.Code())) + " (at byte " + std::to_string(result.Offset()) +
         " of the row)";
}

std::size_t countLineEnds(std::string_view text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

bool isBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

}  // namespace

JsonArrayReader::JsonArrayReader(const std::string& path) : file_(path) {
  const char first = skipBlanks();
  if (first == '{') throw UsageError(path + ": expected an array of objects; objects on lines are --format jsonl");
  if (first != '[') throw UsageError(path + ": expected a JSON array of objects");
  file_.take();
}

char JsonArrayReader::skipBlanks() {
  while (isBlank(file_.peek())) line_ += file_.take() == '\n' ? 1 : 0;
  return file_.peek();
}

void JsonArrayReader::fail(const std::string& reason) const {
  throw UsageError(file_.path() + ":" + std::to_string(line_) + ": not JSON: " + reason + " (row " +
                   std::to_string(rows_ + 1) + ")");
}

/// Stands on the first byte of the next row afterwards; false at the end of the array.
bool JsonArrayReader::toNextRow() {
  const char c = skipBlanks();
  if (c == ']') {
    file_.take();
    skipBlanks();
    if (file_.hasMore()) throw UsageError(file_.path() + ": something follows the end of the array");
    return false;
  }
  if (rows_ == 0 && file_.hasMore()) return true;
  if (c != ',') fail(file_.hasMore() ? "expected a comma or the end of the array" : "the array has no end");
  file_.take();
  skipBlanks();
  return true;
}

bool JsonArrayReader::next(Row& row) {
  if (atEnd_ || !toNextRow()) {
    atEnd_ = true;
    return false;
  }
  row = Row();
  row.number = rows_ + 1;
  row.line = line_;
  Recording stream(file_, row.json);
  const rapidjson::ParseResult result = readValue(stream, row);
  line_ += countLineEnds(std::string_view(row.json).substr(0, result.IsError() ? result.Offset() : row.json.size()));
  if (result.IsError()) fail(reasonOf(result));
  ++rows_;
  return true;
}

bool JsonLinesReader::next(Row& row) {
  std::string line;
  do {
    if (!file_.takeLine(line)) return false;
    ++line_;
  } while (line.find_first_not_of(" \t\r") == std::string::npos);
  row = Row();
  row.number = ++rows_;
  row.line = line_;
  rapidjson::MemoryStream stream(line.data(), line.size());
  const rapidjson::ParseResult result = readValue(stream, row);
  std::string reason = result.IsError() ? reasonOf(result) : "";
  if (reason.empty() && line.find_first_not_of(" \t\r", stream.Tell()) != std::string::npos)
    reason = "something follows the object";
  if (!reason.empty()) row.problem = "not JSON: " + reason;
  row.json = std::move(line);
  return true;
}

}  // namespace database_provider::recordctl
