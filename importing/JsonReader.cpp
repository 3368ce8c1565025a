// SPDX-License-Identifier: Apache-2.0
#include "importing/JsonReader.h"

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <limits>
#include <string_view>
#include <utility>

#include "values/Text.h"

namespace database_provider::importing {

namespace {

using values::inQuotes;

// A row is parsed once, straight into its document. To find its end in an array takes no parser: brackets outside of
// texts tell it. Only a row of which no document can be made is looked at again, by a parser that keeps nothing, to
// tell what is no JSON, which ends the reading of an array, from what is JSON and no document.

// Iterative, since the file may nest as it likes; numbers as texts, whose range then does not matter.
constexpr unsigned parseFlags = rapidjson::kParseStopWhenDoneFlag | rapidjson::kParseNumbersAsStringsFlag |
                                rapidjson::kParseValidateEncodingFlag | rapidjson::kParseIterativeFlag;

/// The parser takes eight bytes a level. What is nested deeper than this is no document, JSON or not.
constexpr int deepestLooked = 10'000;

/// What was taken from a file, and then the file, as the parser wants its input; keeps what the parser takes.
class Recording {
 public:
  using Ch = char;

  Recording(InputFile& file, std::string& taken) : file_(file), taken_(taken) {}

  char Peek() const { return next_ < taken_.size() ? taken_[next_] : file_.peek(); }
  char Take() {
    if (next_ == taken_.size()) {
      if (taken_.size() >= maximalRowSize)
        throw ImportError(file_.path() + ": a row is longer than " + maximalRowSizeText);
      taken_ += file_.peek();
      file_.take();
    }
    return taken_[next_++];
  }
  std::size_t Tell() const { return next_; }

  // The parser's output side, for parsing in place, which does not happen.
  static char* PutBegin() { return nullptr; }
  void Put(char) {}
  static std::size_t PutEnd(const char*) { return 0; }

 private:
  InputFile& file_;
  std::string& taken_;
  std::size_t next_ = 0;
};

std::string tooManyNames() {
  return "more than " + std::to_string(maximalNames) + " names";
}

/// Notes the keys of the outermost level, of no more keys than a row may have.
class RowHandler : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, RowHandler> {
 public:
  RowHandler(Row& row, int deepest) : row_(row), deepest_(deepest) {}

  /// What is wrong with the row; empty when nothing is.
  std::string problem() const {
    if (!isObject_) return "expected an object";
    return hasTooManyKeys_ ? tooManyNames() : "";
  }

  bool Key(const char* text, rapidjson::SizeType length, bool) {
    if (depth_ != 1) return true;
    hasTooManyKeys_ = row_.keys.size() == maximalNames;
    if (!hasTooManyKeys_) row_.keys.emplace_back(text, length);
    return true;
  }
  bool StartObject() {
    isObject_ = isObject_ || depth_ == 0;
    return ++depth_ <= deepest_;
  }
  bool EndObject(rapidjson::SizeType) { return leave(); }
  bool StartArray() { return ++depth_ <= deepest_; }
  bool EndArray(rapidjson::SizeType) { return leave(); }

 private:
  bool leave() {
    --depth_;
    return true;
  }

  Row& row_;
  int deepest_;
  int depth_ = 0;
  bool isObject_ = false;
  bool hasTooManyKeys_ = false;
};

bool isNotJson(const rapidjson::ParseResult& result) {
  return result.IsError() && result.Code() != rapidjson::kParseErrorTermination;
}

/// Looks at a value that is no document; the result tells whether it is JSON, or ends below `deepest` levels.
template <class Stream>
rapidjson::ParseResult lookAt(Stream& stream, Row& row, int deepest) {
  RowHandler handler(row, deepest);
  rapidjson::Reader reader;
  const rapidjson::ParseResult result = reader.Parse<parseFlags>(stream, handler);
  if (!isNotJson(result)) row.problem = handler.problem();
  return result;
}

/// The object with the NaN, Infinity and -Infinity that Python writes and JSON has no words for as extended JSON says
/// them; empty where it has none.
std::string withNonFinite(const std::string& json) {
  constexpr std::size_t longestWord = 9;
  std::string result;
  bool isInText = false;
  bool isAnyFound = false;
  for (std::size_t i = 0; i < json.size(); ++i) {
    if (json[i] == '"') isInText = !isInText;
    if (isInText && json[i] == '\\') result += json[i++];
    const std::string_view next = std::string_view(json).substr(i, isInText ? 0 : longestWord + 1);
    const std::string_view word = next.substr(0, next.find_first_not_of("-NaInfity"));
    if (word == "NaN" || word == "Infinity" || word == "-Infinity") {
      isAnyFound = true;
      result.append(R"({"$numberDouble": ")").append(word).append(R"("})");
      i += word.size() - 1;
    } else {
      result += json[i];
    }
  }
  return isAnyFound ? result : "";
}

bool parseAsIs(Row& row) {
  try {
    row.parsed = ObjectProperties::fromJson(row.json);
    return true;
  } catch (const database_client::Error&) {
    row.refusal = std::current_exception();
    return false;
  }
}

/// Makes the row's document and takes its keys from that; false where the text is no document.
bool parse(Row& row) {
  if (!parseAsIs(row)) {
    Row changed;
    changed.json = withNonFinite(row.json);
    if (changed.json.empty() || !parseAsIs(changed)) return false;
    row.json = std::move(changed.json);
    row.parsed = std::move(changed.parsed);
    row.refusal = nullptr;
  }
  for (database_client::ElementReader value(row.parsed); value.next();) {
    if (row.keys.size() == maximalNames) {
      row.problem = tooManyNames();
      break;
    }
    row.keys.emplace_back(value.key());
  }
  return true;
}

/// Takes bytes up to the end of the object that begins here; false where that is not seen, because the file ends
/// before, the row is too long, or a text has a character that only JSON which is none has there.
bool takeObject(InputFile& file, std::string& text) {
  std::size_t depth = 0;
  bool isInText = false;
  bool isEscaped = false;
  while (file.hasMore() && text.size() < maximalRowSize) {
    const std::string_view chunk = file.peekChunk().substr(0, maximalRowSize - text.size());
    const auto takeTo = [&](std::size_t end) {
      text.append(chunk, 0, end);
      file.skip(end);
    };
    for (std::size_t i = 0; i < chunk.size(); ++i) {
      const char c = chunk[i];
      if (isInText) {
        if (static_cast<unsigned char>(c) < ' ') return takeTo(i), false;
        isInText = isEscaped || c != '"';
        isEscaped = !isEscaped && c == '\\';
      } else if (c == '"') {
        isInText = true;
      } else if (c == '{' || c == '[') {
        ++depth;
      } else if ((c == '}' || c == ']') && --depth == 0) {
        return takeTo(i + 1), true;
      }
    }
    takeTo(chunk.size());
  }
  return false;
}

std::string reasonOf(const rapidjson::ParseResult& result) {
  return std::string(rapidjson::GetParseError_En(result.Code())) + " (at byte " + std::to_string(result.Offset()) +
         " of the row)";
}

std::size_t countLineEnds(std::string_view text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

}  // namespace

JsonArrayReader::JsonArrayReader(std::unique_ptr<InputFile> file, std::string path)
    : RowReader(file->path(), false), file_(std::move(file)), path_(std::move(path)), scanner_(*file_) {
  start();
}

void JsonArrayReader::start() {
  if (!path_.empty() && !scanner_.enter(path_)) throw ImportError(name() + ": there is nothing at " + inQuotes(path_));
  const char first = skipBlanks();
  if (first != '[') failAtStart(first);
  file_->take();
}

void JsonArrayReader::failAtStart(char first) {
  if (!path_.empty()) throw ImportError(name() + ": at " + inQuotes(path_) + " is no array");
  if (first != '{') throw ImportError(name() + ": expected a JSON array of objects");
  std::string paths;
  try {
    for (const std::string& key : scanner_.arrays()) paths += (paths.empty() ? "--rows " : " or --rows ") + key;
  } catch (const ImportError&) {
    paths.clear();  // nothing to tell of what is no document
  }
  throw ImportError(name() + ": expected an array of objects; objects on lines are --format jsonl" +
                    (paths.empty() ? "" : ", and the array in this one is " + paths));
}

bool JsonArrayReader::rewind() {
  if (!file_->rewind()) return false;
  rows_ = 0;
  scanner_ = JsonScanner(*file_);
  atEnd_ = false;
  start();
  return true;
}

void JsonArrayReader::fail(const std::string& reason) const {
  throw ImportError(file_->path() + ":" + std::to_string(scanner_.line()) + ": not JSON: " + reason + " (row " +
                    std::to_string(rows_ + 1) + ")");
}

/// Stands on the first byte of the next row afterwards; false at the end of the array.
bool JsonArrayReader::toNextRow() {
  const char c = skipBlanks();
  if (c == ']') {
    file_->take();
    scanner_.leave();
    skipBlanks();
    if (file_->hasMore()) throw ImportError(file_->path() + ": something follows the end of the array");
    return false;
  }
  if (rows_ == 0 && file_->hasMore()) return true;
  if (c != ',') fail(file_->hasMore() ? "expected a comma or the end of the array" : "the array has no end");
  file_->take();
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
  row.line = scanner_.line();
  const bool isWhole = file_->peek() == '{' && takeObject(*file_, row.json);
  if (isWhole && parse(row)) {
    scanner_.setLine(row.line + countLineEnds(row.json));
    ++rows_;
    return true;
  }
  Recording stream(*file_, row.json);
  const rapidjson::ParseResult result = lookAt(stream, row, isWhole ? deepestLooked : std::numeric_limits<int>::max());
  scanner_.setLine(row.line + countLineEnds(std::string_view(row.json).substr(
                                  0, isNotJson(result) ? result.Offset() : row.json.size())));
  if (isNotJson(result)) fail(reasonOf(result));
  ++rows_;
  return true;
}

bool JsonLinesReader::rewind() {
  if (!file_->rewind()) return false;
  rows_ = 0;
  line_ = 0;
  return true;
}

bool JsonLinesReader::next(Row& row) {
  row = Row();
  do {
    if (!file_->takeLine(row.json)) return false;
    ++line_;
  } while (row.json.find_first_not_of(" \t\r") == std::string::npos);
  row.number = ++rows_;
  row.line = line_;
  if (parse(row)) return true;
  rapidjson::MemoryStream stream(row.json.data(), row.json.size());
  const rapidjson::ParseResult result = lookAt(stream, row, deepestLooked);
  std::string reason = isNotJson(result) ? reasonOf(result) : "";
  if (!result.IsError() && row.json.find_first_not_of(" \t\r", stream.Tell()) != std::string::npos)
    reason = "something follows the object";
  if (!reason.empty()) row.problem = "not JSON: " + reason;
  return true;
}

}  // namespace database_provider::importing
