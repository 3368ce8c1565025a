// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace database_provider::recordctl {

/// Whether what goes to the store passes a network in the clear: an address of another machine (no file, no socket of
/// this machine, no loopback) without TLS.
bool isInTheClear(const std::string& store);

/// Says so on standard error, once for each address: before a login, and before a new password is sent.
void warnWhenInTheClear(const std::string& store);

}  // namespace database_provider::recordctl
