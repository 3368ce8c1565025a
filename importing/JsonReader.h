// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "importing/InputFile.h"
#include "importing/JsonScanner.h"
#include "importing/Row.h"

namespace database_provider::importing {

/// The rows of a file that is one JSON array of objects, or has one at a path of keys. What is no JSON ends the
/// reading, since nobody could tell where the next row begins.
class JsonArrayReader : public RowReader {
 public:
  explicit JsonArrayReader(std::unique_ptr<InputFile> file, std::string path = {});

  bool next(Row& row) override;
  const std::vector<std::string>& header() const override { return header_; }
  std::uint64_t position() const override { return file_->position(); }
  std::uint64_t size() const override { return file_->size(); }
  bool rewind() override;

 private:
  void start();
  char skipBlanks() { return scanner_.skipBlanks(); }
  [[noreturn]] void failAtStart(char first);
  bool toNextRow();
  [[noreturn]] void fail(const std::string& reason) const;

  std::unique_ptr<InputFile> file_;
  std::string path_;
  JsonScanner scanner_;
  std::vector<std::string> header_{};
  std::size_t rows_ = 0;
  bool atEnd_ = false;
};

/// The rows of a file with one JSON object on each line; empty lines are passed over.
class JsonLinesReader : public RowReader {
 public:
  JsonLinesReader(std::unique_ptr<InputFile> file, bool hasRecords)
      : RowReader(file->path(), hasRecords), file_(std::move(file)) {}

  bool next(Row& row) override;
  const std::vector<std::string>& header() const override { return header_; }
  std::uint64_t position() const override { return file_->position(); }
  std::uint64_t size() const override { return file_->size(); }
  bool rewind() override;

 private:
  std::unique_ptr<InputFile> file_;
  std::vector<std::string> header_{};
  std::size_t rows_ = 0;
  std::size_t line_ = 0;
};

}  // namespace database_provider::importing
