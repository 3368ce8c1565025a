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

/// Takes the events of a JSON parser and appends what they mean to the document, without building a tree.
///
/// Whether an object is a document or stands for one value shows at its first key; the entries of the latter are
/// collected and converted when it ends. Keys and texts stay where the parser found them until the end.
class DocumentReader {
 public:
  // cppcheck-suppress uninitMemberVar ; a level is written when it is entered
  DocumentReader(std::size_t expectedSize, bool mayHoldNul) : out_(expectedSize), mayHoldNul_(mayHoldNul) {}

  std::vector<Byte> take() {
    checkSize();
    return out_.take();
  }

  bool Key(const char* text, rapidjson::SizeType size, bool) {
    const std::string_view key(text, size);
    Level& level = top();
    if (level.state == State::undecided) decide(level, key);
    if (level.state != State::document) return formKey(level, key);
    level.key = key;
    if (!bson::isUtf8(key)) fail("the key is not UTF-8");
    if (mayHoldNul_ && key.find('\0') != std::string_view::npos) fail("the key holds a NUL");
    return true;
  }

  bool String(const char* text, rapidjson::SizeType size, bool) {
    const std::string_view content(text, size);
    if (isInForm()) return collect(Kind::string, content);
    head(Type::string, Kind::string);
    checkText(content);
    appendText(content, out_);
    return true;
  }

  bool RawNumber(const char* text, rapidjson::SizeType size, bool) {
    const std::string_view digits(text, size);
    if (isInForm()) return collect(Kind::number, digits);
    const std::size_t element = out_.size();
    head(Type::undefined, Kind::number);
    const auto type = appendPlainNumber(digits, out_);
    if (!type) fail(describe({0, Kind::number, {}, digits}) + " is out of the range of a double");
    setType(element, *type);
    return true;
  }

  bool Bool(bool value) {
    if (isInForm()) return collect(Kind::boolean, value ? "true" : "false");
    head(Type::boolean, Kind::boolean);
    const Byte byte = value ? 1 : 0;
    out_.append(&byte, 1);
    return true;
  }

  bool Null() {
    if (isInForm()) return collect(Kind::null, {});
    head(Type::null, Kind::null);
    return true;
  }

  bool StartObject() {
    if (depth_ == 0) return push(State::document, 0);
    if (isInForm()) return top().state == State::form ? enterInner(Kind::object) : openScope();
    const std::size_t element = out_.size();
    head(Type::document, Kind::object);
    levels_[depth_++] = {State::undecided, false, element, out_.size(), 0, {}};
    return true;
  }

  bool EndObject(rapidjson::SizeType) {
    Level& level = top();
    if (level.state == State::form) return leaveForm(level);
    if (level.state == State::scope) return closeScope(level);
    if (level.state == State::undecided) open(level, State::document);
    return close(level);
  }

  bool StartArray() {
    if (isInForm()) return enterInner(Kind::array);
    const std::size_t element = out_.size();
    head(Type::array, Kind::array);
    return push(State::array, element);
  }

  bool EndArray(rapidjson::SizeType) { return isInForm() ? leaveForm(top()) : close(top()); }

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
    form,       ///< an object that stands for one value
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

  bool isInForm() { return depth_ != 0 && (top().state == State::form || top().state == State::scope); }

  void setType(std::size_t element, Type type) { *out_.at(element) = static_cast<Byte>(type); }

  /// Type and key of an entry of the innermost level.
  void head(Type type, Kind kind) {
    if (depth_ == 0) fail(std::string("the text holds ") + nameOf(kind) + ", expected an object");
    checkSize();
    const auto byte = static_cast<Byte>(type);
    out_.append(&byte, 1);
    Level& level = top();
    if (level.state == State::array) {
      const bson::IndexKey key(level.index++);
      const std::string_view digits = key;
      out_.append(digits.data(), digits.size());
    } else {
      out_.append(level.key.data(), level.key.size());
    }
    out_.append("", 1);
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
    out_.append("", 1);
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

  void decide(Level& level, std::string_view firstKey) {
    const bool mayBeForm = !firstKey.empty() && firstKey.front() == '$';
    form_ = mayBeForm ? findForm(firstKey) : nullptr;
    if (form_ == nullptr) return open(level, State::document);
    level.state = State::form;
    items_.clear();
    inner_ = 0;
  }

  bool formKey(Level& level, std::string_view key) {
    if (level.state == State::scope) failForm("the key \"" + bson::printable(key) + "\" beside it");
    itemKey_ = key;
    if (inner_ != 0 || items_.count() == 0) return true;
    const bool beginsScope = form_->type == Type::code && items_.isSingle(Kind::string) && key == "$scope";
    if (!beginsScope) failForm("the key \"" + bson::printable(key) + "\" beside it");
    constexpr std::int32_t length = 0;
    out_.append(&length, sizeof length);
    appendText(items_[0].text, out_);
    level.state = State::scope;
    return true;
  }

  bool collect(Kind kind, std::string_view text) {
    if (top().state == State::scope) failForm(std::string("\"$scope\" is ") + nameOf(kind));
    checkText(text);
    items_.add({inner_, kind, itemKey_, text});
    return true;
  }

  bool enterInner(Kind kind) {
    constexpr int deepest = 3;
    collect(kind, {});
    if (++inner_ > deepest) failForm("deeper objects or arrays");
    return true;
  }

  bool leaveForm(Level& level) {
    if (inner_ != 0) {
      --inner_;
      return true;
    }
    if (!form_->convert(items_, out_)) failForm(describe(items_[0]));
    setType(level.element, form_->type);
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

  static std::string describe(const Item& item) {
    constexpr std::size_t longest = 50;
    std::string found = nameOf(item.kind);
    if (item.kind == Kind::string && item.text.size() <= longest) found += " \"" + bson::printable(item.text) + '"';
    if (item.kind == Kind::number || item.kind == Kind::boolean)
      found += ' ' + std::string(item.text.substr(0, longest));
    return found;
  }

  [[noreturn]] void failForm(const std::string& found) const {
    // Inside the scope other forms may have come in between.
    const TypeWrapper& form = levels_[depth_ - 1].state == State::scope ? *findForm("$code") : *form_;
    fail('"' + std::string(form.key) + "\" has " + found + ", expected " + form.expected);
  }

  /// Where the reader stands.
  std::string path() const {
    std::string path;
    for (int i = 0; i < depth_; ++i) {
      const Level& level = levels_[i];
      if (level.state == State::undecided || level.state == State::form) break;
      if (i != 0) path += '.';
      if (level.state == State::scope || level.isScope) path += "$scope";
      if (level.isScope && level.state == State::document) path += '.';
      if (level.state == State::document) path += bson::printable(level.key);
      if (level.state == State::array) path += std::to_string(level.index == 0 ? 0 : level.index - 1);
    }
    return path;
  }

  Output out_;
  bool mayHoldNul_;
  const TypeWrapper* form_ = nullptr;
  Items items_;
  int inner_ = 0;  ///< objects and arrays that are open inside the form
  std::string_view itemKey_;
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

/// A copy that the parser may write into; it reads sixteen bytes at once.
std::string padded(std::string_view text) {
  std::string copy;
  copy.reserve(text.size() + 16);
  copy.append(text).append(16, '\0');
  return copy;
}

}  // namespace

std::vector<Byte> read(std::string_view text) {
  const std::size_t expectedSize = std::min(text.size() + text.size() / 4 + 64, bson::maximumSize + 64);
  if (text.size() > longestText) {
    DocumentReader(0, false).fail(std::to_string(text.size()) + " bytes, at most " + std::to_string(longestText));
  }
  const Scan found = scan(text);
  DocumentReader reader(expectedSize, found.hasBackslash);
  if (found.control != text.size()) {
    reader.fail("a control character at offset " + std::to_string(found.control) + ", expected its escape");
  }
  std::string copy = padded(text);
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
