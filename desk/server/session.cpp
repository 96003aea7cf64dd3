#include "server/session.h"

#include <boost/asio/dispatch.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>

#include "server/json.h"

namespace desk {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using tcp = asio::ip::tcp;

namespace {

constexpr std::size_t kEventsAtOnce = 64;  // in one send

// What a client is told whose bytes are no request; none where it is not worth an answer.
std::optional<ApiReply> ProblemOf(beast::error_code error) {
  if (error == http::error::body_limit) {
    return Problem(413, "Too large", "a body has at most 65536 bytes");
  }
  if (error == http::error::header_limit || error == http::error::buffer_overflow) {
    return Problem(413, "Too large", "a header has at most 16384 bytes");
  }
  if (error != http::error::end_of_stream && error != http::error::partial_message &&
      error.category() == http::make_error_code(http::error::bad_method).category()) {
    return Problem(400, "Malformed", error.message());
  }
  return std::nullopt;
}

}  // namespace

Session::Session(tcp::socket socket, SessionContext& context)
    : mContext(context), mStream(std::move(socket)) {}

Session::~Session() {
  mContext.connections.Forget(*this);
  if (mIsRefused) --mContext.refused;
}

void Session::Start() {
  beast::error_code ignored;
  mStream.socket().set_option(tcp::no_delay(true), ignored);
  mStream.socket().non_blocking(true, ignored);
  asio::dispatch(mStream.get_executor(), [self = Self()] { self->ReadRequest(); });
}

void Session::Refuse() {
  mIsRefused = true;
  if (++mContext.refused > ServerLimits::kMostRefused) return;  // let go without a word
  asio::dispatch(mStream.get_executor(), [self = Self()] {
    self->Reply(Problem(503, "No room", "too many clients are connected; try again later"), false);
  });
}

void Session::LetGo() {
  asio::post(mStream.get_executor(), [self = Self()] { self->Close(); });
}

void Session::ReadRequest() {
  if (!mContext.connections.ComeTo(*this, Stage::Silent)) {
    Close();
    return;
  }
  mParser.emplace();
  mParser->header_limit(ServerLimits::kMostHeader);
  mParser->body_limit(ServerLimits::kMostBody);
  mIsReplied = false;
  ++mRequest;
  mStream.expires_after(mContext.limits.request);
  http::async_read(mStream, mBuffer, *mParser,
                   [self = Self()](beast::error_code error, std::size_t /*bytes*/) {
                     self->RequestRead(error);
                   });
}

void Session::RequestRead(beast::error_code error) {
  if (!mContext.connections.ComeTo(*this, Stage::Served)) {
    Close();
    return;
  }
  if (!error) {
    Answer();
    return;
  }
  const std::optional<ApiReply> problem = ProblemOf(error);
  if (problem) {
    Reply(*problem, false);
  } else {
    Close();
  }
}

void Session::Answer() {
  const auto& message = mParser->get();
  const bool keepAlive = message.keep_alive();
  // Two lengths, even alike, are two opinions of where the next request begins; two hosts or
  // origins of who asks.
  for (const auto field : {http::field::content_length, http::field::host, http::field::origin}) {
    if (message.count(field) <= 1) continue;
    Reply(Problem(400, "Malformed", "more than one " + std::string(http::to_string(field))), false);
    return;
  }
  const ApiRequest request = {.method = std::string(message.method_string()),
                              .target = std::string(message.target()),
                              .host = std::string(message[http::field::host]),
                              .origin = std::string(message[http::field::origin]),
                              .lastEvent = std::string(message["Last-Event-ID"]),
                              .body = message.body()};
  // The test takes its time.
  mStream.expires_never();
  mContext.api.Handle(request, [self = Self(), keepAlive](ApiReply reply) {
    asio::dispatch(self->mStream.get_executor(),
                   [self, keepAlive, reply = std::move(reply)] { self->Reply(reply, keepAlive); });
  });
  if (!mIsReplied) WatchForLeaving();
}

// A client that leaves while its write is under way leaves its place to others; the write goes on,
// and its reply is tried, for a client that only ended its own sending.
void Session::WatchForLeaving() {
  mStream.socket().async_wait(
      tcp::socket::wait_read, [self = Self(), request = mRequest](beast::error_code error) {
        const bool isUnderWay = self->mRequest == request && !self->mIsReplied;
        if (error || !isUnderWay) return;
        beast::error_code failed;
        char next = 0;
        const std::size_t bytes = self->mStream.socket().receive(asio::buffer(&next, 1),
                                                                 tcp::socket::message_peek, failed);
        const bool hasLeft = bytes == 0 && failed != asio::error::would_block;
        if (hasLeft) self->mContext.connections.ComeTo(*self, Stage::Gone);
      });
}

void Session::Reply(const ApiReply& reply, bool keepAlive) {
  mIsReplied = true;
  const bool headOnly = mParser && mParser->get().method() == http::verb::head;
  if (reply.events && !headOnly) {
    StreamEvents(*reply.events, keepAlive);
    return;
  }
  mReply = {};
  mReply.version(11);
  mReply.result(reply.status);
  mReply.set(http::field::content_type, reply.contentType);
  mReply.set(http::field::cache_control, "no-store");
  mReply.keep_alive(keepAlive);
  mReply.body() = reply.body;
  mReply.prepare_payload();
  if (headOnly) mReply.body().clear();
  // A client that does not take its reply makes room for others too.
  mContext.connections.ComeTo(*this, Stage::Silent);
  mStream.expires_after(mContext.limits.reply);
  http::async_write(mStream, mReply,
                    [self = Self(), keepAlive](beast::error_code error, std::size_t /*bytes*/) {
                      if (error) {
                        self->Close();
                      } else if (keepAlive) {
                        self->ReadRequest();
                      } else {
                        self->SayFarewell();
                      }
                    });
}

void Session::StreamEvents(const EventsFrom& from, bool keepAlive) {
  if (!mContext.connections.ComeTo(*this, Stage::Streaming)) {
    Reply(Problem(503, "No room", "sixteen clients take events already; try again later"),
          keepAlive);
    return;
  }
  mPosition = from.after;
  mText =
      "HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\nCache-Control: no-store\r\n"
      "Connection: close\r\n\r\n";
  if (from.missedUnknown) mText += "event: gap\ndata: {\"missed\":null}\n\n";
  SendText();
  // Nothing more is expected from it but its leaving.
  mStream.expires_never();
  DiscardRest();
}

void Session::EventsCame() {
  if (mIsTold.exchange(true)) return;
  asio::post(mStream.get_executor(), [self = Self()] { self->SendEvents(); });
}

// A slow client takes what is still kept when its turn comes, and is told how much it missed.
void Session::SendEvents() {
  if (mIsSending) return;
  mIsTold = false;
  const EventLog::Reading reading = mContext.events.After(mPosition, kEventsAtOnce);
  if (reading.events.empty()) return;
  mPosition = reading.events.back()->number;
  mText.clear();
  if (reading.missed > 0) {
    mText.append("event: gap\ndata: {\"missed\":")
        .append(std::to_string(reading.missed))
        .append("}\n\n");
  }
  for (const auto& event : reading.events) {
    mText.append("id: ").append(mContext.events.Name()).append("-");
    mText.append(std::to_string(event->number)).append("\nevent: ").append(event->kind);
    mText.append("\ndata: ").append(EventText(*event)).append("\n\n");
  }
  SendText();
}

void Session::SendText() {
  mIsSending = true;
  mStream.expires_after(mContext.limits.reply);
  asio::async_write(mStream, asio::buffer(mText),
                    [self = Self()](beast::error_code error, std::size_t /*bytes*/) {
                      self->mIsSending = false;
                      if (error) {
                        self->Close();
                      } else {
                        self->SendEvents();
                      }
                    });
}

// What the client still sends is taken for a while: a socket that is closed with something unread
// would tear the reply away from it.
void Session::SayFarewell() {
  mContext.connections.ComeTo(*this, Stage::Silent);
  beast::error_code ignored;
  mStream.socket().shutdown(tcp::socket::shutdown_send, ignored);
  mStream.expires_after(mContext.limits.farewell);
  DiscardRest();
}

void Session::DiscardRest() {
  mStream.async_read_some(asio::buffer(mDiscarded),
                          [self = Self()](beast::error_code error, std::size_t /*bytes*/) {
                            if (error) {
                              self->Close();
                            } else {
                              self->DiscardRest();
                            }
                          });
}

void Session::Close() {
  mContext.connections.ComeTo(*this, Stage::Gone);
  mStream.close();
}

}  // namespace desk
