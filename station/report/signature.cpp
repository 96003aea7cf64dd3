#include "station/report/signature.h"

#include <openssl/evp.h>
#include <openssl/pem.h>

#include <fstream>
#include <iterator>
#include <stdexcept>

#include "client/camera_client.h"
#include "station/report/encoding.h"
#include "station/store/durable_file.h"

namespace station {

namespace {

struct Deleter {
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
  void operator()(BIO* memory) const { BIO_free(memory); }
  void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};
using Key = std::unique_ptr<EVP_PKEY, Deleter>;
using Memory = std::unique_ptr<BIO, Deleter>;
using Context = std::unique_ptr<EVP_MD_CTX, Deleter>;

std::string TextOf(const Memory& memory) {
  char* text = nullptr;
  const long length = BIO_get_mem_data(memory.get(), &text);
  return {text, static_cast<std::size_t>(length)};
}

std::string PublicPemOf(EVP_PKEY* key) {
  const Memory memory(BIO_new(BIO_s_mem()));
  if (PEM_write_bio_PUBKEY(memory.get(), key) != 1) throw std::runtime_error("no public key");
  return TextOf(memory);
}

std::string IdOf(EVP_PKEY* key) {
  constexpr std::size_t kBytes = 32;
  std::string bytes(kBytes, '\0');
  std::size_t length = bytes.size();
  if (EVP_PKEY_get_raw_public_key(key, reinterpret_cast<unsigned char*>(bytes.data()), &length) !=
      1) {
    throw std::runtime_error("that is no Ed25519 key");
  }
  return Hexadecimal(Sha256(bytes));
}

// Whole or not at all, for its owner alone, and the one that is there when somebody was quicker.
void MakeKey(const std::filesystem::path& file) {
  const Key key(EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519"));
  const Memory memory(BIO_new(BIO_s_mem()));
  if (key == nullptr || PEM_write_bio_PrivateKey(memory.get(), key.get(), nullptr, nullptr, 0,
                                                 nullptr, nullptr) != 1) {
    throw std::runtime_error("no key could be made");
  }
  WriteDurably(file, TextOf(memory), 0600, IfThere::Keep);
}

Key ParsedPublic(const std::string& pem) {
  const Memory memory(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
  Key key(PEM_read_bio_PUBKEY(memory.get(), nullptr, nullptr, nullptr));
  if (key == nullptr) throw std::runtime_error("that is no public key in PEM");
  return key;
}

}  // namespace

struct SigningKey::State {
  Key key;
};

SigningKey::SigningKey(std::unique_ptr<State> state) : mState(std::move(state)) {}
SigningKey::SigningKey(SigningKey&& other) noexcept = default;
SigningKey::~SigningKey() = default;

SigningKey SigningKey::LoadOrMake(const std::filesystem::path& file) {
  std::error_code error;
  if (!std::filesystem::exists(file, error)) MakeKey(file);
  return Load(file);
}

SigningKey SigningKey::Load(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  if (!stream) throw std::runtime_error("cannot read the key " + file.string());
  const std::string pem(std::istreambuf_iterator<char>(stream), {});
  const Memory memory(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
  auto state = std::make_unique<State>();
  state->key.reset(PEM_read_bio_PrivateKey(memory.get(), nullptr, nullptr, nullptr));
  if (state->key == nullptr || EVP_PKEY_get_id(state->key.get()) != EVP_PKEY_ED25519) {
    throw std::runtime_error(file.string() + " is no Ed25519 key in PEM");
  }
  return SigningKey(std::move(state));
}

std::string SigningKey::Sign(const std::string& bytes) const {
  constexpr std::size_t kBytes = 64;
  std::string signature(kBytes, '\0');
  std::size_t length = signature.size();
  const Context context(EVP_MD_CTX_new());
  const bool isSigned =
      EVP_DigestSignInit(context.get(), nullptr, nullptr, nullptr, mState->key.get()) == 1 &&
      EVP_DigestSign(context.get(), reinterpret_cast<unsigned char*>(signature.data()), &length,
                     reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()) == 1;
  if (!isSigned) throw std::runtime_error("the file could not be signed");
  return signature;
}

std::string SigningKey::PublicPem() const {
  return PublicPemOf(mState->key.get());
}

std::string SigningKey::Id() const {
  return IdOf(mState->key.get());
}

namespace {

bool IsSignedBy(EVP_PKEY* key, const std::string& bytes, const std::string& signature) {
  const Context context(EVP_MD_CTX_new());
  return EVP_DigestVerifyInit(context.get(), nullptr, nullptr, nullptr, key) == 1 &&
         EVP_DigestVerify(context.get(), reinterpret_cast<const unsigned char*>(signature.data()),
                          signature.size(), reinterpret_cast<const unsigned char*>(bytes.data()),
                          bytes.size()) == 1;
}

// The file as it would be, had that key signed it: its name stands near the beginning.
std::string SaidOf(const std::string& json, const std::string& said, const std::string& id) {
  std::string text = json;
  const std::size_t at = said.empty() ? std::string::npos : text.find(said);
  return at == std::string::npos ? text : text.replace(at, said.size(), id);
}

}  // namespace

Verdict Verify(const std::string& json, const std::optional<std::string>& signature,
               const std::string& publicPem) {
  const Key key = ParsedPublic(publicPem);
  if (!signature) return Verdict::NoSignature;
  if (IsSignedBy(key.get(), json, *signature)) return Verdict::Genuine;
  const client::Json all = client::Json::parse(json, nullptr, false);
  const bool isNamed = all.is_object() && all.contains("key") && all["key"].is_string();
  const std::string said = isNamed ? all["key"].get<std::string>() : "";
  const std::string id = IdOf(key.get());
  if (!isNamed || said == id) return Verdict::Altered;
  // Whose name alone was altered is no other's.
  const bool isOwn = IsSignedBy(key.get(), SaidOf(json, said, id), *signature);
  return isOwn ? Verdict::Altered : Verdict::ForeignKey;
}

}  // namespace station
