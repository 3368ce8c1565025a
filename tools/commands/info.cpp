// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "tools/commands/commands.h"
#include "tools/core/StoreParts.h"
#include "tools/terminal/Table.h"
#include "values/Time.h"

namespace database_provider::recordctl {

namespace {

using values::formatTime;

using database_client::AccessControl;
using database_client::CollectionSize;

/// The oldest and the newest record, by the time that an object id holds.
constexpr const char* agesPipeline = R"({"pipeline": [
    {"$match": {"_id": {"$type": "objectId"}}},
    {"$group": {"_id": null, "oldest": {"$min": "$_id"}, "newest": {"$max": "$_id"}}}]})";

struct PartInfo {
  const StorePart* part;
  CollectionSize size;
};

struct Ages {
  std::optional<long long> oldest{};
  std::optional<long long> newest{};
};

std::string kindName(RecordKind kind) {
  return kind == RecordKind::experiment ? "experiment" : "scenario";
}

/// An object id begins with the seconds since the epoch.
std::optional<long long> creationOf(const std::string& id) {
  constexpr std::size_t digits = 8;
  constexpr int hexadecimal = 16;
  if (id.size() < digits) return std::nullopt;
  return std::strtoll(id.substr(0, digits).c_str(), nullptr, hexadecimal) * 1000;
}

Ages agesOf(DataBaseClient& client, const StorePart& part) {
  std::list<ObjectProperties*> groups;
  client.aggregate(part.database, part.collection, ObjectProperties::fromJson(agesPipeline), groups);
  Ages result;
  for (ObjectProperties* group : groups) {
    const std::unique_ptr<ObjectProperties> owned(group);
    result = {creationOf(owned->valueAsId("oldest", "")), creationOf(owned->valueAsId("newest", ""))};
  }
  return result;
}

std::optional<long long> bytesOf(const CollectionSize& size) {
  if (!size.documentBytes) return std::nullopt;
  return *size.documentBytes + size.indexBytes.value_or(0);
}

std::string shown(const std::optional<long long>& number) {
  return number ? std::to_string(*number) : "not told";
}

/// The parts that whoever asks may read.
std::vector<PartInfo> readableParts(DataBaseClient& client) {
  std::vector<PartInfo> result;
  for (const StorePart& part : storeParts()) {
    try {
      result.push_back({&part, client.collectionSize(part.database, part.collection)});
    } catch (const database_client::Error& error) {
      if (error.kind() != database_client::Error::Kind::authorization) throw;
      std::cerr << "recordctl: you may not read " << part.name() << '\n';
    }
  }
  return result;
}

void setNumber(ObjectProperties& document, const std::string& key, const std::optional<long long>& number) {
  if (number)
    document.setValueInt64(key, *number);
  else
    document.setValueNull(key);
}

void setTime(ObjectProperties& document, const std::string& key, const std::optional<long long>& time) {
  if (time)
    document.setValueTime(key, *time);
  else
    document.setValueNull(key);
}

ObjectProperties toJson(const PartInfo& info, const Ages& ages) {
  ObjectProperties result;
  result.setValueString("kind", kindName(info.part->kind));
  result.setValueInt64("records", info.size.documents);
  setNumber(result, "bytes", bytesOf(info.size));
  setTime(result, "oldest", ages.oldest);
  setTime(result, "newest", ages.newest);
  return result;
}

std::string userCount(Session& session) {
  try {
    return std::to_string(session.users(Access::existing)->enumUsers().size());
  } catch (const database_client::Error& error) {
    using Kind = database_client::Error::Kind;
    if (error.kind() != Kind::authorization && error.kind() != Kind::unsupported) throw;
    return "not told";
  }
}

const char* accessName(AccessControl access) {
  switch (access) {
    case AccessControl::on:
      return "controlled";
    case AccessControl::off:
      return "not controlled";
    case AccessControl::unknown:
      break;
  }
  return "not told";
}

void writeStore(Session& session, DataBaseClient& client) {
  const AccessControl access = client.accessControl();
  const std::string users = userCount(session);
  std::cout << "format  " << client.describe().format << "\naccess  " << accessName(access) << "\nusers   " << users
            << "\n\n";
  if (access == AccessControl::off) tellUncontrolled(session.options.store);
}

void writeRecords(DataBaseClient& client, const std::vector<PartInfo>& parts) {
  const auto timeOf = [](const std::optional<long long>& time) { return time ? formatTime(*time) : ""; };
  Table table(std::cout, outputLayout(), {{"kind"}, {"records"}, {"bytes"}, {"oldest"}, {"newest"}});
  for (const PartInfo& info : parts) {
    if (info.part->contents != StorePart::Contents::records) continue;
    const Ages ages = agesOf(client, *info.part);
    table.add({{kindName(info.part->kind)},
               {std::to_string(info.size.documents), true},
               {shown(bytesOf(info.size)), true},
               {timeOf(ages.oldest)},
               {timeOf(ages.newest)}});
  }
  table.finish();
}

/// What takes the bytes; of a file also those that belong to no part.
void writeBytes(DataBaseClient& client, const std::vector<PartInfo>& parts) {
  Table table(std::cout, outputLayout(), {{"holds"}, {"bytes"}});
  const auto add = [&](const std::string& name, const std::optional<long long>& bytes) {
    table.add({{name}, {shown(bytes), true}});
  };
  long long sum = 0;
  for (const PartInfo& info : parts) {
    add(info.part->name(), info.size.documentBytes);
    add(info.part->name() + ", index", info.size.indexBytes);
    sum += bytesOf(info.size).value_or(0);
  }
  const auto store = client.describe();
  if (store.bytes) {
    const long long free = store.freeBytes.value_or(0);
    add("free", free);
    add("users, order and what pages leave unused", std::max<long long>(*store.bytes - free - sum, 0));
    add("file", store.bytes);
  }
  std::cout << '\n';
  table.finish();
}

void showInfo(Session& session) {
  DataBaseClient& client = session.store(Access::existing);
  if (!session.json()) writeStore(session, client);
  const std::vector<PartInfo> parts = readableParts(client);
  if (session.json()) {
    for (const PartInfo& info : parts) {
      if (info.part->contents == StorePart::Contents::records) writeJson(toJson(info, agesOf(client, *info.part)));
    }
    return;
  }
  writeRecords(client, parts);
  writeBytes(client, parts);
}

}  // namespace

void addInfo(const Command& commands, Session& session) {
  commands.add("info", "What a store holds: records, bytes, users, and whether access is controlled").run([&session] {
    showInfo(session);
  });
}

}  // namespace database_provider::recordctl
