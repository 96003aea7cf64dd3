#include "station/report/encoding.h"

#include <openssl/evp.h>

#include <array>
#include <stdexcept>

namespace station {

namespace {

const unsigned char* Bytes(std::string_view bytes) {
  return reinterpret_cast<const unsigned char*>(bytes.data());
}

}  // namespace

std::string Base64(std::string_view bytes) {
  constexpr std::size_t kIn = 3;
  constexpr std::size_t kOut = 4;
  std::string text((bytes.size() + kIn - 1) / kIn * kOut + 1, '\0');
  const int length = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), Bytes(bytes),
                                     static_cast<int>(bytes.size()));
  text.resize(static_cast<std::size_t>(length));
  return text;
}

std::string Sha256(std::string_view bytes) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned length = 0;
  if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), &length, EVP_sha256(), nullptr) != 1) {
    throw std::runtime_error("no SHA-256");
  }
  return {reinterpret_cast<const char*>(digest.data()), length};
}

std::string Hexadecimal(std::string_view bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const char each : bytes) {
    const auto byte = static_cast<unsigned char>(each);
    text += {kDigits[byte >> 4], kDigits[byte & 0xF]};
  }
  return text;
}

}  // namespace station
