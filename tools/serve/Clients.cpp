// SPDX-License-Identifier: Apache-2.0
#include "tools/serve/Clients.h"

#include <utility>

namespace database_provider::recordctl {

std::shared_ptr<Clients::Loan> Clients::lend(const std::function<bool()>& isWanted) {
  std::unique_ptr<DataBaseClient> client;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!idle_.empty()) {
      client = std::move(idle_.back());
      idle_.pop_back();
    }
  }
  if (client) {
    client->setCancellation(isWanted);
  } else {
    OpenOptions login = login_;
    login.wanted = isWanted;
    client = open(store_, login);
  }
  return std::make_shared<Loan>(*this, std::move(client));
}

void Clients::takeBack(std::unique_ptr<DataBaseClient> client) {
  client->setCancellation({});
  client->setUnreadableHandler({});
  const std::lock_guard<std::mutex> lock(mutex_);
  idle_.push_back(std::move(client));
}

}  // namespace database_provider::recordctl
