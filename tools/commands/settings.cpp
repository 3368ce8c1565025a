// SPDX-License-Identifier: Apache-2.0
#include <iostream>
#include <memory>
#include <set>

#include "importing/InputFile.h"
#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/core/StoreParts.h"
#include "tools/input/InputSource.h"
#include "tools/terminal/Terminal.h"
#include "values/Text.h"

namespace database_provider::recordctl {

namespace {

using values::inQuotes;
using values::printable;

struct SettingsOptions {
  std::string user{};
  std::string tag{};
  std::string json = "-";
  bool all = false;
};

ObjectProperties queryOf(const SettingsOptions& options) {
  ObjectProperties query;
  query.setValueString("user", options.user);
  if (!options.tag.empty()) query.setValueString("tag", options.tag);
  return query;
}

std::string textOf(const SettingsOptions& options) {
  if (options.json != "-") return options.json;
  if (standardInputIsTerminal()) std::cerr << "recordctl: type the block; Ctrl-D on a line of its own ends it\n";
  importing::InputFile input("-", awaitedBytes("-"));
  std::string result;
  while (input.hasMore()) result += input.takeChunk();
  return result;
}

void set(Session& session, const SettingsOptions& options) {
  const ObjectProperties data = ObjectProperties::fromJson(textOf(options));
  session.users(Access::create)->addUserData(options.user, options.tag, data);
}

/// Tells when there is nothing; reading alone cannot tell that from an empty block.
bool exists(Session& session, const SettingsOptions& options) {
  const StorePart& part = settingsPart();
  if (session.store(Access::existing).count(part.database, part.collection, queryOf(options)) > 0) return true;
  std::cerr << "recordctl: " << inQuotes(options.user) << " has no settings"
            << (options.tag.empty() ? "" : " under " + inQuotes(options.tag)) << '\n';
  session.noteFailure();
  return false;
}

void writeTag(const Session& session, const std::string& tag) {
  if (!session.json()) {
    std::cout << printable(tag) << '\n';
    return;
  }
  ObjectProperties result;
  result.setValueString("tag", tag);
  writeJson(result);
}

void writeTags(Session& session, const SettingsOptions& options) {
  const StorePart& part = settingsPart();
  std::set<std::string> tags;
  session.store(Access::existing)
      .findEach(part.database, part.collection, queryOf(options), ObjectProperties(), 0, 0,
                [&](ObjectProperties& document) {
                  tags.insert(document.valueAsString("tag", ""));
                  return true;
                });
  for (const std::string& tag : tags) writeTag(session, tag);
}

void get(Session& session, const SettingsOptions& options) {
  if (!exists(session, options)) return;
  if (options.tag.empty()) return writeTags(session, options);
  ObjectProperties data;
  session.users(Access::existing)->getUserData(options.user, options.tag, data);
  writeJson(data);
}

void remove(Session& session, const SettingsOptions& options) {
  if (options.tag.empty() != options.all) throw UsageError("give a TAG, or --all for all settings of the user");
  if (!exists(session, options)) return;
  const auto users = session.users(Access::existing);
  if (options.all)
    users->removeAllUserData(options.user);
  else
    users->removeUserData(options.user, options.tag);
}

Command addFor(const Command& parent, const char* name, const char* help, SettingsOptions& options) {
  const Command command = parent.add(name, help);
  command.argument("USER", options.user, "whose settings");
  return command;
}

}  // namespace

void addSettings(const Command& commands, Session& session) {
  auto options = std::make_shared<SettingsOptions>();
  const Command command = commands.add("settings", "Blocks of settings that users keep");
  const Command setting = addFor(command, "set", "Store a block", *options);
  setting.argument("TAG", options->tag, "the block's name");
  setting.argument("JSON", options->json, "the block; - (the default) reads standard input", Traits::optional());
  setting.run([&session, options] { set(session, *options); });
  const Command getting = addFor(command, "get", "Write a block, or the names of all", *options);
  getting.argument("TAG", options->tag, "the block's name", Traits::optional());
  getting.run([&session, options] { get(session, *options); });
  const Command removing = addFor(command, "remove", "Remove a block", *options);
  removing.argument("TAG", options->tag, "the block's name", Traits::optional());
  removing.flag("--all", options->all, "every block of the user");
  removing.run([&session, options] { remove(session, *options); });
}

}  // namespace database_provider::recordctl
