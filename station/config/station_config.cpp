#include "station/config/station_config.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <stdexcept>

#include "settings/environment.h"
#include "settings/table_reader.h"

namespace station {

namespace {

namespace fs = std::filesystem;
using settings::FromEnvironment;
using settings::TableReader;

constexpr char kProgram[] = "diagor-station";
constexpr char kDatabase[] = "station.db";
constexpr std::uint16_t kDeskPort = 22143;

// The folder of that kind for this program: "XDG_STATE_HOME", ".local/state".
fs::path HomeFolder(const char* variable, const char* usual) {
  const std::string set = FromEnvironment(variable);
  // What is no absolute path is to be ignored there.
  const fs::path base =
      set.starts_with("/") ? fs::path(set) : fs::path(FromEnvironment("HOME")) / usual;
  return base / kProgram;
}

// Beside the program where it was installed, else where it was built from.
fs::path PlansThatCame() {
  std::error_code error;
  const fs::path program = fs::read_symlink("/proc/self/exe", error);
  const fs::path installed = program.parent_path().parent_path() / "share" / kProgram / "plans";
  return fs::is_directory(installed, error) ? installed : fs::path(DIAGOR_STATION_PLANS);
}

bool IsUrl(const std::string& database) {
  return database.starts_with("postgresql:") || database.starts_with("sqlite:");
}

std::vector<CameraAddress> TakeCameras(const std::string& file, TableReader& reader) {
  const toml::node* const node = reader.TakeNode("camera");
  if (node == nullptr) return {};
  const toml::array* const list = node->as_array();
  if (list == nullptr)
    throw std::runtime_error(settings::At(file, *node) + "camera is no list: [[camera]]");
  std::vector<CameraAddress> cameras;
  for (const toml::node& each : *list) {
    const std::string at = settings::At(file, each);
    const toml::table* const table = each.as_table();
    if (table == nullptr) throw std::runtime_error(at + "a camera is a table");
    TableReader camera(file, *table);
    const auto name = camera.Take<std::string>("name");
    const auto address = camera.Take<std::string>("address");
    camera.Finish();
    try {
      cameras.push_back(AddressOf(address));
    } catch (const std::runtime_error& error) {
      throw std::runtime_error(camera.AtKey("address") + "address: " + error.what());
    }
    const bool isTaken =
        std::any_of(cameras.begin(), cameras.end() - 1, [&](const CameraAddress& other) {
          return other.name == name || other.Text() == cameras.back().Text();
        });
    if (isTaken) throw std::runtime_error(at + "a camera of that name or address is listed above");
    cameras.back().name = name;
  }
  return cameras;
}

// What others can reach says who it is, by a certificate, and by which names it is reached: a name
// that somebody else made point here is none of them.
void CheckOpen(const StationConfig& config, const TableReader& reader) {
  if (!config.IsOpenToOthers()) return;
  if (config.listen.host.starts_with("127.")) {
    throw std::runtime_error(reader.AtKey("listen") +
                             "listen: of the loopback addresses 127.0.0.1 and [::1] are served");
  }
  const char* const missing = config.certificate.empty()      ? "certificate"
                              : config.certificateKey.empty() ? "key"
                              : config.hosts.empty()          ? "hosts"
                                                              : nullptr;
  if (missing == nullptr) return;
  throw std::runtime_error(reader.AtKey("listen") + "listen: others can reach " +
                           config.listen.Text() + ": " + missing + " must be there too");
}

}  // namespace

bool StationConfig::IsOpenToOthers() const {
  return listen.host != "localhost" && listen.host != "::1" && listen.host != "127.0.0.1";
}

std::string MachineName() {
  std::array<char, 65> name{};
  gethostname(name.data(), name.size() - 1);
  return name.data();
}

StationConfig LoadConfig(const std::optional<std::string>& file) {
  constexpr std::size_t kLongestName = 80;       // cameras are told it, with the machine's
  constexpr std::int64_t kLongestWait = 86'400;  // a day
  StationConfig config;
  config.name = MachineName();
  config.plans = PlansThatCame();
  MoveData(config, HomeFolder("XDG_STATE_HOME", ".local/state").string());
  const fs::path usual = HomeFolder("XDG_CONFIG_HOME", ".config") / "station.toml";
  std::error_code error;
  if (file || fs::exists(usual, error)) {
    const std::string name = file.value_or(usual.string());
    const toml::table table = settings::ParsedText(settings::FileText(name), name);
    TableReader reader(name, table);
    config.name = reader.TakeIfThere<std::string>("name").value_or(config.name);
    if (config.name.empty() || config.name.size() > kLongestName) {
      throw std::runtime_error(reader.AtKey("name") + "name has not 1 to 80 bytes");
    }
    // Folders are meant from where the file stands.
    const fs::path here = fs::absolute(name).parent_path();
    if (const auto data = reader.TakeIfThere<std::string>("data")) MoveData(config, here / *data);
    if (const auto database = reader.TakeIfThere<std::string>("database")) {
      config.database = IsUrl(*database) ? *database : (here / *database).string();
    }
    if (const auto plans = reader.TakeIfThere<std::string>("plans")) {
      config.plans = here / *plans;
      if (!fs::is_directory(config.plans, error)) {
        throw std::runtime_error(reader.AtKey("plans") + config.plans.string() + " is no folder");
      }
    }
    config.cameras = TakeCameras(name, reader);
    if (const auto wait = reader.TakeWhole("wait_for_camera", 0, kLongestWait)) {
      config.waitForCamera = std::chrono::seconds(*wait);
    }
    if (const auto listen = reader.TakeIfThere<std::string>("listen")) {
      try {
        config.listen = AddressOf(*listen);
      } catch (const std::runtime_error&) {
        throw std::runtime_error(reader.AtKey("listen") + "listen: \"" + *listen +
                                 "\" is no address with a port, as 127.0.0.1:22180");
      }
    }
    if (const auto path = reader.TakeIfThere<std::string>("certificate")) {
      config.certificate = here / *path;
    }
    if (const auto path = reader.TakeIfThere<std::string>("key"))
      config.certificateKey = here / *path;
    for (const auto& host : reader.TakeNames("hosts")) config.hosts.push_back(host.name);
    reader.Finish();
    CheckOpen(config, reader);
  }
  if (config.cameras.empty()) config.cameras.push_back({"", "127.0.0.1", kDeskPort});
  return config;
}

void MoveData(StationConfig& config, const std::string& folder) {
  const std::string usual = (config.data / kDatabase).string();
  if (config.database.empty() || config.database == usual) {
    config.database = (fs::path(folder) / kDatabase).string();
  }
  config.data = folder;
}

}  // namespace station
