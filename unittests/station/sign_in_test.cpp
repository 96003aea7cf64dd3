// Who may do what at a station that other machines can reach, over TLS as they do.
#include "station/service/sign_in.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <atomic>
#include <boost/asio/ssl.hpp>
#include <cstdlib>
#include <fstream>
#include <thread>

#include "station/service/refusal.h"
#include "station/service/service.h"
#include "station/service/users.h"
#include "support/desk_process.h"
#include "support/process.h"
#include "support/raw_client.h"

namespace test {
namespace {

using namespace station;  // NOLINT(google-build-using-namespace)
namespace asio = boost::asio;

constexpr char kPassword[] = "long enough";

class SignInTest : public testing::Test {
 protected:
  void Add(const std::string& name, Role role) {
    AddUser(mStore, "root", name, role, kPassword, PasswordCost::Least);
  }
  void Change(const std::string& name, const UserChange& change) {
    ChangeUser(mStore, "root", name, change, PasswordCost::Least);
  }
  std::string AuditOf(const std::string& who) {
    std::string all;
    for (const AuditEntry& each : mStore.Audit(std::nullopt, 99)) {
      if (each.who == who) all += each.what + "\n";
    }
    return all;
  }

  TemporaryFolder mFolder;
  Store mStore{(mFolder.Path() / "station.db").string()};
};

// Of a refused act: its status, "200" where it is none.
template <typename Act>
unsigned StatusOf(const Act& act) {
  try {
    act();
    return 200;
  } catch (const Refusal& refusal) {
    return refusal.status;
  }
}

class SignInsTest : public SignInTest {
 protected:
  SignInsTest() { Add("Ada", Role::Administrator); }
  unsigned Try(const std::string& name, const std::string& password,
               const std::string& peer = "10.0.0.7") {
    return StatusOf([&] { mToken = mSignIns.SignIn(name, password, peer); });
  }

  Time mNow = 1'800'000'000'000;
  SignIns mSignIns{mStore, [this] { return mNow; }, PasswordCost::Least};
  std::string mToken;
};

TEST_F(SignInsTest, WrongPasswordsMakeTheNextOneWait) {
  for (const char* const name : {"Ada", "nobody"}) {
    for (int i = 0; i < 5; ++i) EXPECT_EQ(Try(name, "guessed wrong"), 401U) << name;
    // The right one too; the pause doubles, up to a quarter of an hour, and ends.
    for (const Time pause : {30, 60, 120, 240, 480, 900, 900}) {
      mNow += pause * 1000 - 1;
      EXPECT_EQ(Try(name, kPassword), 429U) << name << pause;
      mNow += 1;
      EXPECT_EQ(Try(name, "guessed wrong"), 401U) << name << pause;
    }
  }
  // Whoever guesses at one place keeps nobody out at another.
  EXPECT_EQ(Try("Ada", kPassword, "10.0.0.8"), 200U);
  mNow += 900'000;
  EXPECT_EQ(Try("Ada", kPassword), 200U);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(Try("Ada", "guessed wrong"), 401U) << "counted anew";
  EXPECT_NE(AuditOf("Ada").find("wrong name or password, from 10.0.0.7\n"), std::string::npos);
}

TEST_F(SignInsTest, GuessersAtManyPlacesWaitTogether) {
  const auto peer = [](int place) { return "10.0.1." + std::to_string(place / 4); };
  for (int i = 0; i < 100; ++i) EXPECT_EQ(Try("Ada", "guessed wrong", peer(i)), 401U) << i;
  EXPECT_EQ(Try("Ada", kPassword), 429U);
  mNow += 30'000;
  EXPECT_EQ(Try("Ada", kPassword), 200U);
}

// Hashing takes its time: what changes meanwhile holds.
TEST_F(SignInsTest, WhatChangesAtTheSameTimeIsNotUndone) {
  for (int i = 0; i < 5; ++i) {
    const std::string name = "user " + std::to_string(i);
    AddUser(mStore, "root", name, Role::Administrator, kPassword, PasswordCost::Usual);
    std::thread password([&] {
      ChangeUser(mStore, "root", name, {.password = "another one"}, PasswordCost::Usual);
    });
    std::thread signIn([&] { Try(name, kPassword); });
    ChangeUser(mStore, "root", name, {.role = Role::Operator, .isDisabled = true});
    password.join();
    signIn.join();
    const auto user = mStore.FindUser(name);
    EXPECT_TRUE(user->disabledAt);
    EXPECT_EQ(user->role, "operator");
    Change(name, {.isDisabled = false});
    EXPECT_EQ(mSignIns.WhoHas(mToken).name, "") << "signed in while it was disabled";
  }
  // Two that make each other operators: one of them stays.
  Add("Eve", Role::Administrator);
  std::thread first([this] { StatusOf([this] { Change("Ada", {.role = Role::Operator}); }); });
  StatusOf([this] { Change("Eve", {.role = Role::Operator}); });
  first.join();
  EXPECT_TRUE((mStore.FindUser("Ada")->role == "administrator") !=
              (mStore.FindUser("Eve")->role == "administrator"));
}

TEST_F(SignInsTest, ATokenEndsWithItsTimeItsUserAndItsSigningOut) {
  Add("Bo", Role::Engineer);
  const auto signIn = [this] {
    EXPECT_EQ(Try("Bo", kPassword), 200U);
    EXPECT_EQ(mSignIns.WhoHas(mToken).name, "Bo");
    EXPECT_EQ(mSignIns.WhoHas(mToken).role, Role::Engineer);
  };
  signIn();
  EXPECT_EQ(mSignIns.WhoHas(mToken.substr(1) + mToken[0]).role, Role::Anybody);
  EXPECT_EQ(mSignIns.WhoHas("").role, Role::Anybody);
  mNow += 12LL * 60 * 60 * 1000 - 1;
  EXPECT_EQ(mSignIns.WhoHas(mToken).name, "Bo");
  mNow += 1;
  EXPECT_EQ(mSignIns.WhoHas(mToken).name, "");
  const std::function<void()> ends[] = {
      [this] { mSignIns.SignOut(mToken); },
      [this] { Change("Bo", {.password = kPassword}); },
      [this] { Change("Bo", {.isDisabled = true}); },
  };
  for (const auto& end : ends) {
    signIn();
    end();
    EXPECT_EQ(mSignIns.WhoHas(mToken).name, "");
  }
  EXPECT_EQ(Try("Bo", kPassword), 401U) << "disabled";
  Change("Bo", {.isDisabled = false});
  signIn();
  Change("Bo", {.role = Role::Operator});
  EXPECT_EQ(mSignIns.WhoHas(mToken).role, Role::Operator) << "from now on";
  // Whoever reads the database is not signed in by it.
  std::ifstream file(mFolder.Path() / "station.db", std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(file)), {});
  EXPECT_EQ(bytes.find(mToken), std::string::npos);
  EXPECT_EQ(bytes.find(kPassword), std::string::npos);
}

TEST_F(SignInsTest, UsersAreCheckedAndNeverWithoutAnAdministrator) {
  const std::string blanks = "Ada ";
  const struct {
    std::string name;
    std::string password;
    unsigned status;
  } cases[] = {{"Ada", kPassword, 409},  {"", kPassword, 422},
               {blanks, kPassword, 422}, {"A\n", kPassword, 422},
               {"B", "7 bytes", 422},    {std::string(81, 'n'), kPassword, 422}};
  for (const auto& each : cases) {
    EXPECT_EQ(StatusOf([&] {
                AddUser(mStore, "root", each.name, Role::Operator, each.password,
                        PasswordCost::Least);
              }),
              each.status)
        << each.name;
  }
  EXPECT_EQ(StatusOf([this] { Change("nobody", {.role = Role::Operator}); }), 404U);
  EXPECT_EQ(StatusOf([this] { Change("Ada", {.role = Role::Engineer}); }), 409U);
  EXPECT_EQ(StatusOf([this] { Change("Ada", {.isDisabled = true}); }), 409U);
  Add("Eve", Role::Administrator);
  EXPECT_EQ(StatusOf([this] { Change("Ada", {.role = Role::Operator, .isDisabled = true}); }),
            200U);
  EXPECT_EQ(StatusOf([this] { Change("Eve", {.isDisabled = true}); }), 409U);
  EXPECT_EQ(AuditOf("root"),
            "user Ada is operator now, is disabled\nuser Eve added as administrator\n"
            "user Ada added as administrator\n");
}

class TlsClient {
 public:
  explicit TlsClient(std::uint16_t port,
                     asio::ssl::context::method method = asio::ssl::context::tls_client)
      : mContext(method) {
    // Whatever is refused is refused by the other side.
    SSL_CTX_set_cipher_list(mContext.native_handle(), "DEFAULT@SECLEVEL=0");
    mStream.lowest_layer().connect({asio::ip::address_v4::loopback(), port});
    mStream.handshake(asio::ssl::stream_base::client);
  }
  std::string Ask(const std::string& request) {
    asio::write(mStream, asio::buffer(request));
    std::string text;
    boost::system::error_code error;
    asio::read(mStream, asio::dynamic_buffer(text), error);
    EXPECT_EQ(error, asio::error::eof) << "not closed in the clear: " << error.message();
    return text;
  }
  // Up to the text; all there is where the stream ends before.
  std::string ReadUntil(const std::string& request, const std::string& mark) {
    asio::write(mStream, asio::buffer(request));
    boost::system::error_code error;
    std::string text;
    asio::read_until(mStream, asio::dynamic_buffer(text), mark, error);
    return text;
  }
  std::string Certificate() {
    X509* const told = SSL_get_peer_certificate(mStream.native_handle());
    char name[64] = "";
    X509_NAME_get_text_by_NID(X509_get_subject_name(told), NID_commonName, name, sizeof name);
    X509_free(told);
    return name;
  }
  bool HasEnded() {
    std::string text;
    boost::system::error_code error;
    asio::read(mStream, asio::dynamic_buffer(text), error);
    return error.failed();
  }

 private:
  asio::io_context mNetwork;
  asio::ssl::context mContext;
  asio::ssl::stream<asio::ip::tcp::socket> mStream{mNetwork, mContext};
};

class OpenServiceTest : public SignInTest {
 protected:
  OpenServiceTest() {
    MakeCertificate("bench3");
    mConfig.name = "bench 3";
    mConfig.data = mFolder.Path();
    mConfig.plans = mFolder.Path();
    mConfig.cameras = {{"left", "127.0.0.1", mCamera.Port()}};
    mConfig.listen = {"", "0.0.0.0", 1};
    mConfig.certificate = mFolder.Path() / "certificate.pem";
    mConfig.certificateKey = mFolder.Path() / "key.pem";
    mConfig.hosts = {"bench3", "bench3.local"};
    std::ofstream(mFolder.Path() / "short.toml") << "title = \"Short\"\nitems = [\"battery\"]\n";
  }
  void MakeCertificate(const std::string& name) {
    const std::string at = mFolder.Path().string();
    // NOLINTNEXTLINE(concurrency-mt-unsafe,cert-env33-c)
    EXPECT_EQ(std::system(("openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes "
                           "-days 2 -subj /CN=" +
                           name + " -keyout " + at + "/key.pem -out " + at +
                           "/certificate.pem 2>/dev/null")
                              .c_str()),
              0);
  }
  std::string Begin() {
    try {
      mService.emplace(mStore, mConfig, Service::Options{"1", "root", [this](const std::string&) {
                                                           ++mComplaints;
                                                         }});
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    EXPECT_EQ(mService->Bind(0), "");
    mService->Serve();
    return "";
  }
  static std::string Request(const std::string& what, const std::string& body,
                             const std::string& headers) {
    return what + " HTTP/1.1\r\n" + headers + "Content-Length: " + std::to_string(body.size()) +
           "\r\n\r\n" + body;
  }
  // what: "GET /path".
  std::string Ask(const std::string& what, const std::string& body = "",
                  const std::string& headers = "Host: bench3\r\n") {
    return TlsClient(mService->Port()).Ask(Request(what, body, headers + "Connection: close\r\n"));
  }
  static unsigned Status(const std::string& answer) {
    return static_cast<unsigned>(std::stoul("0" + answer.substr(9, 3)));
  }
  // The headers that say who asks.
  std::string SignedIn(const std::string& name) {
    const std::string answer = Ask("POST /api/v1/sign-in",
                                   R"({"name":")" + name + R"(","password":")" + kPassword + "\"}");
    const std::size_t at = answer.find("Set-Cookie: ");
    EXPECT_NE(at, std::string::npos) << answer;
    const std::string cookie = answer.substr(at + 12, answer.find(';', at) - at - 12);
    EXPECT_EQ(cookie.find("__Host-"), 0U);
    const std::string rest = answer.substr(at + 12 + cookie.size(), 70);
    EXPECT_EQ(rest.find("; Path=/; Max-Age=43200; Secure; HttpOnly; SameSite=Strict\r\n"), 0U)
        << rest;
    return "Host: bench3:22180\r\nCookie: other=1; " + cookie + "\r\n";
  }

  DeskProcess mCamera;
  StationConfig mConfig;
  std::atomic<int> mComplaints{0};
  std::optional<Service> mService;
};

TEST_F(OpenServiceTest, IsNotOpenedWithoutUserOrCertificate) {
  EXPECT_NE(Begin().find("user add"), std::string::npos);
  Add("Ada", Role::Administrator);
  mConfig.certificateKey = mFolder.Path() / "station.key";  // the signature's: another one
  EXPECT_NE(Begin().find("station.key is no private key of "), std::string::npos);
  mConfig.certificate = mFolder.Path() / "none.pem";
  EXPECT_NE(Begin().find("none.pem is no certificate"), std::string::npos);
}

TEST_F(OpenServiceTest, ARenewedCertificateServesThoseWhoComeNext) {
  Add("Ada", Role::Administrator);
  ASSERT_EQ(Begin(), "");
  TlsClient before(mService->Port());
  std::ofstream(mConfig.certificate) << "half of";
  for (int i = 0; i < 2; ++i) EXPECT_EQ(TlsClient(mService->Port()).Certificate(), "bench3");
  EXPECT_EQ(mComplaints, 1) << "of each state of the files";
  MakeCertificate("renewed");
  EXPECT_EQ(TlsClient(mService->Port()).Certificate(), "renewed");
  EXPECT_EQ(
      Status(before.Ask(Request("GET /healthz", "", "Host: bench3\r\nConnection: close\r\n"))),
      200U);
}

TEST_F(OpenServiceTest, WhatTheDatabaseSaysIsForThoseWhoSignedIn) {
  Add("Ada", Role::Administrator);
  ASSERT_EQ(Begin(), "");
  const std::string ada = SignedIn("Ada");
  sqlite3* database = nullptr;
  sqlite3_open((mFolder.Path() / "station.db").c_str(), &database);
  EXPECT_EQ(sqlite3_exec(database, "DROP TABLE run", nullptr, nullptr, nullptr), SQLITE_OK);
  sqlite3_close(database);
  const std::string health = Ask("GET /healthz");
  EXPECT_EQ(Status(health), 503U);
  EXPECT_EQ(health.find("station.db"), std::string::npos) << health;
  EXPECT_NE(Ask("GET /api/v1/runs", "", ada).find("station.db"), std::string::npos);
}

TEST_F(OpenServiceTest, EachRoleMayDoWhatItMay) {
  Add("Ada", Role::Administrator);
  Add("Eve", Role::Engineer);
  Add("Bo", Role::Operator);
  ASSERT_EQ(Begin(), "");
  EXPECT_THROW(TlsClient(mService->Port(), asio::ssl::context::tlsv11_client),
               boost::system::system_error);
  TlsClient(mService->Port(), asio::ssl::context::tlsv12_client);
  const std::string nobody = "Host: bench3\r\n";
  const std::string bo = SignedIn("Bo");
  const std::string eve = SignedIn("Eve");
  const std::string ada = SignedIn("Ada");
  const std::string runs = "POST /api/v1/runs";
  const std::string knob = "PUT /api/v1/cameras/left/knobs/desk.rtc.rate";
  const struct {
    std::string what, body, who;
    unsigned status;
  } cases[] = {
      {"GET /", "", nobody, 200},
      {"GET /app.js", "", nobody, 200},
      {"GET /healthz", "", nobody, 200},
      {"GET /api/v1/station", "", nobody, 401},
      {"GET /api/v1/events", "", nobody, 401},
      {"GET /api/v1/cameras", "", "Host: bench3\r\nCookie: __Host-diagor-station=00\r\n", 401},
      {"GET /api/v1/cameras", "", bo, 200},
      {"GET /api/v1/cameras", "", bo + "Origin: https://bench3:22180\r\n", 200},
      {"GET /api/v1/cameras", "", bo + "Origin: https://bench3:8443\r\n", 403},
      {"GET /api/v1/cameras", "", bo + "Origin: http://bench3:22180\r\n", 403},
      {"GET /", "", "Host: bench3.evil.example\r\n", 403},
      {"GET /", "", "Host: localhost\r\n", 403},
      {runs, R"({"camera":"left","items":["battery"]})", bo, 403},
      {runs, R"({"camera":"left","plan":"short","serial":"1","despite_serial":true})", bo, 403},
      {runs, R"({"camera":"left","plan":"short","operator":"Ada"})", bo, 201},
      {"PUT /api/v1/cameras/left/laser", "", nobody, 401},
      {"PUT /api/v1/cameras/left/laser", "", bo, 200},
      {knob, R"({"value":1})", bo, 403},
      {knob, R"({"value":1})", eve, 200},
      {"GET /api/v1/users", "", eve, 403},
      {"POST /api/v1/users", R"({"name":"Cy","role":"boss","password":"long enough"})", ada, 422},
      {"POST /api/v1/users", R"({"name":"Cy","role":"operator","password":"short"})", ada, 422},
      {"POST /api/v1/users", R"({"name":"Cy","role":"operator","password":"long enough"})", ada,
       201},
      {"PUT /api/v1/users/Ada", R"({"role":"operator"})", ada, 409},
      {"PUT /api/v1/users/Eve", R"({"disabled":true})", ada, 200},
      {"GET /api/v1/cameras", "", eve, 401},
      {"POST /api/v1/sign-out", "", bo, 200},
      {"GET /api/v1/cameras", "", bo, 401},
  };
  for (const auto& each : cases) {
    const std::string answer = Ask(each.what, each.body, each.who);
    EXPECT_EQ(Status(answer), each.status) << each.what << each.body << each.who << answer;
  }
  EXPECT_EQ(mStore.Runs({}, std::nullopt, 1).at(0).operatorName, "Bo") << "whoever has signed in";
  EXPECT_EQ(AuditOf("Eve").find("knob desk.rtc.rate"), 0U);
  EXPECT_EQ(AuditOf("Ada").find("user Eve is disabled"), 0U);
  EXPECT_EQ(Ask("GET /api/v1/users", "", ada).find("argon"), std::string::npos);

  // Who sends too much is told so before it is through with it.
  EXPECT_EQ(Status(Ask("POST /api/v1/sign-in", std::string(1'000'000, 'x'))), 413U);

  // In the clear there is only the way to the page.
  const auto clear = [this](const std::string& method) {
    asio::ip::tcp::iostream client("127.0.0.1", std::to_string(mService->Port()));
    client << Request(method + " /a?b=c", "", "Host: bench3:22180\r\nConnection: close\r\n")
           << std::flush;
    return std::string((std::istreambuf_iterator<char>(client)), {});
  };
  EXPECT_NE(clear("GET").find("\r\nLocation: https://bench3:22180/a?b=c\r\n"), std::string::npos);
  EXPECT_EQ(Status(clear("GET")), 308U);
  EXPECT_EQ(Status(clear("POST")), 403U);
}

TEST_F(OpenServiceTest, AStreamEndsWithItsUser) {
  Add("Ada", Role::Administrator);
  Add("Bo", Role::Operator);
  ASSERT_EQ(Begin(), "");
  const std::string ada = SignedIn("Ada");
  const std::string ends[][2] = {{"POST /api/v1/sign-out", ""},
                                 {"PUT /api/v1/users/Bo", R"({"disabled":true})"}};
  for (const auto& [what, body] : ends) {
    const std::string bo = SignedIn("Bo");
    TlsClient stream(mService->Port());
    const std::string told = stream.ReadUntil(
        Request("GET /api/v1/events", "", bo + "Last-Event-ID: 0\r\n"), "event: camera");
    EXPECT_NE(told.find("event: camera"), std::string::npos);
    EXPECT_EQ(Status(Ask(what, body, what.find("users") == std::string::npos ? bo : ada)), 200U);
    EXPECT_TRUE(stream.HasEnded());
  }
}

}  // namespace
}  // namespace test
