#include "http/session.h"

#include <algorithm>
#include <boost/asio/dispatch.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/status.hpp>
#include <cctype>

namespace http {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace beast_http = boost::beast::http;
using beast_http::field;
using tcp = asio::ip::tcp;

namespace {

constexpr std::size_t kReadAtOnce = 8UL * 1024;
constexpr std::size_t kPiece = 64UL * 1024;  // of a file

// Fields that say where a request ends and who asks: each once, and in its head.
constexpr field kDecisive[] = {field::content_length, field::transfer_encoding, field::host,
                               field::origin};

Reply TooLarge(const char* what, std::size_t most) {
  return Problem(413, "Too large",
                 std::string(what) + " has at most " + std::to_string(most) + " bytes");
}

}  // namespace

// A part of a file on its way from the disk; read on another thread.
struct Session::Piece {
  explicit Piece(std::shared_ptr<const File> source)
      : file(std::move(source)),
        left(file->Size()),
        bytes(static_cast<std::size_t>(std::min<std::uint64_t>(left, kPiece))) {}
  std::size_t Wanted() const {
    return static_cast<std::size_t>(std::min<std::uint64_t>(left, bytes.size()));
  }
  std::shared_ptr<const File> file;
  std::uint64_t left;  // to be sent, this part included
  std::vector<char> bytes;
  std::size_t count = 0;  // that were read
};

// The answer that is still to come, on whichever thread.
struct Session::Pending {
  Pending(asio::io_context& io, std::weak_ptr<Session> asker)
      : network(io), session(std::move(asker)) {}
  Pending(const Pending&) = delete;
  Pending& operator=(const Pending&) = delete;
  ~Pending() {
    if (isAnswered) return;
    asio::post(network, [asker = session] {
      if (const auto self = asker.lock()) self->Close();
    });
  }
  void Answer(Reply reply) {
    isAnswered = true;
    asio::dispatch(network, [asker = session, answer = std::move(reply)]() mutable {
      if (const auto self = asker.lock()) self->SendReply(std::move(answer));
    });
  }
  asio::io_context& network;
  std::weak_ptr<Session> session;
  bool isAnswered = false;
};

Session::Session(Socket socket, SessionContext& context)
    : mContext(context), mSocket(std::move(socket)) {}

Session::~Session() {
  mContext.connections.Forget(*this);
  if (mIsRefused) --mContext.refused;
}

void Session::Start() {
  beast::error_code ignored;
  mSocket.set_option(tcp::no_delay(true), ignored);
  mSocket.non_blocking(true, ignored);
  if (mContext.secure == nullptr) {
    ReadRequest();
    return;
  }
  mRequest.peer = mSocket.remote_endpoint(ignored).address().to_string(ignored);
  EndAfter(mContext.limits.request);
  mSocket.async_wait(tcp::socket::wait_read, [self = shared_from_this()](beast::error_code error) {
    if (error) {
      self->Close();
    } else {
      self->BeginSecurely();
    }
  });
}

void Session::BeginSecurely() {
  constexpr char kHandshake = 0x16;  // what a TLS client's first record is
  beast::error_code error;
  char first = 0;
  mSocket.receive(asio::buffer(&first, 1), tcp::socket::message_peek, error);
  if (error || first != kHandshake) {
    ReadRequest();
    return;
  }
  mSecure = mContext.secure->Over(mSocket);
  mSecure->Begin([self = shared_from_this()](beast::error_code failed, std::size_t /*bytes*/) {
    if (failed) {
      self->Close();
      return;
    }
    self->mRequest.isSecure = true;
    self->ReadRequest();
  });
}

void Session::Refuse() {
  mIsRefused = true;
  // Dropped without a word; a handshake is more work than being served.
  if (++mContext.refused > mContext.limits.refused || mContext.secure != nullptr) return;
  beast::error_code ignored;
  mSocket.non_blocking(true, ignored);
  RefuseRequest(Problem(503, "No room", "too many clients are connected; try again later"));
}

void Session::Drop() {
  Close();
}

void Session::ReadRequest() {
  if (!mContext.connections.ComeTo(*this, Stage::Silent)) {
    Close();
    return;
  }
  mParser.emplace();
  mParser->header_limit(mContext.limits.header);
  mParser->body_limit(mContext.limits.body);
  mParsed = 0;
  mHasHeader = false;
  mIsReplied = false;
  ++mTurn;
  EndAfter(mContext.limits.request);
  if (mBuffer.size() == 0) {
    ReadMore();
  } else {
    // The others' turn comes between two requests that came together.
    asio::post(mContext.network, [self = shared_from_this()] {
      if (self->mSocket.is_open()) self->Parse();
    });
  }
}

template <typename Then>
void Session::ReadSome(Then then) {
  if (mSecure != nullptr) {
    mSecure->ReadSome(mBuffer.prepare(kReadAtOnce), std::move(then));
  } else {
    mSocket.async_read_some(mBuffer.prepare(kReadAtOnce), std::move(then));
  }
}

void Session::ReadMore() {
  ReadSome([self = shared_from_this()](beast::error_code error, std::size_t bytes) {
    if (error) {
      self->Close();
      return;
    }
    self->mBuffer.commit(bytes);
    self->Parse();
  });
}

void Session::Parse() {
  for (;;) {
    beast::error_code error;
    const std::size_t used = mParser->put(mBuffer.data(), error);
    mBuffer.consume(used);
    mParsed += used;
    const bool needsMore = error == beast_http::error::need_more;
    if (error && !needsMore) {
      Fail(error);
      return;
    }
    if (mParser->is_header_done() && !mHasHeader) {
      TakeHeader();
      if (std::optional<Reply> problem = HeaderProblem()) {
        RefuseRequest(std::move(*problem));
        return;
      }
    }
    // What is neither body nor finished is a line that has no end yet.
    const std::size_t lines =
        mParsed + (needsMore ? mBuffer.size() : 0) - mParser->get().body().size();
    if (lines > mContext.limits.header) {
      RefuseRequest(TooLarge("a header", mContext.limits.header));
      return;
    }
    if (mParser->is_done()) {
      Answer();
      return;
    }
    if (needsMore || mBuffer.size() == 0) {
      ReadMore();
      return;
    }
  }
}

// Before a trailer of the body can add to it.
void Session::TakeHeader() {
  const auto& message = mParser->get();
  mHasHeader = true;
  mIsHead = message.method() == beast_http::verb::head;
  mKeepAlive = message.keep_alive();
  mRequest.method = std::string(message.method_string());
  mRequest.target = std::string(message.target());
  mRequest.host = std::string(message[field::host]);
  mRequest.origin = std::string(message[field::origin]);
  mRequest.lastEvent = std::string(message["Last-Event-ID"]);
  mRequest.cookie = std::string(message[field::cookie]);
  mParser->eager(true);
}

// Two lengths, even alike, are two opinions of where the next request begins; two hosts or origins
// of who asks. A body whose encoding nobody here reads has no end that we know.
std::optional<Reply> Session::HeaderProblem() const {
  const auto& message = mParser->get();
  for (const field each : kDecisive) {
    if (message.count(each) <= 1) continue;
    return Problem(400, "Malformed", "more than one " + std::string(beast_http::to_string(each)));
  }
  const auto length = message[field::content_length];
  if (!std::all_of(length.begin(), length.end(), [](unsigned char c) { return std::isdigit(c); })) {
    return Problem(400, "Malformed", "a Content-Length is one number");
  }
  const auto encoding = message[field::transfer_encoding];
  if (message.count(field::transfer_encoding) > 0 && !beast::iequals(encoding, "chunked")) {
    return Problem(501, "Not implemented", "chunked is the only Transfer-Encoding taken here");
  }
  return std::nullopt;
}

bool Session::HasForbiddenTrailer() const {
  const auto& message = mParser->get();
  if (!mParser->chunked()) return false;
  return message.count(field::content_length) > 0 || message.count(field::transfer_encoding) > 1 ||
         message.count(field::host) != (mRequest.host.empty() ? 0 : 1) ||
         message.count(field::origin) != (mRequest.origin.empty() ? 0 : 1);
}

// Of bytes that are no request, where they are worth an answer.
void Session::Fail(beast::error_code error) {
  if (error == beast_http::error::body_limit) {
    RefuseRequest(TooLarge("a body", mContext.limits.body));
  } else if (error == beast_http::error::header_limit) {
    RefuseRequest(TooLarge("a header", mContext.limits.header));
  } else {
    RefuseRequest(Problem(400, "Malformed", error.message()));
  }
}

void Session::RefuseRequest(Reply reply) {
  mKeepAlive = false;
  SendReply(std::move(reply));
}

void Session::Answer() {
  if (HasForbiddenTrailer()) {
    RefuseRequest(Problem(400, "Malformed", "a trailer says what only a header may say"));
    return;
  }
  if (!mContext.connections.ComeTo(*this, Stage::Served)) {
    Close();
    return;
  }
  mRequest.body = std::move(mParser->get().body());
  // A test takes its time.
  mContext.connections.SetDeadline(*this, kNoDeadline);
  mAwaited = shared_from_this();
  const std::uint64_t turn = mTurn;
  mContext.handler(mRequest,
                   [pending = std::make_shared<Pending>(mContext.network, weak_from_this())](
                       Reply reply) { pending->Answer(std::move(reply)); });
  if (turn == mTurn && !mIsReplied) WatchForLeaving();
}

// A client that leaves while its answer is under way leaves its place to others; the answer is
// tried, for a client that only ended its own sending. Behind TLS its leaving is not told from what
// it says next: it keeps its place until it is answered.
void Session::WatchForLeaving() {
  mSocket.async_wait(
      tcp::socket::wait_read, [self = shared_from_this(), turn = mTurn](beast::error_code error) {
        const bool isUnderWay = self->mTurn == turn && !self->mIsReplied;
        if (error || !isUnderWay) return;
        beast::error_code failed;
        char next = 0;
        const std::size_t bytes =
            self->mSocket.receive(asio::buffer(&next, 1), tcp::socket::message_peek, failed);
        const bool hasLeft = bytes == 0 && failed != asio::error::would_block;
        if (hasLeft) self->mContext.connections.ComeTo(*self, Stage::Gone);
      });
}

void Session::SendReply(Reply reply) {
  const auto self = shared_from_this();
  mAwaited.reset();
  mIsReplied = true;
  if (!mSocket.is_open()) return;
  const bool headOnly = mHasHeader && mIsHead;
  if (reply.stream != nullptr && !headOnly) {
    StartStream(reply);
    return;
  }
  FillHead(reply);
  mPiece = reply.file == nullptr || headOnly ? nullptr : std::make_shared<Piece>(reply.file);
  if (headOnly) {
    mBody.clear();
  } else {
    mBody = std::move(reply.body);
  }
  mUnsent = {asio::buffer(mHead), asio::buffer(mBody)};
  // A client that does not take its reply makes room for others too.
  mContext.connections.ComeTo(*this, Stage::Silent);
  EndAfter(mContext.limits.reply);
  Write(&Session::ReplySent);
}

void Session::FillHead(const Reply& reply) {
  const auto reason = beast_http::obsolete_reason(beast_http::int_to_status(reply.status));
  const std::uint64_t length = reply.file == nullptr ? reply.body.size() : reply.file->Size();
  mHead.assign("HTTP/1.1 ").append(std::to_string(reply.status)).append(" ");
  mHead.append(reason.data(), reason.size()).append("\r\nContent-Type: ");
  mHead.append(reply.contentType).append("\r\nX-Content-Type-Options: nosniff\r\n");
  const bool isKept =
      std::any_of(reply.headers.begin(), reply.headers.end(),
                  [](const auto& header) { return header.first == "Cache-Control"; });
  if (!isKept) mHead.append("Cache-Control: no-store\r\n");
  for (const auto& [name, value] : reply.headers) {
    mHead.append(name).append(": ").append(value).append("\r\n");
  }
  if (reply.stream == nullptr) {
    mHead.append("Content-Length: ").append(std::to_string(length)).append("\r\n");
  }
  if (reply.stream != nullptr || !mKeepAlive) {
    mHead.append("Connection: close\r\n");
  } else if (mParser->get().version() == 10) {
    mHead.append("Connection: keep-alive\r\n");
  }
  mHead.append("\r\n");
}

void Session::ReplySent() {
  mBody = {};
  if (mPiece != nullptr) {
    ReadPiece();
  } else if (mKeepAlive) {
    ReadRequest();
  } else {
    SayFarewell();
  }
}

void Session::ReadPiece() {
  if (mPiece->left == 0) {
    mPiece.reset();
    ReplySent();
    return;
  }
  mAwaited = shared_from_this();
  mContext.files.Run([&network = mContext.network, asker = weak_from_this(), piece = mPiece] {
    piece->count = piece->file->Read(piece->file->Size() - piece->left,
                                     std::span(piece->bytes).first(piece->Wanted()));
    asio::post(network, [asker] {
      if (const auto self = asker.lock()) self->SendPiece();
    });
  });
}

void Session::SendPiece() {
  const auto self = shared_from_this();
  mAwaited.reset();
  if (!mSocket.is_open()) return;
  // It has become shorter: the length that was promised cannot be kept.
  if (mPiece->count < mPiece->Wanted()) {
    Close();
    return;
  }
  mUnsent = {asio::buffer(mPiece->bytes.data(), mPiece->count), {}};
  mPiece->left -= mPiece->count;
  Write(&Session::ReadPiece);
}

void Session::StartStream(const Reply& reply) {
  if (!mContext.connections.ComeTo(*this, Stage::Streaming)) {
    const std::string most = std::to_string(mContext.limits.streams);
    SendReply(Problem(503, "No room", most + " clients take streams already; try again later"));
    return;
  }
  mStream = reply.stream;
  FillHead(reply);
  mUnsent = {asio::buffer(mHead), {}};
  mIsSending = true;
  EndAfter(mContext.limits.reply);
  // Nothing more is expected from it but its leaving.
  DiscardRest();
  Write(&Session::StreamSent);
}

void Session::ContinueStream() {
  SendNext();
}

void Session::SendNext() {
  if (mIsSending || !mSocket.is_open()) return;
  mBody = mStream->Next();
  if (!mBody.empty()) {
    SendOfStream();
  } else if (mStream->IsOver()) {
    Close();
  } else if (mContext.limits.beat > mContext.limits.beat.zero()) {
    EndAfter(mContext.limits.beat);
  }
}

void Session::SendOfStream() {
  mUnsent = {asio::buffer(mBody), {}};
  mIsSending = true;
  EndAfter(mContext.limits.reply);
  Write(&Session::StreamSent);
}

bool Session::Beats() {
  if (mIsSending) return false;  // the client takes nothing
  mBody = mStream->Beat();
  if (!mBody.empty()) SendOfStream();
  return true;
}

void Session::StreamSent() {
  mIsSending = false;
  mContext.connections.SetDeadline(*this, kNoDeadline);
  asio::post(mContext.network, [self = shared_from_this()] { self->SendNext(); });
}

void Session::Write(Step then) {
  auto goOn = [self = shared_from_this(), then](beast::error_code failed, std::size_t /*bytes*/) {
    if (failed) {
      self->Close();
    } else {
      (self.get()->*then)();
    }
  };
  if (mSecure != nullptr) {
    mSecure->Write(mUnsent, std::move(goOn));
    return;
  }
  beast::error_code error;
  std::size_t sent = mSocket.write_some(mUnsent, error);
  if (error && error != asio::error::would_block) {
    Close();
    return;
  }
  for (asio::const_buffer& part : mUnsent) {
    const std::size_t count = std::min(sent, part.size());
    part += count;
    sent -= count;
  }
  if (mUnsent[0].size() + mUnsent[1].size() == 0) {
    (this->*then)();
    return;
  }
  asio::async_write(mSocket, mUnsent, std::move(goOn));
}

// What the client still sends is taken for a while: a socket that is closed with something unread
// would tear the reply away from it.
void Session::SayFarewell() {
  mContext.connections.ComeTo(*this, Stage::Silent);
  EndAfter(mContext.limits.farewell);
  if (mSecure != nullptr) {
    // It ends by the client's own farewell, or by an error where that is still sending.
    mSecure->EndSending([self = shared_from_this()](beast::error_code /*error*/,
                                                    std::size_t /*bytes*/) { self->TakeRest(); });
    return;
  }
  TakeRest();
}

// From here on nobody decrypts: what comes is thrown away.
void Session::TakeRest() {
  mSecure.reset();
  if (!mSocket.is_open()) return;
  beast::error_code ignored;
  mSocket.shutdown(tcp::socket::shutdown_send, ignored);
  DiscardRest();
}

void Session::DiscardRest() {
  mBuffer.clear();
  ReadSome([self = shared_from_this()](beast::error_code error, std::size_t /*bytes*/) {
    if (error) {
      self->Close();
    } else {
      self->DiscardRest();
    }
  });
}

void Session::EndAfter(std::chrono::milliseconds limit) {
  mContext.connections.SetDeadline(*this, std::chrono::steady_clock::now() + limit);
}

void Session::Close() {
  mContext.connections.ComeTo(*this, Stage::Gone);
  mContext.connections.SetDeadline(*this, kNoDeadline);
  if (mSocket.is_open()) {
    beast::error_code ignored;
    mSocket.close(ignored);
    mContext.closed();
  }
  // Not here: whoever walks through the connections must not lose this one.
  if (mAwaited != nullptr) asio::post(mContext.network, [self = std::move(mAwaited)] {});
}

}  // namespace http
