// One connection: requests in turn, or a stream until the client leaves.
#pragma once

#include <array>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <chrono>
#include <optional>

#include "http/connections.h"
#include "http/lane.h"
#include "http/limits.h"
#include "http/message.h"
#include "http/secure_channel.h"

namespace http {

// What the sessions of a server have in common; it outlives them.
struct SessionContext {
  boost::asio::io_context& network;  // one thread runs it
  Handler handler;
  Limits limits;
  Connections& connections;
  Lane& files;                          // reads them
  std::shared_ptr<SecureLayer> secure;  // null: nobody speaks TLS here
  std::function<void()> closed;         // told when a descriptor is free again
  std::size_t refused = 0;              // connections that are being told that there is no room
};

// All on the network's thread, where also its last holder leaves it.
class Session : public Connection, public std::enable_shared_from_this<Session> {
 public:
  Session(Socket socket, SessionContext& context);
  ~Session() override;

  void Start();
  // In place of Start: says that there is no room, and ends.
  void Refuse();
  void Drop() override;
  void ContinueStream() override;
  bool Beats() override;

 private:
  using Parser = boost::beast::http::request_parser<boost::beast::http::string_body>;
  using Step = void (Session::*)();
  struct Piece;
  struct Pending;

  // With the first byte there: of a TLS handshake, or of a request.
  void BeginSecurely();
  void ReadRequest();
  // Into mBuffer; then(error, bytes).
  template <typename Then>
  void ReadSome(Then then);
  void ReadMore();
  void Parse();
  void TakeHeader();
  std::optional<Reply> HeaderProblem() const;
  bool HasForbiddenTrailer() const;
  void Fail(boost::beast::error_code error);
  void RefuseRequest(Reply reply);
  void Answer();
  void WatchForLeaving();
  void SendReply(Reply reply);
  void FillHead(const Reply& reply);
  void ReplySent();
  void ReadPiece();
  void SendPiece();
  void StartStream(const Reply& reply);
  void SendNext();
  void SendOfStream();
  void StreamSent();
  // Sends what mUnsent says; then goes on to that step.
  void Write(Step then);
  void SayFarewell();
  void TakeRest();
  void DiscardRest();
  void EndAfter(std::chrono::milliseconds limit);
  void Close();

  SessionContext& mContext;
  Socket mSocket;
  std::unique_ptr<SecureChannel> mSecure;  // null: in the clear
  // Itself, while nothing on the network waits for it: its reply, or a piece of a file, is on the
  // way.
  std::shared_ptr<Session> mAwaited;
  // Of the request:
  boost::beast::flat_buffer mBuffer;
  std::optional<Parser> mParser;
  std::uint64_t mTurn = 0;  // which one of the connection it is
  std::size_t mParsed = 0;  // bytes of it
  Request mRequest;
  bool mHasHeader = false;
  bool mIsHead = false;
  bool mIsReplied = false;
  bool mKeepAlive = false;
  bool mIsRefused = false;
  // What is being sent.
  std::string mHead;
  std::string mBody;
  std::array<boost::asio::const_buffer, 2> mUnsent;
  std::shared_ptr<Piece> mPiece;
  std::shared_ptr<Stream> mStream;
  bool mIsSending = false;  // of the stream
};

}  // namespace http
