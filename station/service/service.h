// The station as others reach it: its cameras watched, its runs, its API on a port of this machine.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "station/config/station_config.h"
#include "station/store/store.h"

namespace station {

class Service {
 public:
  struct Options {
    std::string version;
    std::string machineUser;  // who acts, for the audit, where a request does not say
    // Told, on any thread, what went wrong that no client hears of.
    std::function<void(const std::string& what)> complain;
  };
  // std::runtime_error: the station's key cannot be read or made; it is open to others, and its
  // certificate cannot be read or there is nobody who could sign in.
  Service(Store& store, const StationConfig& config, const Options& options);
  // Ends: no further attempt begins, those under way are kept as interrupted. Within seconds.
  ~Service();
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  // At the address of the settings. Port 0: any free one. An error's text, or empty.
  std::string Bind(std::uint16_t port);
  std::uint16_t Port() const;
  // Watches the cameras and answers.
  void Serve();

 private:
  struct State;
  std::unique_ptr<State> mState;
};

}  // namespace station
