// SPDX-License-Identifier: Apache-2.0
#include "tools/serve/serve.h"

#include <iostream>
#include <memory>

#include "tools/serve/Server.h"
#include "tools/terminal/Interrupt.h"
#include "tools/values/Errors.h"

namespace database_provider::recordctl {

namespace {

struct Options {
  int port = 8765;
  bool write = false;
  bool noToken = false;
};

/// The address of the store as the page shows it: not where it may hold a password.
std::string shownStore(const std::string& store) {
  return store.find('@') == std::string::npos ? store : "";
}

void serve(Session& session, const Options& options) {
  constexpr int largestPort = 65535;
  if (const std::string reason = whyNoServer(); !reason.empty()) throw UsageError(reason);
  if (options.port > largestPort) throw UsageError("--port: expected a number up to 65535");
  session.store(Access::existing);  // what is wrong with the address, the user or the store is told before
  session.disconnect();
  OpenOptions login = session.login();
  login.create = false;
  Clients clients(session.options.store, login);
  About about;
  about.store = shownStore(session.options.store);
  about.user = session.options.login.user;
  ServeOptions how;
  how.port = options.port;
  how.mayWrite = options.write;
  how.needsToken = !options.noToken;
  const Server server(how, about, clients);
  std::cout << server.address() << '\n' << std::flush;
  std::cerr << "recordctl: open this address in a browser; Ctrl-C ends it\n";
  constexpr int nothing = -1;
  awaitInput(nothing);
}

}  // namespace

void addServe(const Command& commands, Session& session) {
  auto options = std::make_shared<Options>();
  const Command command = commands.add("serve", "Show the store in the browser");
  command.option("--port", "N", options->port, "the port on this machine, 8765 by default; 0 for any that is free");
  command.flag("--write", options->write, "records can be changed");
  command.flag("--no-token", options->noToken, "let everybody on this machine in, without the token of the address");
  command.footer(
      "Prints the address of a page that finds, sorts, compares, plots and exports records. Only this machine reaches\n"
      "it, and only who has the token in the address, which the browser keeps in a cookie.");
  command.run([&session, options] { serve(session, *options); });
}

}  // namespace database_provider::recordctl
