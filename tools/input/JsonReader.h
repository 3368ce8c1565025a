// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "tools/input/InputFile.h"
#include "tools/input/RowReader.h"

namespace database_provider::recordctl {

/// The rows of a file that is one JSON array of objects. What is no JSON ends the reading, since nobody could tell
/// where the next row begins.
class JsonArrayReader : public RowReader {
 public:
  explicit JsonArrayReader(const std::string& path);

  bool next(Row& row) override;
  const std::vector<std::string>& header() const override { return header_; }
  std::uint64_t position() const override { return file_.position(); }
  std::uint64_t size() const override { return file_.size(); }

 private:
  char skipBlanks();
  bool toNextRow();
  [[noreturn]] void fail(const std::string& reason) const;

  InputFile file_;
  std::vector<std::string> header_{};
  std::size_t rows_ = 0;
  std::size_t line_ = 1;
  bool atEnd_ = false;
};

/// The rows of a file with one JSON object on each line; empty lines are passed over.
class JsonLinesReader : public RowReader {
 public:
  explicit JsonLinesReader(const std::string& path) : file_(path) {}

  bool next(Row& row) override;
  const std::vector<std::string>& header() const override { return header_; }
  std::uint64_t position() const override { return file_.position(); }
  std::uint64_t size() const override { return file_.size(); }

 private:
  InputFile file_;
  std::vector<std::string> header_{};
  std::size_t rows_ = 0;
  std::size_t line_ = 0;
};

}  // namespace database_provider::recordctl
