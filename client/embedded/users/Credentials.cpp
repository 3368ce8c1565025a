// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/users/Credentials.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <sys/random.h>

#include <cstdint>
#include <string_view>

#include "client/saslPrepare.h"
#include "database_client/Error.h"

namespace database_client::embedded {

namespace {

constexpr int iterationsOfNew = 15'000;
constexpr std::size_t saltSize = 28;
constexpr std::size_t keySize = 32;  // of SHA-256

using Bytes = std::string;

const unsigned char* in(std::string_view bytes) {
  return reinterpret_cast<const unsigned char*>(bytes.data());
}
unsigned char* out(Bytes& bytes) {
  return reinterpret_cast<unsigned char*>(bytes.data());
}

[[noreturn]] void failCryptography() {
  throw Error(Error::Kind::storage, "the cryptographic library has failed");
}

/// A text that is no password is nobody's, which takes as long to find out.
std::string preparedOrRaw(const std::string& password) {
  try {
    return saslPrepare(password);
  } catch (const Error&) {
    return password;
  }
}

Bytes hmac(const Bytes& key, std::string_view message) {
  Bytes digest(keySize, '\0');
  unsigned length = 0;
  if (HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()), in(message), message.size(), out(digest), &length) ==
      nullptr) {
    failCryptography();
  }
  return digest;
}

Bytes sha256(const Bytes& message) {
  Bytes digest(keySize, '\0');
  if (EVP_Digest(message.data(), message.size(), out(digest), nullptr, EVP_sha256(), nullptr) != 1) failCryptography();
  return digest;
}

Bytes saltedPassword(const std::string& prepared, const Bytes& salt, int rounds) {
  Bytes salted(keySize, '\0');
  if (PKCS5_PBKDF2_HMAC(prepared.data(), static_cast<int>(prepared.size()), in(salt), static_cast<int>(salt.size()),
                        rounds, EVP_sha256(), static_cast<int>(salted.size()), out(salted)) != 1) {
    failCryptography();
  }
  return salted;
}

Credentials derive(const std::string& prepared, const Bytes& salt, int rounds) {
  const Bytes salted = saltedPassword(prepared, salt, rounds);
  return {rounds, salt, sha256(hmac(salted, "Client Key")), hmac(salted, "Server Key")};
}

}  // namespace

std::string randomBytes(std::size_t size) {
  std::string bytes(size, '\0');
  if (getrandom(bytes.data(), size, 0) != static_cast<ssize_t>(size)) failCryptography();
  return bytes;
}

Credentials Credentials::of(const std::string& password) {
  return derive(saslPrepare(password), randomBytes(saltSize), iterationsOfNew);
}

Credentials Credentials::ofNobody() {
  return {iterationsOfNew, randomBytes(saltSize), randomBytes(keySize), randomBytes(keySize)};
}

bool Credentials::belongTo(const std::string& password) const {
  const Credentials given = derive(preparedOrRaw(password), salt, iterations);
  if (storedKey.size() != keySize || serverKey.size() != keySize) return false;
  const int different = CRYPTO_memcmp(given.storedKey.data(), storedKey.data(), keySize) |
                        CRYPTO_memcmp(given.serverKey.data(), serverKey.data(), keySize);
  return different == 0;
}

}  // namespace database_client::embedded
