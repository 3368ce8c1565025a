// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_provider/records.h>

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace database_provider::recordctl {

/// The connections to one store that the threads of a server use, one at a time each. A connection is made when there
/// is none at hand, and kept for the next question; one that failed is not, so that a store that was away and is back
/// is met anew. Safe to use from several threads.
class Clients {
 public:
  Clients(std::string store, OpenOptions login) : store_(std::move(store)), login_(std::move(login)) {}
  ~Clients() = default;
  Clients(const Clients&) = delete;
  Clients& operator=(const Clients&) = delete;

  /// A connection on loan; it comes back with its end, which must come before that of the pool.
  class Loan {
   public:
    Loan(Clients& pool, std::unique_ptr<DataBaseClient> client) : pool_(&pool), client_(std::move(client)) {}
    ~Loan() {
      if (client_) pool_->takeBack(std::move(client_));
    }
    Loan(const Loan&) = delete;
    Loan& operator=(const Loan&) = delete;

    DataBaseClient& client() const { return *client_; }
    /// It is of no more use.
    void drop() { client_.reset(); }

   private:
    Clients* pool_;
    std::unique_ptr<DataBaseClient> client_;
  };

  /// Throws as `open` does. What the client does ends with Error{cancelled} when `isWanted` says so.
  std::shared_ptr<Loan> lend(const std::function<bool()>& isWanted);

 private:
  void takeBack(std::unique_ptr<DataBaseClient> client);

  std::string store_;
  OpenOptions login_;
  std::mutex mutex_{};
  std::vector<std::unique_ptr<DataBaseClient>> idle_{};
};

}  // namespace database_provider::recordctl
