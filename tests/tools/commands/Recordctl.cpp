// SPDX-License-Identifier: Apache-2.0
#include "tests/tools/commands/Recordctl.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "tests/support/Process.h"

namespace {

namespace fs = std::filesystem;

/// What a file holds; a device has nothing to say.
std::string read(const fs::path& path) {
  if (!fs::is_regular_file(path)) return "";
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (std::string& text : texts) result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

void redirect(int descriptor, const std::string& path, int flags) {
  const int opened = ::open(path.c_str(), flags, 0600);
  if (opened < 0 || ::dup2(opened, descriptor) < 0) ::_exit(126);
}

bool namesAnother(const std::string& argument) {
  return argument == "--store" || argument == "--from-user";
}

Outcome waitFor(pid_t process) {
  int waited = 0;
  rusage usage{};
  while (::wait4(process, &waited, 0, &usage) < 0) {
    if (errno != EINTR) throw std::runtime_error(std::strerror(errno));
  }
  Outcome result;
  result.status = WIFEXITED(waited) ? WEXITSTATUS(waited) : 1000 + WTERMSIG(waited);
  if (WIFSIGNALED(waited)) database_test::removeSharedMemoryOf(process);
  result.peak = usage.ru_maxrss;
  return result;
}

}  // namespace

std::vector<std::string> Recordctl::commandWith(const std::vector<std::string>& arguments) const {
  std::vector<std::string> command{RECORDCTL_PATH};
  if (std::none_of(arguments.begin(), arguments.end(), namesAnother))
    command.insert(command.end(), login.begin(), login.end());
  command.insert(command.end(), arguments.begin(), arguments.end());
  return command;
}

std::vector<std::string> Recordctl::environmentOfRun() const {
  std::vector<std::string> result;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string text = *entry;
    const std::string name = text.substr(0, text.find('='));
    const bool isOurs = name.compare(0, 10, "RECORDCTL_") == 0 || name == "COLUMNS" || name == "NO_COLOR";
    if (!isOurs && environment.count(name) == 0) result.push_back(text);
  }
  auto added = environment;
  added.emplace("RECORDCTL_STORE", "file:" + path("store.db"));
  for (const auto& [name, value] : added) result.push_back(name + "=" + value);
  return result;
}

pid_t Recordctl::start(const std::vector<std::string>& arguments, const std::string& input) const {
  return startProgram(commandWith(arguments), input);
}

pid_t Recordctl::startProgram(std::vector<std::string> command, const std::string& input) const {
  file("stdin", input);
  std::vector<std::string> variables = environmentOfRun();
  const auto argv = pointersTo(command);
  const auto envp = pointersTo(variables);
  const std::string in = path("stdin");
  const std::string out = path("stdout");
  const std::string err = path("stderr");
  // Threads of a relay may be running: nothing in the child may allocate.
  const pid_t process = ::fork();
  if (process == 0) {
    redirect(STDIN_FILENO, in, O_RDONLY);
    redirect(STDOUT_FILENO, out, O_WRONLY | O_CREAT | O_TRUNC);
    redirect(STDERR_FILENO, err, O_WRONLY | O_CREAT | O_TRUNC);
    for (const int stream : closed) ::close(stream);
    for (const int signal : ignored) std::signal(signal, SIG_IGN);
    ::execve(argv[0], argv.data(), envp.data());
    ::_exit(127);
  }
  return process;
}

Outcome Recordctl::finish(pid_t process) const {
  Outcome outcome = waitFor(process);
  outcome.out = read(path("stdout"));
  outcome.err = read(path("stderr"));
  return outcome;
}

Outcome Recordctl::runScript(const std::string& script) const {
  std::vector<std::string> command{"/usr/bin/env", "-C", folder_.path(), "python3", script};
  for (std::string& word : commandWith({})) command.push_back(std::move(word));
  return finish(startProgram(std::move(command), ""));
}

Outcome Recordctl::run(const std::vector<std::string>& arguments, const std::string& input) const {
  return finish(start(arguments, input));
}

std::unique_ptr<database_test::Terminal> Recordctl::onTerminal(const std::vector<std::string>& arguments,
                                                               unsigned short columns) const {
  return std::make_unique<database_test::Terminal>(commandWith(arguments), environmentOfRun(), columns);
}

std::string Recordctl::output(const std::vector<std::string>& arguments, const std::string& input) const {
  const Outcome outcome = run(arguments, input);
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  return outcome.out;
}

std::string Recordctl::file(const std::string& name, const std::string& content) const {
  std::ofstream(path(name), std::ios::binary) << content;
  return path(name);
}

void Recordctl::importPlots() const {
  const std::string plots = file("plots.json",
                                 R"([{"site": "Waseca", "variety": "Trebi", "yield": 48.5, "year": 1931},
                                     {"site": "Waseca", "variety": "No. 457", "yield": 30, "year": 1932},
                                     {"site": "Morris", "variety": "Trebi", "yield": 29.9, "year": 1932},
                                     {"site": "Morris", "yield": null, "note": {"by": ["x", 1]}}])");
  output({"import", plots, "--category", "site,variety", "--description", "yield:double,year:int"});
}

long long Recordctl::countRecords() const {
  return static_cast<long long>(countLines(output({"list", "--json"})));
}

std::string withoutIds(const std::string& text) {
  const std::string created = "\"created\": {\"$date\": ";
  std::string result;
  for (std::size_t i = 0; i < text.size();) {
    if (text.compare(i, created.size(), created) == 0) {
      i = text.find(", ", i) + 2;
      continue;
    }
    const std::size_t length = std::min(text.find_first_not_of("0123456789abcdef", i), text.size()) - i;
    const std::size_t taken = std::max<std::size_t>(length, 1);
    result += length == 24 ? "ID" : text.substr(i, taken);
    i += taken;
  }
  return result;
}

std::size_t countLines(const std::string& text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}
