#include "http/tls.h"

#include <openssl/ssl.h>

#include <array>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/write.hpp>
#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <utility>

namespace http {

namespace asio = boost::asio;
using boost::system::error_code;

namespace {

class Channel : public SecureChannel {
 public:
  Channel(Socket& socket, asio::ssl::context& context) : mStream(socket, context) {}
  void Begin(Done done) override {
    mStream.async_handshake(asio::ssl::stream_base::server,
                            [then = std::move(done)](error_code error) { then(error, 0); });
  }
  void ReadSome(asio::mutable_buffer buffer, Done done) override {
    mStream.async_read_some(buffer, std::move(done));
  }
  void Write(const std::array<asio::const_buffer, 2>& buffers, Done done) override {
    asio::async_write(mStream, buffers, std::move(done));
  }
  void EndSending(Done done) override {
    mStream.async_shutdown([then = std::move(done)](error_code error) { then(error, 0); });
  }

 private:
  asio::ssl::stream<Socket&> mStream;
};

using Context = asio::ssl::context;
using Complain = std::function<void(const std::string&)>;

std::unique_ptr<Context> Load(const std::string& certificate, const std::string& key) {
  auto context = std::make_unique<Context>(Context::tls_server);
  context->set_options(Context::default_workarounds | Context::no_tlsv1 | Context::no_tlsv1_1);
  error_code error;
  context->use_certificate_chain_file(certificate, error);
  if (error) throw std::runtime_error(certificate + " is no certificate: " + error.message());
  context->use_private_key_file(key, Context::pem, error);
  // The library says the same of a key of another certificate and of a file that is none.
  if (error || SSL_CTX_check_private_key(context->native_handle()) != 1) {
    throw std::runtime_error(key + " is no private key of " + certificate +
                             (error ? ": " + error.message() : std::string()));
  }
  return context;
}

class Layer : public SecureLayer {
 public:
  Layer(std::string certificate, std::string key, Complain complain)
      : mCertificate(std::move(certificate)),
        mKey(std::move(key)),
        mComplain(std::move(complain)),
        mWritten(Written()),
        mContext(Load(mCertificate, mKey)) {}
  std::unique_ptr<SecureChannel> Over(Socket& socket) override {
    const Times written = Written();
    // What could not be read may be readable without being written again.
    const bool isDue = !mTold.empty() && std::chrono::steady_clock::now() >= mAgain;
    if (written != mWritten || isDue) Renew(written);
    return std::make_unique<Channel>(socket, *mContext);
  }

 private:
  using Times = std::array<std::filesystem::file_time_type, 2>;

  Times Written() const {
    std::error_code none;  // a file that is not there now has a time too
    return {std::filesystem::last_write_time(mCertificate, none),
            std::filesystem::last_write_time(mKey, none)};
  }
  // Connections keep what they began with: the library counts who uses a context.
  void Renew(const Times& written) {
    mWritten = written;
    constexpr std::chrono::seconds kPause{60};
    try {
      mContext = Load(mCertificate, mKey);
      mTold.clear();
    } catch (const std::exception& error) {
      mAgain = std::chrono::steady_clock::now() + kPause;
      if (mTold == error.what()) return;
      mTold = error.what();
      mComplain(mTold + "; the certificate of before is kept");
    }
  }

  const std::string mCertificate;
  const std::string mKey;
  const Complain mComplain;
  Times mWritten;
  std::string mTold;  // why they could not be read; empty: they were
  std::chrono::steady_clock::time_point mAgain;
  std::unique_ptr<Context> mContext;
};

}  // namespace

std::shared_ptr<SecureLayer> LoadTls(const std::string& certificate, const std::string& key,
                                     std::function<void(const std::string&)> complain) {
  return std::make_shared<Layer>(certificate, key, std::move(complain));
}

}  // namespace http
