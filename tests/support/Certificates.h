// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace database_test {

/// A server certificate and its key, in PEM files.
struct TlsFiles {
  std::string certificate{};
  std::string key{};
};

struct CertificateRequest {
  std::string host = "127.0.0.1";  ///< an IP address, or a name
  int daysFromNow = 1;             ///< until it expires; negative when it has
};

/// Makes certificates in a folder: one authority, and server certificates that it signed.
class Certificates {
 public:
  explicit Certificates(const std::string& folder);

  const std::string& authority() const { return authority_; }
  /// A certificate under a file name of its own.
  TlsFiles issue(const std::string& name, const CertificateRequest& request) const;

 private:
  std::string folder_;
  std::string authority_;
  std::string authorityKey_;
};

}  // namespace database_test
