// Bytes as texts.
#pragma once

#include <string>
#include <string_view>

namespace station {

std::string Base64(std::string_view bytes);
std::string Sha256(std::string_view bytes);       // the digest's 32 bytes
std::string Hexadecimal(std::string_view bytes);  // lower case

}  // namespace station
