// user: the people who may sign in at a station that others can reach.
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <iostream>

#include "diagor-station/command.h"
#include "station/service/json.h"
#include "station/service/users.h"
#include "terminal/output.h"

namespace station_tool {

namespace {

termios gBefore;  // how the terminal was

// Nothing of what is typed is shown while it lives; Ctrl-C leaves the terminal as it was, too.
class Unseen {
 public:
  Unseen() {
    if (tcgetattr(STDIN_FILENO, &gBefore) != 0) return;
    std::signal(SIGINT, [](int signal) {
      tcsetattr(STDIN_FILENO, TCSAFLUSH, &gBefore);
      _exit(kSignal + signal);
    });
    termios unseen = gBefore;
    unseen.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    mIsTerminal = tcsetattr(STDIN_FILENO, TCSAFLUSH, &unseen) == 0;
  }
  ~Unseen() {
    if (mIsTerminal) tcsetattr(STDIN_FILENO, TCSAFLUSH, &gBefore);
    std::signal(SIGINT, SIG_DFL);
  }
  Unseen(const Unseen&) = delete;
  Unseen& operator=(const Unseen&) = delete;
  bool IsTerminal() const { return mIsTerminal; }

 private:
  bool mIsTerminal = false;
};

// Typed twice at a terminal; else a line of what comes in.
std::string ReadPassword(const std::string& name) {
  const Unseen unseen;
  const auto ask = [&unseen](const std::string& what) {
    std::string line;
    if (unseen.IsTerminal()) std::cerr << what << ": " << std::flush;
    const bool isThere = static_cast<bool>(std::getline(std::cin, line));
    if (unseen.IsTerminal()) std::cerr << "\n";
    if (!isThere) throw UsageError("no password came in");
    if (line.ends_with('\r')) line.pop_back();
    return line;
  };
  std::string password = ask("Password of " + name);
  if (unseen.IsTerminal() && ask("Once more") != password) {
    throw UsageError("that was another password; nothing is changed");
  }
  return password;
}

station::Role RoleFrom(const std::string& text) {
  const auto role = station::RoleOf(text);
  if (!role) {
    throw UsageError("there is no role \"" + text + "\": operator, engineer, administrator");
  }
  return *role;
}

int Change(Station& station, const Options& options, const station::UserChange& change,
           const std::string& done) {
  station::ChangeUser(*station.store, WhoActs({}), options.user, change);
  std::cout << options.user << " " << done << ".\n";
  return kNothingFailed;
}

}  // namespace

int UserAdd(Station& station, const Options& options) {
  const station::Role role = RoleFrom(options.role);
  if (station.store->FindUser(options.user)) {
    throw UsageError("there is a user " + options.user + " already");
  }
  station::AddUser(*station.store, WhoActs({}), options.user, role, ReadPassword(options.user));
  std::cout << options.user << " may sign in as " << options.role << " (kept in "
            << station.store->Name() << ").\n";
  return kNothingFailed;
}

int UserRole(Station& station, const Options& options) {
  return Change(station, options, {.role = RoleFrom(options.role)}, "is " + options.role + " now");
}

int UserPassword(Station& station, const Options& options) {
  return Change(station, options, {.password = ReadPassword(options.user)},
                "has another password, and has to sign in again");
}

int UserDisable(Station& station, const Options& options) {
  return Change(station, options, {.isDisabled = true}, "is disabled, and signed out");
}

int UserEnable(Station& station, const Options& options) {
  return Change(station, options, {.isDisabled = false}, "may sign in again");
}

int UserList(Station& station, const Options& options) {
  std::vector<std::vector<std::string>> rows = {{"USER", "ROLE", "DISABLED"}};
  client::Json json = client::Json::array();
  for (const station::UserRecord& user : station.store->Users()) {
    json.push_back(station::UserJson(user));
    rows.push_back({Shown(user.name), Shown(user.role),
                    user.disabledAt ? LocalText(*user.disabledAt) : std::string()});
  }
  if (options.json) {
    PrintJson(json);
  } else {
    PrintTable(rows);
  }
  return kNothingFailed;
}

}  // namespace station_tool
