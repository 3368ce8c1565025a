// SPDX-License-Identifier: Apache-2.0
#include "client/bson/validate.h"

#include <string>

#include "database_client/Error.h"

namespace database_client::bson {

namespace {

constexpr std::ptrdiff_t smallestDocument = 5;
/// "cursor", its batch and the place in it.
constexpr int levelsAroundResult = 3;
/// The largest message that a server sends.
constexpr std::size_t maximumAnswer = 48'000'000;

/// Walks the levels with a stack of its own. `end` is always the terminator of the innermost level, which is a NUL
/// inside the bytes: whatever runs up to a NUL stops there at the latest.
class Validator {
 public:
  enum class Subject { document, answer };

  // cppcheck-suppress uninitMemberVar ; a level is written when it is entered
  Validator(const Byte* data, std::size_t size, Subject subject) : data_(data), size_(size), subject_(subject) {}

  View run() {
    checkRoot();
    const Byte* at = data_ + 4;
    end_ = data_ + size_ - 1;
    while (true) {
      if (at != end_) {
        at = value(at, key(at));
      } else if (depth_ == 0) {
        return {data_, size_};
      } else {
        at = end_ + 1;
        end_ = levels_[--depth_].end;
      }
    }
  }

 private:
  struct Level {
    const Byte* element;  ///< where the type byte of the level stands
    const Byte* end;      ///< the terminator of the level around it
  };

  void checkRoot() const {
    const std::size_t most = subject_ == Subject::answer ? maximumAnswer : maximumSize;
    if (size_ > most) failWhole(std::to_string(size_) + " bytes, at most " + std::to_string(most));
    if (size_ < smallestDocument) failWhole(std::to_string(size_) + " bytes, at least 5 expected");
    const auto length = load<std::int32_t>(data_);
    if (length < 0 || static_cast<std::size_t>(length) != size_) {
      failWhole("its length says " + std::to_string(length) + ", given are " + std::to_string(size_) + " bytes");
    }
    if (data_[size_ - 1] != 0) failWhole("it does not end with a terminator (NUL)");
  }

  /// Checks the key behind a type byte and returns the start of the value.
  const Byte* key(const Byte* element) const {
    const Byte* const at = asciiEnd(element + 1);
    if (*at != 0 || at >= end_) return unusualKey(element);
    return at + 1;
  }

  /// The first byte that is NUL or beyond ASCII; there is one, since the document ends with a NUL.
  const Byte* asciiEnd(const Byte* at) const {
    const Byte* const documentEnd = data_ + size_;
    while (documentEnd - at >= static_cast<std::ptrdiff_t>(sizeof(Word))) {
      const auto word = load<Word>(at);
      const Word marks = ((word - lowBits) | word) & highBits;
      if (marks != 0) return at + firstMarked(marks);
      at += sizeof(Word);
    }
    while (*at != 0 && *at < 0x80) ++at;
    return at;
  }

  const Byte* unusualKey(const Byte* element) const {
    const std::string_view name = cString(element + 1);
    const Byte* const last = element + 1 + name.size();
    if (last >= end_) fail(element, "the key is not ended by a NUL within its level");
    if (!isUtf8(name)) fail(element, "the key is not UTF-8");
    return last + 1;
  }

  const Byte* value(const Byte* element, const Byte* at) {
    const Extent extent = extentOf(static_cast<Type>(*element));
    if (extent.encoding == Encoding::fixed) {
      if (end_ - at < extent.size) failLeft(element, at, extent.size);
      if (static_cast<Type>(*element) == Type::boolean && *at > 1) {
        fail(element, "the byte is " + std::to_string(*at) + ", expected 0 or 1");
      }
      return at + extent.size;
    }
    switch (extent.encoding) {
      case Encoding::none:
      case Encoding::fixed:
        break;
      case Encoding::regex:
        return regexPart(element, regexPart(element, at, "pattern"), "option text");
      case Encoding::text:
        return text(element, at, end_);
      case Encoding::level:
        return enter(element, at, end_);
      case Encoding::binary:
        return binary(element, at);
      case Encoding::dbPointer:
        return dbPointer(element, at);
      case Encoding::codeWithScope:
        return codeWithScope(element, at);
    }
    fail(element, "no BSON type has the number " + std::to_string(*element));
  }

  /// A length with its text, within what lies before `limit`.
  const Byte* text(const Byte* element, const Byte* at, const Byte* limit) const {
    const std::int32_t length = lengthAt(element, at, limit);
    const Byte* const first = at + 4;
    if (length < 1 || length > limit - first) failLength(element, length, 1, limit - first);
    const auto size = static_cast<std::size_t>(length) - 1;
    if (first[size] != 0) fail(element, "the text of " + std::to_string(size) + " bytes is not followed by a NUL");
    if (!isUtf8({reinterpret_cast<const char*>(first), size}) && !isOfServer(element)) {
      fail(element, "the text is not UTF-8");
    }
    return first + length;
  }

  /// Whether the value belongs to the results of a read, not to what the server says about them.
  bool isOfResult(const Byte* element) const {
    return subject_ == Subject::answer && cString((depth_ == 0 ? element : levels_[0].element) + 1) == "cursor";
  }

  [[gnu::cold]] bool isOfServer(const Byte* element) const {
    return subject_ == Subject::answer && !isOfResult(element) && cString(element + 1) == "errmsg";
  }

  [[gnu::cold]] int mostLevels() const {
    return maximumDepth + (isOfResult(levels_[0].element) ? levelsAroundResult : 0);
  }

  const Byte* enter(const Byte* element, const Byte* at, const Byte* limit) {
    const std::int32_t length = lengthAt(element, at, limit);
    if (length < smallestDocument || length > limit - at) failLength(element, length, smallestDocument, limit - at);
    const Byte* const last = at + length - 1;
    if (*last != 0) fail(element, "the level of " + std::to_string(length) + " bytes does not end with a NUL");
    if (depth_ >= maximumDepth && depth_ >= mostLevels()) {
      fail(element, "more than " + std::to_string(mostLevels()) + " levels");
    }
    levels_[depth_++] = {element, end_};
    end_ = last;
    return at + 4;
  }

  const Byte* binary(const Byte* element, const Byte* at) const {
    const std::int32_t length = lengthAt(element, at, end_);
    const Byte* const first = at + 5;
    if (length < 0 || length > end_ - first) failLength(element, length, 0, end_ - first);
    if (at[4] == oldBinarySubtype) {
      if (length < 4) failLength(element, length, 4, end_ - first);
      const auto inner = load<std::int32_t>(first);
      if (inner != length - 4) failLength(element, inner, length - 4, length - 4);
    }
    return first + length;
  }

  const Byte* regexPart(const Byte* element, const Byte* at, const char* part) const {
    if (at >= end_) fail(element, std::string("the ") + part + " is missing");
    const std::string_view text = cString(at);
    if (text.size() >= static_cast<std::size_t>(end_ - at)) {
      fail(element, std::string("the ") + part + " is not ended by a NUL within its level");
    }
    if (!isUtf8(text)) fail(element, std::string("the ") + part + " is not UTF-8");
    return at + text.size() + 1;
  }

  const Byte* dbPointer(const Byte* element, const Byte* at) const {
    const Byte* const id = text(element, at, end_);
    if (end_ - id < static_cast<std::ptrdiff_t>(objectIdSize)) failLeft(element, id, objectIdSize);
    return id + objectIdSize;
  }

  /// The scope has to end exactly where the value does.
  const Byte* codeWithScope(const Byte* element, const Byte* at) {
    constexpr std::ptrdiff_t smallest = 4 + 4 + 1 + smallestDocument;
    const std::int32_t length = lengthAt(element, at, end_);
    if (length < smallest || length > end_ - at) failLength(element, length, smallest, end_ - at);
    const Byte* const limit = at + length;
    const Byte* const scope = text(element, at + 4, limit);
    if (limit - scope < smallestDocument) failLeft(element, scope, smallestDocument);
    if (load<std::int32_t>(scope) != limit - scope) {
      failLength(element, load<std::int32_t>(scope), limit - scope, limit - scope);
    }
    return enter(element, scope, limit);
  }

  std::int32_t lengthAt(const Byte* element, const Byte* at, const Byte* limit) const {
    if (limit - at < 4) failLeft(element, at, 4);
    return load<std::int32_t>(at);
  }

  [[noreturn, gnu::cold, gnu::noinline]] void failLength(const Byte* element, std::int32_t length,
                                                         std::ptrdiff_t smallest, std::ptrdiff_t largest) const {
    std::string expected = std::to_string(smallest);
    if (largest > smallest) expected += " to " + std::to_string(largest);
    if (largest < smallest) expected += " at least, with " + std::to_string(largest) + " bytes left";
    fail(element, "a length is " + std::to_string(length) + ", expected " + expected);
  }

  [[noreturn, gnu::cold, gnu::noinline]] void failLeft(const Byte* element, const Byte* at,
                                                       std::ptrdiff_t expected) const {
    fail(element, std::to_string(expected) + " bytes expected, " + std::to_string(end_ - at) + " left in its level");
  }

  [[noreturn, gnu::cold, gnu::noinline]] void fail(const Byte* element, const std::string& reason) const {
    std::string path;
    for (int i = 0; i < depth_; ++i) {
      path += printable(keyOf(levels_[i].element)) + '.';
      if (static_cast<Type>(*levels_[i].element) == Type::codeWithScope) path += "$scope.";
    }
    path += printable(keyOf(element));
    std::string message = "malformed document, " + std::string(traitsOf(static_cast<Type>(*element)).name);
    message += " under \"" + path + "\": " + reason;
    throw Error(Error::Kind::document, message, {path});
  }

  /// A key that may lack its end.
  std::string_view keyOf(const Byte* element) const {
    const std::string_view rest(reinterpret_cast<const char*>(element + 1),
                                static_cast<std::size_t>(data_ + size_ - element) - 1);
    return rest.substr(0, rest.find('\0'));
  }

  [[noreturn, gnu::cold]] static void failWhole(const std::string& reason) {
    throw Error(Error::Kind::document, "malformed document: " + reason);
  }

  const Byte* data_;
  std::size_t size_;
  Subject subject_;
  const Byte* end_ = nullptr;
  int depth_ = 0;
  Level levels_[maximumDepth + levelsAroundResult];
};

}  // namespace

View validate(const void* data, std::size_t size) {
  return Validator(static_cast<const Byte*>(data), size, Validator::Subject::document).run();
}

View validateAnswer(const void* data, std::size_t size) {
  return Validator(static_cast<const Byte*>(data), size, Validator::Subject::answer).run();
}

}  // namespace database_client::bson
