// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "importing/InputFile.h"

namespace database_provider::importing {

/// Goes through a JSON document without holding it: to the values that somebody wants, past the others, whose brackets
/// alone are looked at. Throws `ImportError` for what is no JSON on the way.
class JsonScanner {
 public:
  explicit JsonScanner(InputFile& file) : file_(&file) {}

  /// Of the byte that is next, from 1.
  std::size_t line() const { return line_; }
  void setLine(std::size_t line) { line_ = line; }
  /// The byte behind blanks, which stays; NUL at the end.
  char skipBlanks();
  /// Stands before the value at a path of keys with dots between them afterwards; false where there is none.
  bool enter(std::string_view path);
  /// Goes on behind the value at the path that was entered, to the end of the document.
  void leave();
  /// The members of the document's object but for one, as the text of an object.
  std::string membersBut(std::string_view key);
  /// The keys of the document's object whose values are arrays.
  std::vector<std::string> arrays();

  [[noreturn]] void fail(const std::string& reason) const;

 private:
  void expect(char c, const char* what);
  std::string takeKey();
  void takeValue(std::string* text);
  void takeText(std::string* text);
  bool hasAnotherMember();
  template <class Step>
  void forEachMember(const Step& step);

  InputFile* file_;
  std::size_t line_ = 1;
  std::size_t depth_ = 0;  ///< the objects around the value that was entered
};

}  // namespace database_provider::importing
