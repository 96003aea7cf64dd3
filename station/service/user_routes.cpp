// Signing in and out, and the people who may.
#include "station/service/api.h"
#include "station/service/json.h"
#include "station/service/refusal.h"
#include "station/service/users.h"

namespace station {

using http::Reply;

namespace {

std::string Needed(const Json& body, const char* key) {
  auto text = TextIn(body, key);
  if (!text) throw Malformed(std::string("the body has no ").append(key));
  return *text;
}

// As it was typed: a hash is of bytes.
std::optional<std::string> PasswordIn(const Json& body) {
  if (!TextIn(body, "password")) return std::nullopt;
  return body["password"].get<std::string>();
}

Role RoleIn(const Json& body) {
  const auto role = RoleOf(Needed(body, "role"));
  if (!role) throw Unfit("role is none of operator, engineer, administrator");
  return *role;
}

std::string CookieText(const std::string& token, Time seconds) {
  return std::string(kSessionCookie)
      .append("=")
      .append(token)
      .append("; Path=/; Max-Age=")
      .append(std::to_string(seconds))
      .append("; Secure; HttpOnly; SameSite=Strict");
}

}  // namespace

SignIns& Api::NeededSignIns() const {
  if (mParts.signIns == nullptr) {
    throw NotNow("this station answers its own machine alone: nobody signs in");
  }
  return *mParts.signIns;
}

Api::Answer Api::PostSignIn(const Call& call) {
  constexpr Time kSecond = 1000;
  SignIns& signIns = NeededSignIns();
  const Json body = call.Body();
  const std::string token =
      signIns.SignIn(Needed(body, "name"), PasswordIn(body).value_or(""), call.request.peer);
  // Whoever was signed in at this browser is not any more.
  const std::string old = http::CookieOf(call.request, kSessionCookie);
  if (!old.empty()) signIns.SignOut(old);
  const Actor actor = signIns.WhoHas(token);
  if (actor.name.empty()) throw Refusal(401, "Not signed in", "not any more");
  Reply reply = JsonReply({{"who", actor.name}, {"role", RoleText(actor.role)}});
  reply.headers.emplace_back("Set-Cookie", CookieText(token, SignIns::kLasting / kSecond));
  return reply;
}

Api::Answer Api::PostSignOut(const Call& call) {
  NeededSignIns().SignOut(http::CookieOf(call.request, kSessionCookie));
  mParts.continueStreams();
  Reply reply = JsonReply({{"who", ""}});
  reply.headers.emplace_back("Set-Cookie", CookieText("", 0));
  return reply;
}

Api::Answer Api::GetUsers(const Call& /*call*/) {
  Json users = Json::array();
  for (const UserRecord& each : mParts.store.Users()) users.push_back(UserJson(each));
  return JsonReply({{"users", users}});
}

Api::Answer Api::PostUser(const Call& call) {
  constexpr unsigned kCreated = 201;
  const Json body = call.Body();
  const std::string name = Needed(body, "name");
  AddUser(mParts.store, WhoActs(call, Json::object()), name, RoleIn(body),
          PasswordIn(body).value_or(""));
  return JsonReply(UserJson(*mParts.store.FindUser(name)), kCreated);
}

Api::Answer Api::PutUser(const Call& call) {
  const Json body = call.Body();
  UserChange change;
  if (body.contains("role")) change.role = RoleIn(body);
  change.password = PasswordIn(body);
  if (body.contains("disabled")) change.isDisabled = FlagIn(body, "disabled");
  ChangeUser(mParts.store, WhoActs(call, Json::object()), call.names[0], change);
  if (mParts.signIns != nullptr && mParts.signIns->EndStreams()) mParts.continueStreams();
  return JsonReply(UserJson(*mParts.store.FindUser(call.names[0])));
}

}  // namespace station
