#include "station/service/password.h"

#include <sodium.h>

#include <array>
#include <stdexcept>
#include <string_view>

#include "station/report/encoding.h"

namespace station {

namespace {

// Also where several threads begin at once.
void Prepare() {
  if (sodium_init() < 0) throw std::runtime_error("the machine has no source of randomness");
}

}  // namespace

std::string HashOfPassword(const std::string& password, PasswordCost cost) {
  Prepare();
  const bool isUsual = cost == PasswordCost::Usual;
  std::array<char, crypto_pwhash_STRBYTES> hash{};
  if (crypto_pwhash_str(
          hash.data(), password.data(), password.size(),
          isUsual ? crypto_pwhash_OPSLIMIT_INTERACTIVE : crypto_pwhash_OPSLIMIT_MIN,
          isUsual ? crypto_pwhash_MEMLIMIT_INTERACTIVE : crypto_pwhash_MEMLIMIT_MIN) != 0) {
    throw std::runtime_error("no memory to hash a password with");
  }
  return hash.data();
}

bool IsPasswordOf(const std::string& hash, const std::string& password) {
  Prepare();
  std::array<char, crypto_pwhash_STRBYTES> kept{};
  if (hash.size() >= kept.size()) return false;
  hash.copy(kept.data(), hash.size());
  return crypto_pwhash_str_verify(kept.data(), password.data(), password.size()) == 0;
}

std::string NewToken() {
  Prepare();
  std::array<char, 32> bytes{};
  randombytes_buf(bytes.data(), bytes.size());
  return Hexadecimal(std::string_view(bytes.data(), bytes.size()));
}

}  // namespace station
