// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bson/bson.h>

#include <string>
#include <vector>

/// One record as libbson writes it: 5 categories, 20 descriptions, half of them numbers, 3 files and a user block.
namespace record {

struct Texts {
  std::vector<std::string> index, names, values;
  Texts() {
    for (int i = 0; i < 20; ++i) {
      index.push_back(std::to_string(i));
      names.push_back("description or category " + std::to_string(i));
      values.push_back("a value of some length " + std::to_string(i));
    }
  }
};
inline const Texts texts;  // NOLINT(cert-err58-cpp): a benchmark may end when it cannot begin

inline void appendText(bson_t* to, const char* key, const std::string& value) {
  bson_append_utf8(to, key, -1, value.data(), static_cast<int>(value.size()));
}

inline void appendCategories(bson_t* info) {
  bson_t list, item;
  BSON_APPEND_ARRAY_BEGIN(info, "category", &list);
  for (std::size_t i = 0; i < 5; ++i) {
    BSON_APPEND_DOCUMENT_BEGIN(&list, texts.index[i].c_str(), &item);
    appendText(&item, "name", texts.names[i]);
    appendText(&item, "value", texts.values[i]);
    bson_append_document_end(&list, &item);
  }
  bson_append_array_end(info, &list);
}

inline void appendDescriptions(bson_t* info) {
  bson_t list, item;
  BSON_APPEND_ARRAY_BEGIN(info, "description", &list);
  for (std::size_t i = 0; i < 20; ++i) {
    BSON_APPEND_DOCUMENT_BEGIN(&list, texts.index[i].c_str(), &item);
    appendText(&item, "name", texts.names[i]);
    if (i % 2 == 0) {
      BSON_APPEND_DOUBLE(&item, "value", static_cast<double>(i) * 0.5);
      BSON_APPEND_INT32(&item, "type", 8);
    } else {
      appendText(&item, "value", texts.values[i]);
      BSON_APPEND_INT32(&item, "type", 4);
    }
    bson_append_document_end(&list, &item);
  }
  bson_append_array_end(info, &list);
}

inline void appendFiles(bson_t* info) {
  bson_t additional, list, item;
  BSON_APPEND_DOCUMENT_BEGIN(info, "additionalData", &additional);
  BSON_APPEND_ARRAY_BEGIN(&additional, "files", &list);
  for (std::size_t i = 0; i < 3; ++i) {
    BSON_APPEND_DOCUMENT_BEGIN(&list, texts.index[i].c_str(), &item);
    appendText(&item, "fileId", texts.index[i]);
    BSON_APPEND_INT32(&item, "type", 3);
    appendText(&item, "host", texts.names[i]);
    appendText(&item, "path", texts.values[i]);
    bson_append_document_end(&list, &item);
  }
  bson_append_array_end(&additional, &list);
  bson_append_document_end(info, &additional);
}

inline void append(bson_t* d) {
  bson_t info;
  BSON_APPEND_DOCUMENT_BEGIN(d, "recordInfo", &info);
  appendCategories(&info);
  appendDescriptions(&info);
  appendFiles(&info);
  bson_append_document_end(d, &info);
  appendText(d, "user", texts.names[0]);
  appendText(d, "comment", texts.values[0]);
}

/// The tenth description, found by its name.
inline double readTenth(const bson_t* d) {
  bson_iter_t at, found, item;
  bson_iter_init(&at, d);
  if (!bson_iter_find_descendant(&at, "recordInfo.description", &found) || !bson_iter_recurse(&found, &item)) return 0;
  while (bson_iter_next(&item)) {
    bson_iter_t field;
    bson_iter_recurse(&item, &field);
    bson_iter_find(&field, "name");
    if (bson_iter_utf8(&field, nullptr) != texts.names[10]) continue;
    bson_iter_find(&field, "value");
    return bson_iter_double(&field);
  }
  return 0;
}

}  // namespace record
