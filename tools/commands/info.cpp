// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <iostream>
#include <optional>
#include <vector>

#include "tools/commands/commands.h"
#include "tools/core/StoreParts.h"
#include "tools/core/valueText.h"
#include "tools/terminal/Table.h"
#include "values/Time.h"

namespace database_provider::recordctl {

namespace {

using values::formatTime;

using database_client::AccessControl;
using database_client::CollectionSize;

struct PartInfo {
  const StorePart* part;
  CollectionSize size;
};

std::string kindName(RecordKind kind) {
  return kind == RecordKind::experiment ? "experiment" : "scenario";
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

void putTime(ObjectProperties& document, const std::string& key, const std::optional<Time>& time) {
  putValue(document, key, time ? std::optional<Value>(*time) : std::nullopt);
}

ObjectProperties toJson(const PartInfo& info, const KindSummary& summary) {
  ObjectProperties result;
  result.setValueString("kind", kindName(info.part->kind));
  result.setValueInt64("records", summary.records);
  setNumber(result, "bytes", bytesOf(info.size));
  putTime(result, "oldest", summary.oldest);
  putTime(result, "newest", summary.newest);
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

void writeRecords(Session& session, const std::vector<PartInfo>& parts) {
  const auto timeOf = [](const std::optional<Time>& time) { return time ? formatTime(time->milliseconds) : ""; };
  Table table(std::cout, outputLayout(), {{"kind"}, {"records"}, {"bytes"}, {"oldest"}, {"newest"}});
  for (const PartInfo& info : parts) {
    if (info.part->contents != StorePart::Contents::records) continue;
    const KindSummary summary = session.records(info.part->kind).summary();
    table.add({{kindName(info.part->kind)},
               {std::to_string(summary.records), true},
               {shown(bytesOf(info.size)), true},
               {timeOf(summary.oldest)},
               {timeOf(summary.newest)}});
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
      if (info.part->contents == StorePart::Contents::records)
        writeJson(toJson(info, session.records(info.part->kind).summary()));
    }
    return;
  }
  writeRecords(session, parts);
  writeBytes(client, parts);
}

}  // namespace

void addInfo(const Command& commands, Session& session) {
  commands.add("info", "What a store holds: records, bytes, users, and whether access is controlled").run([&session] {
    showInfo(session);
  });
}

}  // namespace database_provider::recordctl
