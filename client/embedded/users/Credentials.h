// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>

namespace database_client::embedded {

/// What a store keeps instead of a password, for SCRAM-SHA-256 (RFC 5802, RFC 7677). The three texts are raw bytes.
struct Credentials {
  int iterations = 0;
  std::string salt{};
  std::string storedKey{};
  std::string serverKey{};

  /// Credentials of a password under a new random salt. Throws Error{query} for a text that is no password: what RFC
  /// 4013 prohibits, such as control characters.
  static Credentials of(const std::string& password);
  /// Credentials that no password has, to spend on an unknown user the time that a known one takes.
  static Credentials ofNobody();

  /// Whether they are this password's. Takes the same time whatever differs.
  bool belongTo(const std::string& password) const;
};

/// From the system's source for secrets.
std::string randomBytes(std::size_t size);

}  // namespace database_client::embedded
