// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <memory>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/core/storeNames.h"

namespace database_provider::recordctl {

namespace {

/// Bash takes a line apart at "=" and ":", too, and puts what is chosen in the place of the last of these parts.
constexpr const char* bashScript = R"(# recordctl completion bash > ~/.local/share/bash-completion/completions/recordctl
_recordctl() {
  local word
  COMPREPLY=()
  while IFS= read -r word; do
    COMPREPLY+=("$word")
  done < <("${COMP_WORDS[0]}" complete -- "${COMP_LINE:0:COMP_POINT}" "${COMP_WORDS[COMP_CWORD]}" 2>/dev/null)
}
complete -o default -F _recordctl recordctl
)";

constexpr const char* zshScript = R"(#compdef recordctl
# recordctl completion zsh > a file _recordctl in a folder of $fpath
_recordctl() {
  local -a found
  found=("${(@f)$(${words[1]} complete -- "${(j: :)words[1,CURRENT]}" "" 2>/dev/null)}")
  if [[ -n "$found" ]]; then compadd -U -Q -- $found; else _files; fi
}
compdef _recordctl recordctl
)";

struct CompleteOptions {
  std::string line{};
  std::string part{};
};

/// The store that a line names. Nobody is asked for a password while he types.
class TypedStore {
 public:
  TypedStore(Session& session, const TypedLine& line) : session_(session) {
    GlobalOptions& options = session.options;
    if (const std::string store = line.valueOf("--store"); !store.empty()) options.store = addressOf(store);
    if (const std::string user = line.valueOf("--user"); !user.empty()) options.login.user = user;
    options.login.passwordFile = line.valueOf("--password-file");
    kind_.name = line.valueOf("--kind");
    const bool isPasswordKnown = !options.login.passwordFile.empty() || std::getenv("RECORDCTL_PASSWORD") != nullptr;
    isOpen_ = !options.store.empty() && (options.login.user.empty() || isPasswordKnown);
  }

  std::vector<std::string> names() const {
    std::vector<std::string> result;
    if (!isOpen_) return result;
    for (const NameInUse& name : session_.records(kind_.kind()).names()) result.push_back(name.name);
    return result;
  }

  std::vector<std::string> values(const std::string& name) const {
    constexpr int mostValues = 200;
    std::vector<std::string> result;
    if (!isOpen_) return result;
    for (const Facet& facet : session_.records(kind_.kind()).facets(name, {}, mostValues))
      result.push_back(facet.value);
    return result;
  }

 private:
  Session& session_;
  KindOption kind_{};
  bool isOpen_ = false;
};

/// How a chosen word is typed where no quotes are open.
std::string forShell(const std::string& word) {
  std::string result;
  for (const char c : word) {
    if (std::string(" \t\"'\\()<>|&;$`*?[]{}!#~").find(c) != std::string::npos) result += '\\';
    result += c;
  }
  return result;
}

void complete(const CommandLine& commandLine, Session& session, const CompleteOptions& options) {
  const TypedLine line = TypedLine::parse(options.line);
  if (line.words.empty()) return;
  const TypedStore typed(session, line);
  const StoreWords store = {storeNames, [&] { return typed.names(); },
                            [&](const std::string& name) { return typed.values(name); }};
  const std::string& last = line.words.back();
  // What stands before the part that the shell replaces.
  const bool isSign = options.part == "=" || options.part == ":";
  const std::size_t part = isSign ? 0 : std::min(options.part.size(), last.size());
  const std::size_t before = options.part.empty() || line.isQuoted ? 0 : last.size() - part;
  const std::size_t replaced = isSign ? last.size() : before;
  for (const std::string& word : commandLine.complete(line, store)) {
    const std::string rest = word.substr(replaced);
    std::cout << (line.isQuoted ? rest : forShell(rest)) << '\n';
  }
}

}  // namespace

void addCompletion(const CommandLine& commandLine, Session& session) {
  auto shell = std::make_shared<std::string>();
  const Command completion =
      commandLine.root().add("completion", "A script that makes a shell complete commands, names and values");
  completion.argument("SHELL", *shell, "bash or zsh", Traits::oneOf({"bash", "zsh"}));
  completion.run([shell] { std::cout << (*shell == "bash" ? bashScript : zshScript); });

  auto options = std::make_shared<CompleteOptions>();
  const Command line = commandLine.root().add("complete", "What the last word of a line may become");
  line.argument("LINE", options->line, "what was typed", Traits::emptyToo());
  line.argument("PART", options->part, "the part of the last word that the shell replaces", Traits::emptyToo());
  line.hide();
  line.run([&commandLine, &session, options] { complete(commandLine, session, *options); });

  const Command manual = commandLine.root().add("manual", "The manual page, for man");
  manual.hide();
  manual.run([&commandLine] { commandLine.writeManual(std::cout); });
}

}  // namespace database_provider::recordctl
