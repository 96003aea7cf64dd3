// serve: the station for browsers and programs, until it is ended.
#include <semaphore.h>

#include <cerrno>
#include <csignal>
#include <iostream>

#include "diagor-station/command.h"
#include "station/service/service.h"
#include "terminal/output.h"

namespace station_tool {

namespace {

sem_t gEnds;

std::uint16_t PortToServe(const station::CameraAddress& listen, const std::string& wish) {
  if (wish.empty()) return listen.port;
  try {
    return wish == "0" ? std::uint16_t{0} : station::AddressOf("127.0.0.1:" + wish).port;
  } catch (const std::runtime_error&) {
    throw UsageError("--port " + wish + " is no port from 0 to 65535");
  }
}

}  // namespace

int Serve(Station& station, const Options& options) {
  const std::uint16_t port = PortToServe(station.config.listen, options.port);
  sem_init(&gEnds, 0, 0);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    // Who started it to outlive the terminal has SIGHUP ignored.
    if (std::signal(signal, [](int) { sem_post(&gEnds); }) == SIG_IGN) std::signal(signal, SIG_IGN);
  }
  station::Service service(*station.store, station.config,
                           {.version = DIAGOR_STATION_VERSION,
                            .machineUser = WhoActs({}),
                            .complain = [](const std::string& what) { Complain(what); }});
  const std::string problem = service.Bind(port);
  if (!problem.empty()) {
    throw UsageError("port " + std::to_string(port) + " cannot be served: " + problem);
  }
  service.Serve();
  const bool isOpen = station.config.IsOpenToOthers();
  std::cerr << "diagor-station: serving " << (isOpen ? "https://" : "http://")
            << (isOpen                                ? station.config.hosts.front()
                : station.config.listen.host == "::1" ? "[::1]"
                                                      : "127.0.0.1")
            << ":" << service.Port() << std::endl;
  while (sem_wait(&gEnds) != 0 && errno == EINTR) {
  }
  return kNothingFailed;
}

}  // namespace station_tool
