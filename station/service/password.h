// Passwords as they are kept: Argon2id with a salt of its own.
#pragma once

#include <string>

namespace station {

// Usual takes a tenth of a second and 64 MiB, for whoever guesses too. Least is for what nobody
// guards.
enum class PasswordCost { Usual, Least };

// std::runtime_error: the machine has not the memory for it.
std::string HashOfPassword(const std::string& password, PasswordCost cost);
// At the cost of the hash. A text that is no hash takes no password.
bool IsPasswordOf(const std::string& hash, const std::string& password);

// A secret that nobody guesses, 64 hexadecimal digits.
std::string NewToken();

}  // namespace station
