// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace database_provider::recordctl {

/// A file of the page, as it stands in page/; it was built into the program.
struct PageFile {
  std::string_view name;
  std::string_view content;
};

/// Null when there is none of this name.
const PageFile* findPageFile(std::string_view name);

}  // namespace database_provider::recordctl
