// SPDX-License-Identifier: Apache-2.0

// Runs one thing in a process of its own and tells in one line what it did to that process.

#include <mongoc/mongoc.h>
#include <unistd.h>

#include <clocale>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include "database_client/DataBaseClient.h"
#include "tests/client/server/growth.h"

namespace {

using database_client::DataBaseClient;
using database_client::ObjectProperties;

void use(const std::string& host) {
  DataBaseClient client;
  std::list<ObjectProperties*> documents;
  if (!client.connect("", host, 1, "", "")) return;
  client.find("d", "c", ObjectProperties(), ObjectProperties(), documents, 0, 0);
  for (const ObjectProperties* document : documents) delete document;
  std::string id;
  const ObjectProperties document;
  client.insert("d", "c", &document, id);
  client.disconnect();
}

int heard = 0;

// Counts the lines that the driver logs when a user is refused, while this program has a handler of its own.
void log(const std::string& host) {
  mongoc_log_set_handler([](mongoc_log_level_t, const char*, const char*, void*) { ++heard; }, nullptr);
  DataBaseClient client;
  client.connect("", host + "?connectTimeoutMS=500&unknownOption=1", 1, "anna", "pw");
  std::cout << (heard > 0 ? "heard" : "silent") << '\n';
}

std::vector<struct sigaction> signalActions() {
  std::vector<struct sigaction> actions;
  for (int signal = 1; signal < NSIG; ++signal) {
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    actions.push_back(action);
  }
  return actions;
}

sigset_t blockedSignals() {
  sigset_t signals;
  sigprocmask(SIG_SETMASK, nullptr, &signals);
  return signals;
}

bool areSame(const sigset_t& left, const sigset_t& right) {
  for (int signal = 1; signal < NSIG; ++signal) {
    if (sigismember(&left, signal) != sigismember(&right, signal)) return false;
  }
  return true;
}

void surprises(const std::string& host) {
  const std::vector<struct sigaction> before = signalActions();
  const sigset_t blocked = blockedSignals();
  const std::string locale = setlocale(LC_ALL, nullptr);
  use(host);
  DataBaseClient open;
  if (!open.connect("", host, 1, "", "")) return;
  const std::vector<struct sigaction> after = signalActions();
  std::string changed;
  for (std::size_t i = 0; i < before.size(); ++i) {
    if (before[i].sa_handler != after[i].sa_handler) changed += " " + std::to_string(i + 1);
  }
  if (!areSame(blocked, blockedSignals())) changed += " mask";
  if (locale != setlocale(LC_ALL, nullptr)) changed += " locale";
  std::cout << "threads " << database_test::entriesOf("/proc/self/task") << ", changed"
            << (changed.empty() ? " nothing" : changed) << '\n';
}

// The file in which the driver would keep its counters, once something was done and before the end.
void counters(const std::string& host) {
  use(host);
  const std::string path = "/dev/shm/mongoc-" + std::to_string(getpid());
  std::cout << (access(path.c_str(), F_OK) == 0 ? "left" : "gone") << '\n';
}

// A program that uses the driver itself, before, beside and after this library.
void own(const std::string& host) {
  bson_t ping;
  bson_init(&ping);
  bson_append_int32(&ping, "ping", -1, 1);
  const auto works = [&](mongoc_client_t* client) {
    return mongoc_client_command_simple(client, "admin", &ping, nullptr, nullptr, nullptr);
  };
  mongoc_init();
  mongoc_client_t* before = mongoc_client_new(host.c_str());
  use(host);
  mongoc_client_t* after = mongoc_client_new(host.c_str());
  std::cout << (works(before) && works(after) ? "works" : "fails") << '\n';
  mongoc_client_destroy(before);
  mongoc_client_destroy(after);
  bson_destroy(&ping);
  mongoc_cleanup();
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  if (arguments.size() < 2) return EXIT_FAILURE;
  const std::string& what = arguments[0];
  const std::string& host = arguments[1];
  const int rounds = arguments.size() > 2 ? std::atoi(arguments[2].c_str()) : 0;
  if (what == "log") log(host);
  if (what == "surprises") surprises(host);
  if (what == "own") own(host);
  if (what == "counters") counters(host);
  if (what == "rounds") std::cout << database_test::growth(rounds, [&] { use(host); }) << '\n';
  return EXIT_SUCCESS;
}
