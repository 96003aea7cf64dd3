// One connection: requests in turn, or a stream of events until the client leaves.
#pragma once

#include <atomic>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <optional>

#include "server/api.h"
#include "server/connections.h"
#include "server/http_server.h"
#include "trace/event_log.h"

namespace desk {

// What the sessions of a server have in common; it outlives them.
struct SessionContext {
  Api& api;
  EventLog& events;
  Connections& connections;
  ServerLimits limits;
  std::atomic<std::size_t> refused{0};  // connections that are being told that there is no room
};

class Session : public Connection {
 public:
  Session(boost::asio::ip::tcp::socket socket, SessionContext& context);
  ~Session() override;

  void Start();
  // In place of Start: says that there is no room, and ends.
  void Refuse();
  void LetGo() override;
  void EventsCame() override;

 private:
  std::shared_ptr<Session> Self() { return std::static_pointer_cast<Session>(shared_from_this()); }
  void ReadRequest();
  void RequestRead(boost::beast::error_code error);
  void Answer();
  void WatchForLeaving();
  void Reply(const ApiReply& reply, bool keepAlive);
  void StreamEvents(const EventsFrom& from, bool keepAlive);
  void SendEvents();
  void SendText();
  void SayFarewell();
  void DiscardRest();
  void Close();

  SessionContext& mContext;
  boost::beast::tcp_stream mStream;
  boost::beast::flat_buffer mBuffer{ServerLimits::kMostHeader + ServerLimits::kMostBody};
  std::optional<boost::beast::http::request_parser<boost::beast::http::string_body>> mParser;
  boost::beast::http::response<boost::beast::http::string_body> mReply;
  std::uint64_t mRequest = 0;
  bool mIsReplied = false;
  bool mIsRefused = false;
  char mDiscarded[4096] = {};
  // Of a stream of events:
  std::uint64_t mPosition = 0;  // the event that was sent last
  std::string mText;
  bool mIsSending = false;
  std::atomic<bool> mIsTold{false};  // of events that were not looked at yet
};

}  // namespace desk
