#include "client/camera_client.h"

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <optional>

namespace client {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using tcp = asio::ip::tcp;

namespace {

constexpr auto kConnectDeadline = std::chrono::seconds(5);
constexpr auto kReadDeadline = std::chrono::seconds(30);  // of a read
constexpr auto kInterruptCheck = std::chrono::milliseconds(100);
constexpr std::uint64_t kMostAnswer = 256ULL * 1024 * 1024;  // bytes

std::string Encoded(const std::string& path) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string encoded;
  for (const char c : path) {
    const auto byte = static_cast<unsigned char>(c);
    const bool plain = std::isalnum(byte) != 0 || c == '.' || c == '_' || c == '-' || c == '/';
    if (plain) {
      encoded += c;
    } else {
      encoded += {'%', kDigits[byte >> 4], kDigits[byte & 0xF]};
    }
  }
  return encoded;
}

std::string Target(const std::string& path) {
  const bool isCamera = !path.empty() && path.front() == '.';
  return isCamera ? "/api/v1/camera/" + Encoded(path.substr(1)) : "/api/v1/task/" + Encoded(path);
}

// keys: what a camera's answer has.
Json Parsed(const std::string& text, std::initializer_list<const char*> keys) {
  Json json = Json::parse(text, nullptr, false);
  const bool isCameras =
      json.is_object() && std::all_of(keys.begin(), keys.end(),
                                      [&json](const char* key) { return json.contains(key); });
  if (!isCameras) throw ConnectionError("what answers there is no camera");
  return json;
}

}  // namespace

struct CameraClient::Connection {
  asio::io_context context;
  beast::tcp_stream stream{context};
  beast::flat_buffer buffer;
  std::optional<beast::error_code> outcome;

  // Runs until the operation that was started has ended.
  void Await(const std::function<bool()>& interrupted) {
    outcome.reset();
    context.restart();
    while (!outcome) {
      context.run_for(kInterruptCheck);
      if (!outcome && interrupted && interrupted()) throw InterruptedError();
    }
    if (*outcome) throw ConnectionError(outcome->message());
  }

  auto Completion() {
    return [this](beast::error_code error, auto... /*rest*/) { outcome = error; };
  }
};

CameraClient::CameraClient(std::uint16_t port, std::function<bool()> interrupted)
    : mPort(port), mInterrupted(std::move(interrupted)) {}

CameraClient::~CameraClient() = default;

std::string CameraClient::Exchange(const std::string& method, const std::string& target,
                                   const std::string& body) {
  // Answers that come at once leave no time to ask while one is awaited.
  if (mInterrupted && mInterrupted()) throw InterruptedError();
  if (mConnection == nullptr) {
    auto connection = std::make_unique<Connection>();
    connection->stream.expires_after(kConnectDeadline);
    connection->stream.async_connect(tcp::endpoint(asio::ip::address_v4::loopback(), mPort),
                                     connection->Completion());
    connection->Await(mInterrupted);
    beast::error_code ignored;
    connection->stream.socket().set_option(tcp::no_delay(true), ignored);
    mConnection = std::move(connection);
  }
  http::request<http::string_body> request;
  request.version(11);
  request.method_string(method);
  request.target(target);
  request.set(http::field::host, "127.0.0.1:" + std::to_string(mPort));
  if (!body.empty()) request.set(http::field::content_type, "application/json");
  request.body() = body;
  request.prepare_payload();

  Connection& connection = *mConnection;
  connection.stream.expires_after(kReadDeadline);
  http::async_write(connection.stream, request, connection.Completion());
  connection.Await(mInterrupted);

  // A test takes as long as it takes.
  if (method == "PUT") connection.stream.expires_never();
  http::response_parser<http::string_body> parser;
  parser.body_limit(kMostAnswer);
  http::async_read(connection.stream, connection.buffer, parser, connection.Completion());
  connection.Await(mInterrupted);
  const auto& response = parser.get();
  if (response.result_int() >= 400) {
    const Json problem = Json::parse(response.body(), nullptr, false);
    throw RefusedError(response.result_int(), problem.is_object() && problem.contains("detail")
                                                  ? problem["detail"].get<std::string>()
                                                  : std::string(response.reason()));
  }
  return response.body();
}

std::string CameraClient::Request(const std::string& method, const std::string& target,
                                  const std::string& body) {
  // A connection that idled too long is gone: a read may be asked again on a new one. A write may
  // have arrived, so it is only sent on a connection that was just used or is new.
  const bool repeats = mConnection != nullptr && method == "GET";
  try {
    return Exchange(method, target, body);
  } catch (const ConnectionError&) {
    mConnection.reset();
    if (!repeats) throw;
  } catch (const InterruptedError&) {
    mConnection.reset();
    throw;
  }
  return Exchange(method, target, body);
}

Json CameraClient::Get(const std::string& path, int depth) {
  return Parsed(Request("GET", Target(path) + "?depth=" + std::to_string(depth), ""),
                {"path", "kind", "type", "class", "value", "children"});
}

Json CameraClient::Set(const std::string& path, const Json& value, bool traced) {
  Json body;
  body["value"] = value;
  return Parsed(Request("PUT", Target(path) + (traced ? "?trace=1" : ""), body.dump()),
                {"status", "value", "records"});
}

std::string CameraClient::File(const std::string& path) {
  return Request("GET", "/api/v1/files/" + Encoded(path), "");
}

}  // namespace client
