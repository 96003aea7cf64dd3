#include "http/tls.h"

#include <openssl/ssl.h>

#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/write.hpp>
#include <stdexcept>

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

class Layer : public SecureLayer {
 public:
  Layer(const std::string& certificate, const std::string& key) {
    mContext.set_options(asio::ssl::context::default_workarounds | asio::ssl::context::no_tlsv1 |
                         asio::ssl::context::no_tlsv1_1);
    error_code error;
    mContext.use_certificate_chain_file(certificate, error);
    if (error) throw std::runtime_error(certificate + " is no certificate: " + error.message());
    mContext.use_private_key_file(key, asio::ssl::context::pem, error);
    // The library says the same of a key of another certificate and of a file that is none.
    if (error || SSL_CTX_check_private_key(mContext.native_handle()) != 1) {
      throw std::runtime_error(key + " is no private key of " + certificate +
                               (error ? ": " + error.message() : std::string()));
    }
  }
  std::unique_ptr<SecureChannel> Over(Socket& socket) override {
    return std::make_unique<Channel>(socket, mContext);
  }

 private:
  asio::ssl::context mContext{asio::ssl::context::tls_server};
};

}  // namespace

std::shared_ptr<SecureLayer> LoadTls(const std::string& certificate, const std::string& key) {
  return std::make_shared<Layer>(certificate, key);
}

}  // namespace http
