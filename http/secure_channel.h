// What stands between a connection's socket and its bytes where these are encrypted: tls.h makes
// it. All on the network's thread.
#pragma once

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <cstddef>
#include <functional>
#include <memory>

namespace http {

using NetworkExecutor = boost::asio::io_context::executor_type;
using Socket = boost::asio::basic_stream_socket<boost::asio::ip::tcp, NetworkExecutor>;

class SecureChannel {
 public:
  // Called later, never by the function that was given it. Its captures keep the connection.
  using Done = std::function<void(boost::system::error_code error, std::size_t bytes)>;

  SecureChannel() = default;
  SecureChannel(const SecureChannel&) = delete;
  SecureChannel& operator=(const SecureChannel&) = delete;
  virtual ~SecureChannel() = default;

  // Before all else: who we are, and the keys.
  virtual void Begin(Done done) = 0;
  virtual void ReadSome(boost::asio::mutable_buffer buffer, Done done) = 0;
  // All of them.
  virtual void Write(const std::array<boost::asio::const_buffer, 2>& buffers, Done done) = 0;
  // Says that nothing more will come.
  virtual void EndSending(Done done) = 0;
};

class SecureLayer {
 public:
  SecureLayer() = default;
  SecureLayer(const SecureLayer&) = delete;
  SecureLayer& operator=(const SecureLayer&) = delete;
  virtual ~SecureLayer() = default;
  // Of a socket that outlives it.
  virtual std::unique_ptr<SecureChannel> Over(Socket& socket) = 0;
};

}  // namespace http
