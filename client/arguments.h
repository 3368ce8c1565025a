// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "database_client/ObjectProperties.h"

/// What a `DataBaseClient` asks of arguments before an engine sees them. Everything here throws `Error` naming the
/// argument.
namespace database_client::arguments {

void checkDatabase(const std::string& database);
void checkCollection(const std::string& database, const std::string& collection);
/// A user name, password or host: UTF-8 without NUL. `name` is the argument's.
void checkText(const std::string& name, const std::string& value);
/// As `checkText`; nor may it be a text of which nothing is left when it is hashed, which would be an empty password
/// (code 50687). An empty one is left to the engine.
void checkPassword(const std::string& name, const std::string& value);
void checkUser(const std::string& user);
/// Neither may be negative.
void checkPage(int limit, int skip);
/// Keys are paths, values 1 or -1.
void checkSort(const ObjectProperties& sort);
/// Records come behind another in the order of "_id", or in that of the store, where `sort` is empty.
void checkSortOfPages(const ObjectProperties& sort);
/// `name` tells what the document is for.
void checkDocument(const std::string& name, const ObjectProperties& document);
/// Groups of the strings "role" and "db".
void checkRoles(const ObjectProperties& roles);
/// A replacement begins no key with "$".
void checkReplacement(const ObjectProperties& document);

/// The document as a store keeps it: "_id" first, a new one where there is none.
ObjectProperties withId(const ObjectProperties& document);
/// The projection without its false keys, "_id" excepted, when another key is true: servers refuse the mix.
ObjectProperties projectionFor(const ObjectProperties& projection);
/// The stages in the array "pipeline" as a document of their own.
ObjectProperties stagesOf(const ObjectProperties& pipeline);

}  // namespace database_client::arguments
