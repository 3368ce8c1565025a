#include "tools/input/BadRows.h"

#include <iostream>

#include "tools/core/Text.h"

namespace database_provider::recordctl {

namespace {

constexpr std::size_t toldInFull = 20;

}  // namespace

void BadRows::add(const std::string& file, std::size_t row, const std::string& column, const std::string& reason) {
  add(file + ":" + std::to_string(row), column, reason);
}

void BadRows::add(const std::string& file, const std::string& column, const std::string& reason) {
  if (++count_ > toldInFull) return;
  beforeLine_();
  std::cerr << file << ": " << (column.empty() ? "" : printable(column) + ": ") << printable(reason) << '\n';
}

void BadRows::finish() const {
  if (count_ <= toldInFull) return;
  beforeLine_();
  std::cerr << "recordctl: and " << count_ - toldInFull << " more bad rows\n";
}

}  // namespace database_provider::recordctl
