// One connection: requests in turn, or a stream until the client leaves.
#pragma once

#include <atomic>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <optional>

#include "http/connections.h"
#include "http/limits.h"
#include "http/message.h"

namespace http {

namespace beast_http = boost::beast::http;

// What the sessions of a server have in common; it outlives them.
struct SessionContext {
  Handler handler;
  Connections& connections;
  Limits limits;
  std::atomic<std::size_t> refused{0};  // connections that are being told that there is no room
};

class Session : public Connection {
 public:
  Session(boost::asio::ip::tcp::socket socket, SessionContext& context);
  ~Session() override;

  void Start();
  // In place of Start: says that there is no room, and ends.
  void Refuse();
  void Drop() override;
  void ContinueStream() override;

 private:
  std::shared_ptr<Session> Self() { return std::static_pointer_cast<Session>(shared_from_this()); }
  void ReadRequest();
  void RequestRead(boost::beast::error_code error);
  void Answer();
  void WatchForLeaving();
  void SendReply(const Reply& reply, bool keepAlive);
  void StartStream(const Reply& reply, bool keepAlive);
  void SendNext();
  void SendText();
  void SayFarewell();
  void DiscardRest();
  void Close();

  SessionContext& mContext;
  boost::beast::tcp_stream mStream;
  boost::beast::flat_buffer mBuffer;
  std::optional<beast_http::request_parser<beast_http::string_body>> mParser;
  beast_http::response<beast_http::string_body> mReply;
  std::uint64_t mRequest = 0;
  bool mIsReplied = false;
  bool mIsRefused = false;
  char mDiscarded[4096] = {};
  // Of a stream:
  std::shared_ptr<Stream> mSource;
  std::string mText;
  bool mIsSending = false;
  std::atomic<bool> mIsTold{false};  // of something that was not looked at yet
};

}  // namespace http
