// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "tools/serve/Clients.h"
#include "tools/serve/Question.h"

namespace database_provider::recordctl {

/// Writes a piece of an answer; throws when nobody takes it any more.
using Write = std::function<void(const std::string& piece)>;

/// What a request is answered with: a body, or a stream that writes one piece after the other.
struct Answer {
  int status = 200;
  std::string type = "application/json";
  std::string body{};
  std::function<void(const Write& write)> stream{};
  std::string fileName{};  ///< under which a browser keeps it; empty: it is not to be kept
};

/// What the page is told about the store.
struct About {
  std::string store{};  ///< the address; empty where it holds a password
  std::string user{};
  bool mayWrite = false;
  std::string token{};  ///< that changes have to bring along
};

/// The answers below /api: {"results": […]} with the objects that the commands print with `--json`. What cannot be
/// asked so is 400 with {"error", "position"}, a record that is not there 404, what the store's user may not do 403, a
/// store that is out of reach 503. Safe to use from several threads.
class Api {
 public:
  Api(About about, Clients& clients) : about_(std::move(about)), clients_(&clients) {}

  /// `path` is what stands behind "/api/". Throws nothing but what running out of memory throws.
  Answer answer(const std::string& path, const std::string& query, const std::function<bool()>& isWanted) const;
  /// Changes records. To be asked only on behalf of somebody who brought the token.
  Answer change(const std::string& query, const std::function<bool()>& isWanted) const;

 private:
  Answer answerKnown(const std::string& path, const Question& question, const std::function<bool()>& isWanted) const;

  About about_;
  Clients* clients_;
};

/// {"error", "position"}.
Answer errorAnswer(int status, const std::string& reason, std::optional<std::size_t> position = std::nullopt);

}  // namespace database_provider::recordctl
