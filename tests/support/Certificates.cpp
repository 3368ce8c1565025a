// SPDX-License-Identifier: Apache-2.0
#include "tests/support/Certificates.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <memory>
#include <stdexcept>

namespace database_test {

namespace {

struct Free {
  void operator()(EVP_PKEY* key) const noexcept { EVP_PKEY_free(key); }
  void operator()(X509* certificate) const noexcept { X509_free(certificate); }
  void operator()(X509_EXTENSION* extension) const noexcept { X509_EXTENSION_free(extension); }
  void operator()(std::FILE* file) const noexcept { static_cast<void>(std::fclose(file)); }
};
template <class Object>
using Owned = std::unique_ptr<Object, Free>;
using Key = Owned<EVP_PKEY>;
using Certificate = Owned<X509>;

constexpr long day = 24 * 3600;

Owned<std::FILE> openFile(const std::string& path, const char* mode) {
  Owned<std::FILE> file(std::fopen(path.c_str(), mode));
  if (!file) throw std::runtime_error("cannot open " + path);
  return file;
}

void save(const std::string& path, X509* certificate) {
  PEM_write_X509(openFile(path, "w").get(), certificate);
}

void save(const std::string& path, EVP_PKEY* key) {
  PEM_write_PrivateKey(openFile(path, "w").get(), key, nullptr, nullptr, 0, nullptr, nullptr);
}

Certificate loadCertificate(const std::string& path) {
  return Certificate(PEM_read_X509(openFile(path, "r").get(), nullptr, nullptr, nullptr));
}

Key loadKey(const std::string& path) {
  return Key(PEM_read_PrivateKey(openFile(path, "r").get(), nullptr, nullptr, nullptr));
}

void addName(X509_NAME* name, const std::string& text) {
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8, reinterpret_cast<const unsigned char*>(text.c_str()), -1, -1,
                             0);
}

void addExtension(X509* certificate, int kind, const std::string& value) {
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
  const Owned<X509_EXTENSION> extension(X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str()));
  X509_add_ext(certificate, extension.get(), -1);
}

Certificate blank(const std::string& name, int days, EVP_PKEY* key) {
  static long serial = 0;
  Certificate certificate(X509_new());
  X509_set_version(certificate.get(), 2);
  ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), ++serial);
  X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -30 * day);
  X509_gmtime_adj(X509_getm_notAfter(certificate.get()), days * day);
  X509_set_pubkey(certificate.get(), key);
  addName(X509_get_subject_name(certificate.get()), name);
  return certificate;
}

bool isAddress(const std::string& host) {
  return host.find_first_not_of("0123456789.") == std::string::npos;
}

}  // namespace

Certificates::Certificates(const std::string& folder)
    : folder_(folder), authority_(folder + "/authority.pem"), authorityKey_(folder + "/authority.key") {
  const Key key(EVP_EC_gen("P-256"));
  const Certificate certificate = blank("test authority", 2, key.get());
  X509_set_issuer_name(certificate.get(), X509_get_subject_name(certificate.get()));
  addExtension(certificate.get(), NID_basic_constraints, "critical,CA:TRUE");
  X509_sign(certificate.get(), key.get(), EVP_sha256());
  save(authority_, certificate.get());
  save(authorityKey_, key.get());
}

TlsFiles Certificates::issue(const std::string& name, const CertificateRequest& request) const {
  const Certificate authority = loadCertificate(authority_);
  const Key authorityKey = loadKey(authorityKey_);
  const Key key(EVP_EC_gen("P-256"));
  const Certificate certificate = blank(request.host, request.daysFromNow, key.get());
  X509_set_issuer_name(certificate.get(), X509_get_subject_name(authority.get()));
  addExtension(certificate.get(), NID_subject_alt_name, (isAddress(request.host) ? "IP:" : "DNS:") + request.host);
  X509_sign(certificate.get(), authorityKey.get(), EVP_sha256());
  TlsFiles files{folder_ + "/" + name + ".pem", folder_ + "/" + name + ".key"};
  save(files.certificate, certificate.get());
  save(files.key, key.get());
  return files;
}

}  // namespace database_test
