// Clients whose bytes the test writes itself.
#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>
#include <deque>
#include <string>
#include <utility>

namespace test {

inline constexpr char kHealth[] = "GET /healthz HTTP/1.1\r\nHost: localhost\r\n\r\n";

inline std::string Put(const std::string& target, const std::string& body) {
  return "PUT " + target + " HTTP/1.1\r\nHost: localhost\r\n" +
         "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

class RawClient {
 public:
  explicit RawClient(std::uint16_t port, const std::string& bytes = "") {
    mSocket.connect({boost::asio::ip::address_v4::loopback(), port});
    Send(bytes);
  }
  // False: the other side has closed.
  bool Send(const std::string& bytes) {
    boost::system::error_code error;
    boost::asio::write(mSocket, boost::asio::buffer(bytes), error);
    return !error;
  }
  std::string ReadToEnd() {
    boost::system::error_code error;
    boost::asio::read(mSocket, boost::asio::dynamic_buffer(mText), error);
    return std::exchange(mText, {});
  }
  // Up to and including the text; what came in all when the connection ends before.
  std::string ReadUntil(const std::string& text) {
    boost::system::error_code error;
    const std::size_t count =
        boost::asio::read_until(mSocket, boost::asio::dynamic_buffer(mText), text, error);
    std::string read = mText.substr(0, error ? mText.size() : count);
    mText.erase(0, read.size());
    return read;
  }
  void Leave() { mSocket.close(); }
  bool HasAnswer() { return mSocket.available() > 0; }
  // Reads the answer's first line.
  bool IsServed() { return ReadUntil("\r\n").starts_with("HTTP/1.1 200"); }

 private:
  boost::asio::io_context mContext;
  boost::asio::ip::tcp::socket mSocket{mContext};
  std::string mText;
};

inline bool Answers(std::uint16_t port) {
  return RawClient(port, kHealth).IsServed();
}

}  // namespace test
