#include "client/camera_client.h"

#include <netinet/tcp.h>

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <optional>
#include <vector>

namespace client {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using tcp = asio::ip::tcp;

namespace {

constexpr auto kFreshFor = std::chrono::seconds(10);  // the camera lets an idle connection go later
constexpr auto kInterruptCheck = std::chrono::milliseconds(100);
constexpr std::uint64_t kMostAnswer = 256ULL * 1024 * 1024;  // bytes
constexpr char kNoCamera[] = "what answers there is no camera";

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
Json Parsed(const std::string& text, const std::vector<const char*>& keys) {
  Json json = Json::parse(text, nullptr, false);
  const bool isCameras =
      json.is_object() && std::all_of(keys.begin(), keys.end(),
                                      [&json](const char* key) { return json.contains(key); });
  if (!isCameras) throw ConnectionError(kNoCamera);
  return json;
}

Json ParsedNode(const std::string& text) {
  return Parsed(text, {"path", "kind", "type", "class", "value", "children"});
}

// A write's answer may take hours: a machine that has gone without a word is noticed by probes.
void ProbeWhileSilent(tcp::socket& socket) {
  constexpr int kIdle = 15;  // seconds
  constexpr int kBetween = 5;
  constexpr int kProbes = 3;
  beast::error_code ignored;
  socket.set_option(asio::socket_base::keep_alive(true), ignored);
  const std::pair<int, int> options[] = {
      {TCP_KEEPIDLE, kIdle}, {TCP_KEEPINTVL, kBetween}, {TCP_KEEPCNT, kProbes}};
  for (const auto& [option, value] : options) {
    setsockopt(socket.native_handle(), IPPROTO_TCP, option, &value, sizeof value);
  }
}

// Whoever has waited that long does not want to wait for it once more.
class TimeOutError : public ConnectionError {
 public:
  TimeOutError() : ConnectionError("no answer in time") {}
};

}  // namespace

// Of an operation under way; none until it has ended.
using Outcome = std::optional<beast::error_code>;

struct CameraClient::Connection {
  explicit Connection(asio::io_context& context) : stream(context) {}
  beast::tcp_stream stream;
  beast::flat_buffer buffer;
  http::request<http::string_body> request;
  std::optional<http::response_parser<http::string_body>> parser;
  std::chrono::steady_clock::time_point lastUse;
  bool staysOpen = true;
};

// Events as they come, one by one.
struct CameraClient::EventStream {
  EventStream(std::unique_ptr<Connection> opened, OnEvent called)
      : connection(std::move(opened)), onEvent(std::move(called)) {
    // What came with the head.
    const auto data = connection->buffer.data();
    text.assign(static_cast<const char*>(data.data()), data.size());
  }

  void ReadOn() {
    connection->stream.async_read_some(asio::buffer(piece),
                                       [this](beast::error_code error, std::size_t count) {
                                         if (error) {
                                           ended = error;
                                           return;
                                         }
                                         text.append(piece, count);
                                         CallForWhole();
                                         ReadOn();
                                       });
  }

  void CallForWhole() {
    static constexpr std::string_view kEnd = "\n\n";
    for (std::size_t end = text.find(kEnd); end != std::string::npos; end = text.find(kEnd)) {
      const std::string block = text.substr(0, end + 1);
      text.erase(0, end + kEnd.size());
      onEvent({FieldOf(block, "id: "), FieldOf(block, "event: "),
               Json::parse(FieldOf(block, "data: "), nullptr, false)});
    }
  }

  static std::string FieldOf(const std::string& block, std::string_view name) {
    std::size_t begin = 0;
    while (begin < block.size()) {
      const std::size_t end = block.find('\n', begin);
      if (block.compare(begin, name.size(), name) == 0) {
        return block.substr(begin + name.size(), end - begin - name.size());
      }
      begin = end + 1;
    }
    return {};
  }

  std::unique_ptr<Connection> connection;
  OnEvent onEvent;
  std::string text;
  char piece[16384];
  Outcome ended;
};

struct CameraClient::Question {
  std::string method;
  std::string target;
  std::string body;
  std::string lastEvent;
};

struct CameraClient::Network {
  asio::io_context context;
  std::unique_ptr<Connection> requests;
  std::unique_ptr<EventStream> events;

  static auto Completion(const std::shared_ptr<Outcome>& outcome) {
    return [outcome](beast::error_code error, auto... /*rest*/) { *outcome = error; };
  }

  // Runs until done() holds; onEvent is called here too.
  bool RunUntil(const std::function<bool()>& done, const std::function<bool()>& interrupted,
                std::chrono::steady_clock::time_point deadline) {
    while (!done()) {
      if (std::chrono::steady_clock::now() >= deadline) return false;
      context.restart();
      context.run_one_for(kInterruptCheck);
      if (!done() && interrupted && interrupted()) throw InterruptedError();
    }
    return true;
  }
  void Await(const Outcome& outcome, const std::function<bool()>& interrupted) {
    RunUntil([&outcome] { return outcome.has_value(); }, interrupted,
             std::chrono::steady_clock::time_point::max());
    if (*outcome == beast::error::timeout) throw TimeOutError();
    if (*outcome) throw ConnectionError(outcome->message());
  }

  // What was under way on it ends before it does.
  void Drop(std::unique_ptr<Connection>& connection) {
    if (connection == nullptr) return;
    connection->stream.close();
    context.restart();
    context.poll();
    connection.reset();
  }
};

CameraClient::CameraClient(std::string host, std::uint16_t port, Interrupted interrupted,
                           TimeOuts timeOuts)
    : mHost(std::move(host)),
      mPort(port),
      mInterrupted(std::move(interrupted)),
      mTimeOuts(timeOuts),
      mNetwork(std::make_unique<Network>()) {}

CameraClient::CameraClient(std::uint16_t port, Interrupted interrupted)
    : CameraClient("127.0.0.1", port, std::move(interrupted)) {}

CameraClient::~CameraClient() = default;

void CameraClient::OpenSocket(Connection& connection) {
  beast::error_code isName;
  const asio::ip::address address = asio::ip::make_address(mHost, isName);
  const auto outcome = std::make_shared<Outcome>();
  if (!isName) {
    connection.stream.async_connect(tcp::endpoint(address, mPort), Network::Completion(outcome));
    mNetwork->Await(*outcome, mInterrupted);
    return;
  }
  const auto resolved = std::make_shared<Outcome>();
  const auto found = std::make_shared<tcp::resolver::results_type>();
  tcp::resolver resolver(mNetwork->context);
  resolver.async_resolve(
      mHost, std::to_string(mPort),
      [resolved, found](beast::error_code error, tcp::resolver::results_type results) {
        *found = std::move(results);
        *resolved = error;
      });
  const bool inTime =
      mNetwork->RunUntil([&resolved] { return resolved->has_value(); }, mInterrupted,
                         std::chrono::steady_clock::now() + mTimeOuts.connect);
  if (!inTime) throw ConnectionError("the name " + mHost + " was not found in time");
  if (**resolved) throw ConnectionError(mHost + ": " + (*resolved)->message());
  connection.stream.async_connect(*found, Network::Completion(outcome));
  mNetwork->Await(*outcome, mInterrupted);
}

// Whatever is sent, a write above all, is for a camera: the first question on each connection is
// one that only a camera answers.
std::unique_ptr<CameraClient::Connection> CameraClient::ConnectTo() {
  auto connection = std::make_unique<Connection>(mNetwork->context);
  connection->stream.expires_after(mTimeOuts.connect);
  try {
    OpenSocket(*connection);
    tcp::socket& socket = connection->stream.socket();
    beast::error_code ignored;
    socket.set_option(tcp::no_delay(true), ignored);
    ProbeWhileSilent(socket);
    Ask(*connection, {"GET", Target(""), "", ""});
    ParsedNode(Body(*connection));
  } catch (...) {
    mNetwork->Drop(connection);
    throw;
  }
  return connection;
}

// Sends a request and reads the head of its answer.
void CameraClient::Ask(Connection& connection, const Question& question) {
  const bool isAddress6 = mHost.find(':') != std::string::npos;
  http::request<http::string_body>& request = connection.request;
  request = {};
  request.version(11);
  request.method_string(question.method);
  request.target(question.target);
  request.set(http::field::host,
              (isAddress6 ? "[" + mHost + "]" : mHost) + ":" + std::to_string(mPort));
  if (!question.body.empty()) request.set(http::field::content_type, "application/json");
  if (!question.lastEvent.empty()) request.set("Last-Event-ID", question.lastEvent);
  request.body() = question.body;
  request.prepare_payload();

  const auto sent = std::make_shared<Outcome>();
  http::async_write(connection.stream, request, Network::Completion(sent));
  mNetwork->Await(*sent, mInterrupted);

  // A test takes as long as it takes; its answer, once it begins, does not.
  const bool isWrite = question.method == "PUT";
  if (isWrite) connection.stream.expires_never();
  const auto answered = std::make_shared<Outcome>();
  connection.parser.emplace();
  connection.parser->body_limit(kMostAnswer);
  http::async_read_header(connection.stream, connection.buffer, *connection.parser,
                          Network::Completion(answered));
  mNetwork->Await(*answered, mInterrupted);
  if (isWrite) connection.stream.expires_after(mTimeOuts.answer);
}

// The rest of an answer; a refusal is thrown.
std::string CameraClient::Body(Connection& connection) {
  const auto outcome = std::make_shared<Outcome>();
  http::async_read(connection.stream, connection.buffer, *connection.parser,
                   Network::Completion(outcome));
  mNetwork->Await(*outcome, mInterrupted);
  const auto& response = connection.parser->get();
  connection.lastUse = std::chrono::steady_clock::now();
  connection.staysOpen = response.keep_alive();
  if (response.result_int() >= 400) {
    // A camera says what is wrong.
    const Json problem = Json::parse(response.body(), nullptr, false);
    const Json detail = problem.is_object() ? problem.value("detail", Json()) : Json();
    if (!detail.is_string()) throw ConnectionError(kNoCamera);
    throw RefusedError(response.result_int(), detail.get<std::string>());
  }
  return response.body();
}

std::string CameraClient::Exchange(const Question& question) {
  // Answers that come at once leave no time to ask while one is awaited.
  if (mInterrupted && mInterrupted()) throw InterruptedError();
  if (mNetwork->requests == nullptr) mNetwork->requests = ConnectTo();
  Connection& connection = *mNetwork->requests;
  connection.stream.expires_after(mTimeOuts.answer);
  Ask(connection, question);
  return Body(connection);
}

std::string CameraClient::Request(const Question& question) {
  // A connection that idled too long is gone: a read may be asked again on a new one. A write may
  // have arrived, so it is only sent on a connection that was just used or is new.
  std::unique_ptr<Connection>& used = mNetwork->requests;
  const bool isStale =
      used != nullptr &&
      (!used->staysOpen || std::chrono::steady_clock::now() - used->lastUse > kFreshFor);
  if (isStale) mNetwork->Drop(used);
  const bool repeats = used != nullptr && question.method == "GET";
  try {
    return Exchange(question);
  } catch (const TimeOutError&) {
    mNetwork->Drop(mNetwork->requests);
    throw;
  } catch (const ConnectionError&) {
    mNetwork->Drop(mNetwork->requests);
    if (!repeats) throw;
  } catch (const InterruptedError&) {
    mNetwork->Drop(mNetwork->requests);
    throw;
  }
  return Exchange(question);
}

Json CameraClient::Get(const std::string& path, int depth) {
  return ParsedNode(Request({"GET", Target(path) + "?depth=" + std::to_string(depth), "", ""}));
}

Json CameraClient::Set(const std::string& path, const Json& value, Traced traced) {
  static constexpr const char* kWishes[] = {"", "?trace=failed", "?trace=1"};
  Json body;
  body["value"] = value;
  return Parsed(
      Request({"PUT", Target(path) + kWishes[static_cast<std::size_t>(traced)], body.dump(), ""}),
      {"status", "value", "records"});
}

Json CameraClient::Knobs() {
  return Parsed(Request({"GET", "/api/v1/knobs", "", ""}), {"knobs"});
}

Json CameraClient::Lease() {
  return Parsed(Request({"GET", "/api/v1/lease", "", ""}), {"owner", "seconds"});
}

Json CameraClient::TakeLease(const std::string& owner, double seconds) {
  const Json body = {{"owner", owner}, {"seconds", seconds}};
  return Parsed(Request({"PUT", "/api/v1/lease", body.dump(), ""}), {"owner", "seconds"});
}

Json CameraClient::Screen() {
  const std::string text = Request({"GET", "/api/v1/screen", "", ""});
  return text == "null" ? Json() : Parsed(text, {});
}

std::string CameraClient::Picture(bool viewFinder) {
  const std::string display = viewFinder ? "?display=viewfinder" : "";
  return Request({"GET", "/api/v1/screen.png" + display, "", ""});
}

std::string CameraClient::File(const std::string& path) {
  return Request({"GET", "/api/v1/files/" + Encoded(path), "", ""});
}

void CameraClient::Subscribe(OnEvent onEvent, const std::string& after) {
  Unsubscribe();
  auto connection = ConnectTo();
  try {
    connection->stream.expires_after(mTimeOuts.answer);
    Ask(*connection, {"GET", "/api/v1/events", "", after});
    if (connection->parser->get().result_int() >= 400) Body(*connection);
  } catch (...) {
    mNetwork->Drop(connection);
    throw;
  }
  connection->stream.expires_never();
  mNetwork->events = std::make_unique<EventStream>(std::move(connection), std::move(onEvent));
  mNetwork->events->CallForWhole();
  mNetwork->events->ReadOn();
}

void CameraClient::Unsubscribe() {
  if (mNetwork->events == nullptr) return;
  mNetwork->events->onEvent = [](const Event&) {};
  mNetwork->Drop(mNetwork->events->connection);
  mNetwork->events.reset();
}

bool CameraClient::AwaitEvents(const std::function<bool()>& done,
                               std::chrono::milliseconds patience) {
  const auto ended = [this] { return mNetwork->events == nullptr || mNetwork->events->ended; };
  const bool came = mNetwork->RunUntil([&] { return done() || ended(); }, mInterrupted,
                                       std::chrono::steady_clock::now() + patience);
  if (came && !done()) throw ConnectionError("the stream of events has ended");
  return came;
}

void CameraClient::Pause(std::chrono::milliseconds length) {
  const auto outcome = std::make_shared<Outcome>();
  asio::steady_timer timer(mNetwork->context, length);
  timer.async_wait(Network::Completion(outcome));
  mNetwork->Await(*outcome, mInterrupted);
}

}  // namespace client
