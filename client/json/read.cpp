// SPDX-License-Identifier: Apache-2.0
#if defined(__SSE2__)
#define RAPIDJSON_SSE2
#endif
#include <rapidjson/error/en.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <string>

#include "client/bson/Writer.h"
#include "client/bson/utf8.h"
#include "client/json/json.h"
#include "client/json/typeWrappers.h"
#include "database_client/Error.h"

namespace database_client::json {

namespace {

using bson::Byte;
using bson::Type;
using bson::Word;

/// No document of the largest size takes more than this when `write` spells it.
constexpr std::size_t longestText = 16 * bson::maximumSize;

/// Of the place of an error a message shows so many bytes.
constexpr std::size_t longestPath = 1000;

/// Takes the events of a JSON parser and appends what they mean to the document; json.h has the picture.
class DocumentHandler {
 public:
  // cppcheck-suppress uninitMemberVar ; a level is written when it is entered
  DocumentHandler(std::size_t expectedSize, bool mayHoldNul) : out_(expectedSize), mayHoldNul_(mayHoldNul) {}

  std::vector<Byte> take() {
    checkSize();
    return out_.take();
  }

  bool Key(const char* text, rapidjson::SizeType size, bool) {
    const std::string_view key(text, size);
    Level& level = top();
    if (level.state == State::undecided) chooseState(level, key);
    if (level.state != State::document) return wrapperKey(level, key);
    level.key = key;
    if (!bson::isUtf8(key)) fail("the key is not UTF-8");
    if (mayHoldNul_ && key.find('\0') != std::string_view::npos) fail("the key holds a NUL");
    return true;
  }

  bool String(const char* text, rapidjson::SizeType size, bool) {
    const std::string_view content(text, size);
    if (isInWrapper()) return collectField(JsonType::string, content);
    beginElement(Type::string, JsonType::string);
    checkText(content);
    appendText(content, out_);
    return true;
  }

  bool RawNumber(const char* text, rapidjson::SizeType size, bool) {
    const std::string_view digits(text, size);
    if (isInWrapper()) return collectField(JsonType::number, digits);
    const std::size_t element = out_.size();
    beginElement(Type::undefined, JsonType::number);
    const auto type = appendPlainNumber(digits, out_);
    if (!type) fail(describe({0, JsonType::number, {}, digits}) + " is out of the range of a double");
    setType(element, *type);
    return true;
  }

  bool Bool(bool value) {
    if (isInWrapper()) return collectField(JsonType::boolean, value ? "true" : "false");
    beginElement(Type::boolean, JsonType::boolean);
    out_.append(static_cast<Byte>(value ? 1 : 0));
    return true;
  }

  bool Null() {
    if (isInWrapper()) return collectField(JsonType::null, {});
    beginElement(Type::null, JsonType::null);
    return true;
  }

  bool StartObject() {
    if (depth_ == 0) return push(State::document, 0);
    if (isInWrapper()) return top().state == State::wrapper ? enterNested(JsonType::object) : openScope();
    const std::size_t element = out_.size();
    beginElement(Type::document, JsonType::object);
    levels_[depth_++] = {State::undecided, false, element, out_.size(), 0, {}};
    return true;
  }

  bool EndObject(rapidjson::SizeType) {
    Level& level = top();
    if (level.state == State::wrapper) return leaveWrapper(level);
    if (level.state == State::scope) return closeScope(level);
    if (level.state == State::undecided) open(level, State::document);
    return close(level);
  }

  bool StartArray() {
    if (isInWrapper()) return enterNested(JsonType::array);
    const std::size_t element = out_.size();
    beginElement(Type::array, JsonType::array);
    return push(State::array, element);
  }

  bool EndArray(rapidjson::SizeType) { return isInWrapper() ? leaveWrapper(top()) : close(top()); }

  // The parser hands numbers over as text.
  static bool Int(int) { return false; }
  static bool Uint(unsigned) { return false; }
  static bool Int64(std::int64_t) { return false; }
  static bool Uint64(std::uint64_t) { return false; }
  static bool Double(double) { return false; }

  [[noreturn]] void fail(const std::string& reason) const {
    const std::string where = bson::excerpt(path(), longestPath);
    throw Error(Error::Kind::document,
                "malformed JSON" + (where.empty() ? "" : " under \"" + where + '"') + ": " + reason, {where});
  }

 private:
  enum class State {
    document,
    array,
    undecided,  ///< an object before its first key
    wrapper,    ///< an object that stands for one value: a type wrapper
    scope,      ///< the object of "$code" and "$scope", before and behind the scope's own object
  };
  struct Level {
    State state;
    bool isScope;         ///< a document that is a scope
    std::size_t element;  ///< where its type byte stands
    std::size_t start;    ///< where its value begins
    std::size_t index;    ///< of the next element of an array
    std::string_view key;
  };

  Level& top() { return levels_[depth_ - 1]; }

  bool isInWrapper() { return depth_ != 0 && (top().state == State::wrapper || top().state == State::scope); }

  void setType(std::size_t element, Type type) { *out_.at(element) = static_cast<Byte>(type); }

  /// Type and key of an entry of the innermost level.
  void beginElement(Type type, JsonType kind) {
    if (depth_ == 0) fail(std::string("the text holds ") + nameOf(kind) + ", expected an object");
    checkSize();
    out_.append(static_cast<Byte>(type));
    Level& level = top();
    if (level.state == State::array) {
      out_.append(bson::IndexKey(level.index++));
    } else {
      out_.append(level.key);
    }
    out_.append(Byte{0});
  }

  void checkText(std::string_view text) const {
    if (!bson::isUtf8(text)) fail("the text is not UTF-8");
  }

  void checkSize() const {
    if (out_.size() > bson::maximumSize)
      fail("the document has more than " + std::to_string(bson::maximumSize) + " bytes");
  }

  bool push(State state, std::size_t element) {
    levels_[depth_++] = {State::undecided, false, element, out_.size(), 0, {}};
    open(top(), state);
    return true;
  }

  /// Leaves room for the length.
  void open(Level& level, State state) {
    if (depth_ - 1 > bson::maximumDepth) fail("more than " + std::to_string(bson::maximumDepth) + " levels");
    level.state = state;
    constexpr std::int32_t length = 0;
    out_.append(&length, sizeof length);
  }

  bool close(Level& level) {
    out_.append(Byte{0});
    std::size_t start = level.start;
    if (level.isScope) start += 8 + static_cast<std::size_t>(bson::load<std::int32_t>(out_.at(start + 4)));
    bson::store(out_.at(start), static_cast<std::int32_t>(out_.size() - start));
    if (level.isScope) {
      level.state = State::scope;
    } else {
      --depth_;
    }
    return true;
  }

  void chooseState(Level& level, std::string_view firstKey) {
    const bool mayBeWrapper = !firstKey.empty() && firstKey.front() == '$';
    wrapper_ = mayBeWrapper ? findTypeWrapper(firstKey) : nullptr;
    if (wrapper_ == nullptr) return open(level, State::document);
    level.state = State::wrapper;
    fields_.clear();
    nesting_ = 0;
  }

  bool wrapperKey(Level& level, std::string_view key) {
    if (level.state == State::scope) failWrapper("the key \"" + bson::printable(key) + "\" beside it");
    fieldKey_ = key;
    if (nesting_ != 0 || fields_.count() == 0) return true;
    const bool beginsScope = wrapper_->type == Type::code && fields_.isSingle(JsonType::string) && key == "$scope";
    if (!beginsScope) failWrapper("the key \"" + bson::printable(key) + "\" beside it");
    constexpr std::int32_t length = 0;
    out_.append(&length, sizeof length);
    appendText(fields_[0].text, out_);
    level.state = State::scope;
    return true;
  }

  bool collectField(JsonType kind, std::string_view text) {
    if (top().state == State::scope) failWrapper(std::string("\"$scope\" is ") + nameOf(kind));
    checkText(text);
    fields_.add({nesting_, kind, fieldKey_, text});
    return true;
  }

  bool enterNested(JsonType kind) {
    constexpr int deepest = 3;
    collectField(kind, {});
    if (++nesting_ > deepest) failWrapper("deeper objects or arrays");
    return true;
  }

  bool leaveWrapper(Level& level) {
    if (nesting_ != 0) {
      --nesting_;
      return true;
    }
    if (!wrapper_->convert(fields_, out_)) failWrapper(describe(fields_[0]));
    setType(level.element, wrapper_->type);
    --depth_;
    return true;
  }

  bool openScope() {
    Level& level = top();
    level.isScope = true;
    level.key = {};
    open(level, State::document);
    return true;
  }

  bool closeScope(Level& level) {
    bson::store(out_.at(level.start), static_cast<std::int32_t>(out_.size() - level.start));
    setType(level.element, Type::codeWithScope);
    --depth_;
    return true;
  }

  static std::string describe(const WrapperField& field) {
    constexpr std::size_t longest = 50;
    std::string found = nameOf(field.kind);
    if (field.kind == JsonType::string && field.text.size() <= longest)
      found += " \"" + bson::printable(field.text) + '"';
    if (field.kind == JsonType::number || field.kind == JsonType::boolean)
      found += ' ' + std::string(field.text.substr(0, longest));
    return found;
  }

  [[noreturn]] void failWrapper(const std::string& found) const {
    // Inside the scope there may have been other wrappers.
    const TypeWrapper& wrapper = levels_[depth_ - 1].state == State::scope ? *findTypeWrapper("$code") : *wrapper_;
    fail('"' + std::string(wrapper.key) + "\" has " + found + ", expected " + wrapper.expected);
  }

  /// Where the reader stands.
  std::string path() const {
    std::string path;
    for (int i = 0; i < depth_; ++i) {
      const Level& level = levels_[i];
      if (level.state == State::undecided || level.state == State::wrapper) break;
      if (i != 0) path += '.';
      if (level.state == State::scope || level.isScope) path += "$scope";
      if (level.isScope && level.state == State::document) path += '.';
      if (level.state == State::document) path += bson::printable(level.key);
      if (level.state == State::array) path += std::to_string(level.index == 0 ? 0 : level.index - 1);
    }
    return path;
  }

  BsonBuilder out_;
  bool mayHoldNul_;
  const TypeWrapper* wrapper_ = nullptr;
  WrapperFields fields_;
  int nesting_ = 0;  ///< objects and arrays that are open inside the wrapper
  std::string_view fieldKey_;
  int depth_ = 0;
  // Below the last level a document may have there can be one more object, which stands for a value.
  Level levels_[bson::maximumDepth + 2];
};

struct Scan {
  std::size_t control;  ///< the offset of the first control character other than white space, or the size
  bool hasBackslash;
};

bool isForbidden(char c) {
  return static_cast<unsigned char>(c) < 0x20 && c != '\n' && c != '\r' && c != '\t';
}

/// JSON allows no raw control characters but white space, and the parser overlooks some of them, a NUL above all.
Scan scan(std::string_view text) {
  Word backslashes = 0;
  std::size_t i = 0;
  for (; text.size() - i >= sizeof(Word); i += sizeof(Word)) {
    const Word word = bson::loadWord(text.data() + i);
    const Word slash = word ^ (bson::lowBits * '\\');
    backslashes |= (slash - bson::lowBits) & ~slash & bson::highBits;
    if (((word - bson::lowBits * 0x20) & ~word & bson::highBits) == 0) continue;
    const auto* const at = text.data() + i;
    const auto* const bad = std::find_if(at, at + sizeof(Word), isForbidden);
    if (bad != at + sizeof(Word)) return {static_cast<std::size_t>(bad - text.data()), true};
  }
  const auto tail = text.substr(i);
  const auto bad = std::find_if(tail.begin(), tail.end(), isForbidden);
  const bool hasBackslash = backslashes != 0 || tail.find('\\') != std::string_view::npos;
  return {i + static_cast<std::size_t>(bad - tail.begin()), hasBackslash};
}

}  // namespace

std::vector<Byte> read(std::string_view text) {
  const std::size_t expectedSize = std::min(text.size() + text.size() / 4 + 64, bson::maximumSize + 64);
  if (text.size() > longestText) {
    DocumentHandler(0, false).fail(std::to_string(text.size()) + " bytes, at most " + std::to_string(longestText));
  }
  const Scan found = scan(text);
  DocumentHandler reader(expectedSize, found.hasBackslash);
  if (found.control != text.size()) {
    reader.fail("a control character at offset " + std::to_string(found.control) + ", expected its escape");
  }
  // A copy that the parser may write into; it reads sixteen bytes at once.
  std::string copy;
  copy.reserve(text.size() + 16);
  copy.append(text).append(16, '\0');
  rapidjson::InsituStringStream stream(copy.data());
  rapidjson::Reader parser;
  // The parser recurses for each level, no deeper than the reader lets it.
  constexpr unsigned flags = rapidjson::kParseInsituFlag | rapidjson::kParseNumbersAsStringsFlag;
  const rapidjson::ParseResult result = parser.Parse<flags>(stream, reader);
  if (result.IsError()) {
    reader.fail(std::string(rapidjson::GetParseError_En(result.Code())) + " At offset " +
                std::to_string(result.Offset()) + '.');
  }
  return reader.take();
}

}  // namespace database_client::json
