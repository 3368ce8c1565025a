// SPDX-License-Identifier: Apache-2.0
#include "importing/JsonScanner.h"

#include "importing/Row.h"
#include "values/Text.h"

namespace database_provider::importing {

namespace {

bool isBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

}  // namespace

void JsonScanner::fail(const std::string& reason) const {
  throw ImportError(file_->path() + ":" + std::to_string(line_) + ": not JSON: " + reason);
}

char JsonScanner::skipBlanks() {
  while (isBlank(file_->peek())) line_ += file_->take() == '\n' ? 1 : 0;
  return file_->peek();
}

void JsonScanner::expect(char c, const char* what) {
  if (skipBlanks() != c || !file_->hasMore()) fail(std::string("expected ") + what);
  file_->take();
}

/// A text of JSON with its quotes.
void JsonScanner::takeText(std::string* text) {
  const auto take = [&] {
    if (!file_->hasMore()) fail("a text has no end");
    const char c = file_->take();
    if (text != nullptr) *text += c;
    if (c == '\n') ++line_;
    return c;
  };
  take();
  for (char c = take(); c != '"'; c = take()) {
    if (c == '\\') take();
  }
}

std::string JsonScanner::takeKey() {
  std::string text;
  if (skipBlanks() != '"') fail("expected a key");
  takeText(&text);
  expect(':', "a colon");
  try {
    return ObjectProperties::fromJson("{\"key\":" + text + "}").valueAsString("key", "");
  } catch (const database_client::Error&) {
    fail("the key " + values::excerpt(text) + " is no text");
  }
}

/// A value as a whole: what stands in it is not looked at but for its brackets and texts.
void JsonScanner::takeValue(std::string* text) {
  std::size_t depth = 0;
  skipBlanks();
  for (;;) {
    if (!file_->hasMore()) fail("the document has no end");
    const char c = file_->peek();
    if (depth == 0 && (c == ',' || c == '}' || c == ']' || isBlank(c))) return;
    if (c == '"') {
      takeText(text);
    } else {
      depth += c == '{' || c == '[' ? 1 : 0;
      depth -= c == '}' || c == ']' ? 1 : 0;
      line_ += c == '\n' ? 1 : 0;
      file_->take();
      if (text != nullptr) *text += c;
      if (depth > 0 || (c != '}' && c != ']')) continue;
    }
    if (text != nullptr && text->size() > maximalRowSize)
      throw ImportError(file_->path() + ":" + std::to_string(line_) + ": a value is longer than " + maximalRowSizeText);
    if (depth == 0) return;
  }
}

/// Whether a comma follows rather than the end of the object.
bool JsonScanner::hasAnotherMember() {
  const char c = skipBlanks();
  if (c != ',' && c != '}') fail("expected a comma or the end of the object");
  file_->take();
  return c == ',';
}

/// `step` is given each key, takes the value, and says whether to go on.
template <class Step>
void JsonScanner::forEachMember(const Step& step) {
  expect('{', "an object");
  if (skipBlanks() == '}') {
    file_->take();
    return;
  }
  do {
    if (!step(takeKey())) return;
  } while (hasAnotherMember());
}

bool JsonScanner::enter(std::string_view path) {
  if (skipBlanks() != '{') return false;
  bool isFound = false;
  forEachMember([&](const std::string& key) {
    ++depth_;
    const bool isWhole = key == path;
    const bool isOnTheWay =
        !isWhole && path.size() > key.size() && path[key.size()] == '.' && path.substr(0, key.size()) == key;
    isFound = isWhole || (isOnTheWay && skipBlanks() == '{' && enter(path.substr(key.size() + 1)));
    if (isFound) return false;
    --depth_;
    takeValue(nullptr);  // nothing, where an object was entered in vain
    return true;
  });
  return isFound;
}

void JsonScanner::leave() {
  for (; depth_ > 0; --depth_) {
    while (hasAnotherMember()) {
      takeKey();
      takeValue(nullptr);
    }
  }
}

std::string JsonScanner::membersBut(std::string_view key) {
  std::string result;
  forEachMember([&](const std::string& found) {
    if (found == key) {
      takeValue(nullptr);
      return true;
    }
    ObjectProperties quoted;
    quoted.setValueBool(found, true);
    const std::string member = quoted.toJson();  // {"key": true}
    result += (result.empty() ? "" : ", ") + member.substr(1, member.rfind("true") - 1);
    takeValue(&result);
    return true;
  });
  return "{" + result + "}";
}

std::vector<std::string> JsonScanner::arrays() {
  std::vector<std::string> result;
  forEachMember([&](const std::string& key) {
    if (skipBlanks() == '[') result.push_back(key);
    takeValue(nullptr);
    return true;
  });
  return result;
}

}  // namespace database_provider::importing
