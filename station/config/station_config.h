// What an administrator sets: station.toml.
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "station/config/camera_address.h"

namespace station {

struct StationConfig {
  std::string name;             // of the station; without one the machine's
  std::filesystem::path data;   // its folder: database, keys, what it changed of cameras
  std::string database;         // as Store takes it
  std::filesystem::path plans;  // folder
  std::vector<CameraAddress> cameras;
  std::chrono::seconds waitForCamera{60};        // how long a lost one is looked for
  CameraAddress listen{"", "127.0.0.1", 22180};  // where the service answers
  // Of a station that others can reach: PEM files, and the names that it is reached by.
  std::filesystem::path certificate;
  std::filesystem::path certificateKey;
  std::vector<std::string> hosts;

  // Whether other machines can reach the service.
  bool IsOpenToOthers() const;
};

// file: none: $XDG_CONFIG_HOME/diagor-station/station.toml, where there is one. Without a file: one
// camera at the desk's port of this machine, $XDG_STATE_HOME/diagor-station, the plans that came
// with the program. Throws std::runtime_error that names file, line and key.
StationConfig LoadConfig(const std::optional<std::string>& file);

// As this machine calls itself.
std::string MachineName();

// Another folder for the data; the database goes with it unless the file names one elsewhere.
void MoveData(StationConfig& config, const std::string& folder);

}  // namespace station
