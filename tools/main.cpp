// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <clocale>
#include <cstdlib>
#include <iostream>
#include <new>
#include <stdexcept>

#include "database_client/codes.h"
#include "database_provider/version.h"
#include "tools/commands/commands.h"
#include "tools/core/Session.h"
#include "tools/core/storeNames.h"
#include "tools/serve/serve.h"
#include "tools/terminal/Interrupt.h"
#include "tools/terminal/Terminal.h"
#include "values/Text.h"

namespace database_provider::recordctl {

namespace {

using values::printableLines;

using database_client::Error;
namespace code = database_client::code;

/// What was typed is wrong, although stores refuse it as they refuse what they cannot do.
bool isAboutArguments(int code) {
  return code == code::userNotFound || code == code::roleNotFound || code == code::passwordRequired ||
         code == code::userExists;
}

ExitStatus statusOf(const Error& error) {
  switch (error.kind()) {
    case Error::Kind::document:
    case Error::Kind::query:
    case Error::Kind::unsupported:
      return ExitStatus::wrongUse;
    case Error::Kind::duplicateKey:
      return ExitStatus::someFailed;
    case Error::Kind::server:
      return isAboutArguments(error.code()) ? ExitStatus::wrongUse : ExitStatus::storeRefused;
    default:
      return ExitStatus::storeRefused;
  }
}

/// What fails after a request to stop, such as a connection in the making, fails because of it.
ExitStatus fail(const std::exception& error, ExitStatus status) {
  std::cout.flush();
  std::cerr << "recordctl: " << printableLines(wasInterrupted() ? Interrupted().what() : error.what()) << '\n';
  return wasInterrupted() ? ExitStatus::interrupted : status;
}

void addCommands(const Command& root, Session& session) {
  constexpr std::array add = {addImport,   addImportSumo, addList,   addShow,     addNames,  addCategoriesCommand,
                              addFacets,   addSources,    addExport, addAdd,      addSet,    addRename,
                              addConvert,  addRemove,     addUsers,  addSettings, addInit,   addExplain,
                              addCheck,    addCompact,    addCopy,   addInfo,     addCount,  addStats,
                              addCoverage, addCompare,    addDoctor, addFiles,    addBackup, addRestore,
                              addServe};
  for (const auto& command : add) command(root, session);
}

void addGlobalOptions(const Command& root, GlobalOptions& options) {
  root.option("--store", "ADDRESS", options.store,
              "file:PATH, a host, HOST:PORT, mongodb://... or @NAME; else RECORDCTL_STORE", Traits::emptyOr(addressOf));
  root.option("--user", "NAME", options.login.user, "who asks, else RECORDCTL_USER; without it nobody in particular",
              Traits::emptyToo());
  root.option("--password-file", "FILE", options.login.passwordFile,
              "a file with the password; else RECORDCTL_PASSWORD or a prompt");
  root.flag("--json", options.json, "results as JSON, an object a line");
}

constexpr const char* footer =
    "\"recordctl help COMMAND\" tells more of a command.\n\n"
    "Exit status: 0 done, 1 some rows or records failed, 2 wrong use or input, 3 the store is out of reach or\n"
    "refused, 130 interrupted.";

ExitStatus run(int argc, const char* const* argv) {
  const CommandLine commandLine("recordctl", "Keeps records of experiments and scenarios in a document store.",
                                DATABASE_PROVIDER_VERSION);
  Session session;
  if (const char* store = std::getenv("RECORDCTL_STORE")) session.options.store = addressOf(store);
  if (const char* user = std::getenv("RECORDCTL_USER")) session.options.login.user = user;
  addGlobalOptions(commandLine.root(), session.options);
  addCommands(commandLine.root(), session);
  addCompletion(commandLine, session);
  commandLine.root().footer(footer);
  commandLine.run(argc, argv);
  session.passedOver().finish();
  if (!std::cout.flush()) throw UsageError("standard output cannot be written");
  checkInterrupt();
  return session.status();
}

}  // namespace

ExitStatus runAndTell(int argc, const char* const* argv) {
  try {
    return run(argc, argv);
  } catch (const Interrupted& error) {
    return fail(error, ExitStatus::interrupted);
  } catch (const StoreError& error) {
    return fail(error, ExitStatus::storeRefused);
  } catch (const Error& error) {
    return fail(error, statusOf(error));
  } catch (const std::bad_alloc&) {
    return fail(std::runtime_error("there is not enough memory"), ExitStatus::wrongUse);
  } catch (const std::exception& error) {
    return fail(error, ExitStatus::wrongUse);
  }
}

}  // namespace database_provider::recordctl

int main(int argc, char** argv) {
  static_cast<void>(std::setlocale(LC_CTYPE, "C.UTF-8"));
  database_provider::recordctl::reserveStandardStreams();
  database_provider::recordctl::watchForInterrupts();
  return static_cast<int>(database_provider::recordctl::runAndTell(argc, argv));
}
