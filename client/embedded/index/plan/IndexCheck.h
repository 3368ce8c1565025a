// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "client/bson/View.h"
#include "client/embedded/index/items/ItemIndex.h"

namespace database_client::embedded {

/// Gives every document of the collection, with its record number, to the function.
using DocumentScan = std::function<void(const std::function<void(RecordNumber record, bson::View body)>&)>;

/// Compares the index with what it would hold if it were built anew of the documents; one sentence for each record
/// that differs, at most `limit`. Memory does not grow with the collection. Scans the documents once, and once more to
/// tell what differs.
std::vector<std::string> checkIndex(ItemIndex& index, const DocumentScan& scan, std::size_t limit = 20);

}  // namespace database_client::embedded
