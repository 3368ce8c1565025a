// SPDX-License-Identifier: Apache-2.0
#include "client/saslPrepare.h"

#include <unicode/usprep.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string_view>

#include "database_client/Error.h"
#include "database_client/codes.h"

namespace database_client {

namespace {

[[noreturn]] void refusePassword() {
  throw Error(Error::Kind::query, "password: it holds a character that no password may have",
              {"password", code::badValue});
}

bool isPrintableAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7F; });
}

std::u16string toUtf16(const std::string& text) {
  std::u16string wide(text.size(), u'\0');
  std::int32_t length = 0;
  UErrorCode error = U_ZERO_ERROR;
  u_strFromUTF8(wide.data(), static_cast<std::int32_t>(wide.size()), &length, text.data(),
                static_cast<std::int32_t>(text.size()), &error);
  if (U_FAILURE(error)) refusePassword();
  wide.resize(static_cast<std::size_t>(length));
  return wide;
}

std::string toUtf8(const std::u16string& wide) {
  std::string text(wide.size() * 3, '\0');
  std::int32_t length = 0;
  UErrorCode error = U_ZERO_ERROR;
  u_strToUTF8(text.data(), static_cast<std::int32_t>(text.size()), &length, wide.data(),
              static_cast<std::int32_t>(wide.size()), &error);
  if (U_FAILURE(error)) refusePassword();
  text.resize(static_cast<std::size_t>(length));
  return text;
}

}  // namespace

std::string saslPrepare(const std::string& password) {
  if (isPrintableAscii(password)) return password;
  UErrorCode error = U_ZERO_ERROR;
  const std::unique_ptr<UStringPrepProfile, decltype(&usprep_close)> profile(
      usprep_openByType(USPREP_RFC4013_SASLPREP, &error), &usprep_close);
  if (U_FAILURE(error)) throw Error(Error::Kind::storage, "the library for Unicode has failed");
  const std::u16string wide = toUtf16(password);
  std::u16string prepared(wide.size() * 18 + 16, u'\0');  // No character becomes more than 18 under NFKC.
  const std::int32_t length =
      usprep_prepare(profile.get(), wide.data(), static_cast<std::int32_t>(wide.size()), prepared.data(),
                     static_cast<std::int32_t>(prepared.size()), USPREP_ALLOW_UNASSIGNED, nullptr, &error);
  if (U_FAILURE(error)) refusePassword();
  prepared.resize(static_cast<std::size_t>(length));
  return toUtf8(prepared);
}

bool isEmptyPassword(const std::string& password) {
  try {
    return saslPrepare(password).empty();
  } catch (const Error&) {
    return false;
  }
}

}  // namespace database_client
