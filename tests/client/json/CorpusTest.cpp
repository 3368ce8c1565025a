// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "client/bson/hex.h"
#include "client/bson/validate.h"
#include "client/json/json.h"
#include "database_client/Error.h"
#include "database_client/ObjectProperties.h"

namespace database_client {
namespace {

using bson::Byte;
using Json = nlohmann::ordered_json;
using Bytes = std::vector<Byte>;

/// A folder of files in the form of the BSON corpus: "valid", "decodeErrors" and "parseErrors".
struct Folder {
  std::string name;
  std::filesystem::path path;
};

void PrintTo(const Folder& folder, std::ostream* out) {
  *out << folder.path.string();
}

Folder corpus() {
  const char* const path = std::getenv("DATABASE_BSON_CORPUS");
  return {"Corpus", path != nullptr ? path : DATABASE_SOURCE_DIR "/../shared/data/bson-corpus"};
}

Folder ownVectors() {
  return {"Own", DATABASE_SOURCE_DIR "/tests/client/bson/vectors"};
}

Bytes fromHex(const std::string& hex) {
  Bytes bytes(hex.size() / 2);
  EXPECT_TRUE(bson::parseHex(hex, bytes.data(), bytes.size())) << hex;
  return bytes;
}

std::string toHex(const Bytes& bytes) {
  std::string hex(2 * bytes.size(), '0');
  bson::writeHex(bytes.data(), bytes.size(), hex.data(), bson::upperHexDigits);
  return hex;
}

std::string upper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](char c) { return static_cast<char>(std::toupper(c)); });
  return text;
}

/// The JSON text of a document in a form that is the same for all texts that mean the same.
std::string normal(const std::string& json) {
  return Json::parse(json).dump();
}

std::string written(const Bytes& bytes, JsonMode mode) {
  try {
    return normal(json::write(bson::validate(bytes.data(), bytes.size()), mode));
  } catch (const Error& error) {
    return error.what();
  }
}

std::string read(const std::string& text) {
  try {
    return toHex(json::read(text));
  } catch (const Error& error) {
    return error.what();
  }
}

std::string rewritten(const std::string& text, JsonMode mode) {
  try {
    return written(json::read(text), mode);
  } catch (const Error& error) {
    return error.what();
  }
}

/// What a document gives back: the bytes as they came, and the same JSON as its parts do.
void checkDocument(const Bytes& bytes) {
  const ObjectProperties document = ObjectProperties::fromBson(bytes.data(), bytes.size());
  EXPECT_EQ(document.toBson(), bytes);
  const std::string canonical = document.toJson(JsonMode::canonical);
  EXPECT_EQ(normal(canonical), written(bytes, JsonMode::canonical));
  EXPECT_EQ(normal(document.toJson()), written(bytes, JsonMode::relaxed));
  EXPECT_EQ(toHex(ObjectProperties::fromJson(canonical).toBson()), read(canonical));
}

void checkValid(const Json& test) {
  const std::string hex = upper(test.at("canonical_bson"));
  const std::string canonical = test.at("canonical_extjson");
  const bool isLossy = test.value("lossy", false);
  checkDocument(fromHex(hex));
  EXPECT_EQ(written(fromHex(hex), JsonMode::canonical), normal(canonical));
  EXPECT_EQ(rewritten(canonical, JsonMode::canonical), normal(canonical));
  if (!isLossy) {
    EXPECT_EQ(read(canonical), hex);
  }
  if (test.contains("relaxed_extjson")) {
    const std::string relaxed = test.at("relaxed_extjson");
    EXPECT_EQ(written(fromHex(hex), JsonMode::relaxed), normal(relaxed));
    EXPECT_EQ(rewritten(relaxed, JsonMode::relaxed), normal(relaxed));
  }
  if (test.contains("degenerate_bson")) {
    checkDocument(fromHex(test.at("degenerate_bson")));
    EXPECT_EQ(written(fromHex(test.at("degenerate_bson")), JsonMode::canonical), normal(canonical));
  }
  if (test.contains("degenerate_extjson")) {
    const std::string degenerate = test.at("degenerate_extjson");
    EXPECT_EQ(rewritten(degenerate, JsonMode::canonical), normal(canonical));
    if (!isLossy) {
      EXPECT_EQ(read(degenerate), hex);
    }
  }
}

void checkDecodeError(const Json& test) {
  const Bytes bytes = fromHex(test.at("bson"));
  try {
    ObjectProperties::fromBson(bytes.data(), bytes.size());
    ADD_FAILURE() << "accepted";
  } catch (const Error& error) {
    EXPECT_EQ(error.kind(), Error::Kind::document);
    if (test.contains("message")) {
      EXPECT_EQ(std::string(error.what()), test.at("message").get<std::string>());
    }
  }
}

/// The files about decimals hold the number alone.
void checkParseError(const Json& test, bool isDecimal) {
  const std::string text = test.at("string");
  const Json decimal{{"d", {{"$numberDecimal", text}}}};
  try {
    ObjectProperties::fromJson(isDecimal ? decimal.dump() : text);
    ADD_FAILURE() << "accepted";
  } catch (const Error& error) {
    EXPECT_EQ(error.kind(), Error::Kind::document);
    if (test.contains("message")) {
      EXPECT_EQ(std::string(error.what()), test.at("message").get<std::string>());
    }
  }
}

struct Counts {
  int valid = 0;
  int decodeErrors = 0;
  int parseErrors = 0;
};

void checkFile(const std::filesystem::path& path, Counts& counts) {
  std::ifstream file(path);
  const Json content = Json::parse(file);
  const auto each = [&](const char* section, int& count, const auto& check) {
    for (const Json& test : content.value(section, Json::array())) {
      SCOPED_TRACE(path.filename().string() + ": " + test.at("description").get<std::string>());
      check(test);
      ++count;
    }
  };
  const bool isDecimal = content.at("bson_type") == "0x13";
  each("valid", counts.valid, checkValid);
  each("decodeErrors", counts.decodeErrors, checkDecodeError);
  each("parseErrors", counts.parseErrors, [isDecimal](const Json& test) { checkParseError(test, isDecimal); });
}

class Vectors : public testing::TestWithParam<Folder> {};

TEST_P(Vectors, EveryCaseIsReadAndWrittenAsItSays) {
  if (!std::filesystem::exists(GetParam().path)) {
    GTEST_SKIP() << "no folder " << GetParam().path << " (DATABASE_BSON_CORPUS names another)";
  }
  Counts counts;
  for (const auto& entry : std::filesystem::directory_iterator(GetParam().path)) {
    if (entry.path().extension() == ".json") checkFile(entry.path(), counts);
  }
  std::cout << GetParam().path.string() << ": checked " << counts.valid << " valid cases, " << counts.decodeErrors
            << " decode errors, " << counts.parseErrors << " parse errors" << std::endl;
  EXPECT_GT(counts.valid, 0);
  EXPECT_GT(counts.decodeErrors, 0);
  EXPECT_GT(counts.parseErrors, 0);
}

INSTANTIATE_TEST_SUITE_P(Json, Vectors, testing::Values(ownVectors(), corpus()),
                         [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace database_client
