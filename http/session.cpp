#include "http/session.h"

#include <boost/asio/dispatch.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>

namespace http {

namespace asio = boost::asio;
namespace beast = boost::beast;
using tcp = asio::ip::tcp;

namespace {

// What a client is told whose bytes are no request; none where it is not worth an answer.
std::optional<Reply> ProblemOf(beast::error_code error, const Limits& limits) {
  const auto tooLarge = [](const char* what, std::size_t most) {
    return Problem(413, "Too large",
                   std::string(what) + " has at most " + std::to_string(most) + " bytes");
  };
  if (error == beast_http::error::body_limit) return tooLarge("a body", limits.body);
  if (error == beast_http::error::header_limit || error == beast_http::error::buffer_overflow) {
    return tooLarge("a header", limits.header);
  }
  if (error != beast_http::error::end_of_stream && error != beast_http::error::partial_message &&
      error.category() == beast_http::make_error_code(beast_http::error::bad_method).category()) {
    return Problem(400, "Malformed", error.message());
  }
  return std::nullopt;
}

}  // namespace

Session::Session(tcp::socket socket, SessionContext& context)
    : mContext(context),
      mStream(std::move(socket)),
      mBuffer(context.limits.header + context.limits.body) {}

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
  if (++mContext.refused > mContext.limits.refused) return;  // dropped without a word
  asio::dispatch(mStream.get_executor(), [self = Self()] {
    self->SendReply(Problem(503, "No room", "too many clients are connected; try again later"),
                    false);
  });
}

void Session::Drop() {
  asio::post(mStream.get_executor(), [self = Self()] { self->Close(); });
}

void Session::ReadRequest() {
  if (!mContext.connections.ComeTo(*this, Stage::Silent)) {
    Close();
    return;
  }
  mParser.emplace();
  mParser->header_limit(mContext.limits.header);
  mParser->body_limit(mContext.limits.body);
  mIsReplied = false;
  ++mRequest;
  mStream.expires_after(mContext.limits.request);
  beast_http::async_read(mStream, mBuffer, *mParser,
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
  const std::optional<Reply> problem = ProblemOf(error, mContext.limits);
  if (problem) {
    SendReply(*problem, false);
  } else {
    Close();
  }
}

void Session::Answer() {
  const auto& message = mParser->get();
  const bool keepAlive = message.keep_alive();
  // Two lengths, even alike, are two opinions of where the next request begins; two hosts or
  // origins of who asks.
  for (const auto field :
       {beast_http::field::content_length, beast_http::field::host, beast_http::field::origin}) {
    if (message.count(field) <= 1) continue;
    SendReply(
        Problem(400, "Malformed", "more than one " + std::string(beast_http::to_string(field))),
        false);
    return;
  }
  const Request request = {.method = std::string(message.method_string()),
                           .target = std::string(message.target()),
                           .host = std::string(message[beast_http::field::host]),
                           .origin = std::string(message[beast_http::field::origin]),
                           .lastEvent = std::string(message["Last-Event-ID"]),
                           .body = message.body()};
  // The test takes its time.
  mStream.expires_never();
  mContext.handler(request, [self = Self(), keepAlive](Reply reply) {
    asio::dispatch(self->mStream.get_executor(), [self, keepAlive, reply = std::move(reply)] {
      self->SendReply(reply, keepAlive);
    });
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

void Session::SendReply(const Reply& reply, bool keepAlive) {
  mIsReplied = true;
  const bool headOnly = mParser && mParser->get().method() == beast_http::verb::head;
  if (reply.stream != nullptr && !headOnly) {
    StartStream(reply, keepAlive);
    return;
  }
  mReply = {};
  mReply.version(11);
  mReply.result(reply.status);
  mReply.set(beast_http::field::content_type, reply.contentType);
  mReply.set(beast_http::field::cache_control, "no-store");
  mReply.keep_alive(keepAlive);
  mReply.body() = reply.body;
  mReply.prepare_payload();
  if (headOnly) mReply.body().clear();
  // A client that does not take its reply makes room for others too.
  mContext.connections.ComeTo(*this, Stage::Silent);
  mStream.expires_after(mContext.limits.reply);
  beast_http::async_write(
      mStream, mReply, [self = Self(), keepAlive](beast::error_code error, std::size_t /*bytes*/) {
        if (error) {
          self->Close();
        } else if (keepAlive) {
          self->ReadRequest();
        } else {
          self->SayFarewell();
        }
      });
}

void Session::StartStream(const Reply& reply, bool keepAlive) {
  if (!mContext.connections.ComeTo(*this, Stage::Streaming)) {
    const std::string most = std::to_string(mContext.limits.streams);
    SendReply(Problem(503, "No room", most + " clients take streams already; try again later"),
              keepAlive);
    return;
  }
  mSource = reply.stream;
  mText = "HTTP/1.1 200 OK\r\nContent-Type: " + reply.contentType +
          "\r\nCache-Control: no-store\r\nConnection: close\r\n\r\n";
  SendText();
  // Nothing more is expected from it but its leaving.
  mStream.expires_never();
  DiscardRest();
}

void Session::ContinueStream() {
  if (mIsTold.exchange(true)) return;
  asio::post(mStream.get_executor(), [self = Self()] { self->SendNext(); });
}

void Session::SendNext() {
  if (mIsSending) return;
  mIsTold = false;
  mText = mSource->Next();
  if (!mText.empty()) SendText();
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
                        self->SendNext();
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

}  // namespace http
