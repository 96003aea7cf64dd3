// The station's signature under what it hands out: Ed25519 over the file's bytes, 64 bytes beside
// it, which "openssl pkeyutl -verify -pubin -inkey key.pem -rawin -in FILE -sigfile FILE.sig"
// checks too.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace station {

class SigningKey {
 public:
  // Of that PEM file, which is made, for its owner alone, when it is not there yet.
  // std::runtime_error: it cannot be read or made, or is no such key.
  static SigningKey LoadOrMake(const std::filesystem::path& file);
  static SigningKey Load(const std::filesystem::path& file);
  ~SigningKey();
  SigningKey(SigningKey&& other) noexcept;

  std::string Sign(const std::string& bytes) const;
  std::string PublicPem() const;
  // The SHA-256 of the public key, hexadecimal.
  std::string Id() const;

 private:
  struct State;
  explicit SigningKey(std::unique_ptr<State> state);
  std::unique_ptr<State> mState;
};

enum class Verdict { Genuine, Altered, ForeignKey, NoSignature };

// json: the signed file; signature: none: it is missing. ForeignKey: the file says that another key
// signed it, and this key has not signed the rest of it. std::runtime_error: that is no public key.
Verdict Verify(const std::string& json, const std::optional<std::string>& signature,
               const std::string& publicPem);

}  // namespace station
