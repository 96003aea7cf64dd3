// The program on the desk camera: reads the environment, assembles one camera, runs the program.
#include <pthread.h>
#include <unistd.h>

#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <string>
#include <thread>

#include "camera/camera.h"
#include "coredll/text.h"
#include "host/desktop_window.h"
#include "server/camera_server.h"
#include "settings/environment.h"
#include "tarq/framework.h"

int WINAPI WinMain(HINSTANCE instance, HINSTANCE previous, LPWSTR commandLine, int show);

namespace {

using settings::FromEnvironment;

constexpr int kBadStart = 2;

desk::CameraSettings ReadSettings() {
  desk::CameraSettings settings;
  settings.variant = FromEnvironment("DIAGOR_VARIANT", "KY");
  const std::string clock = FromEnvironment("DIAGOR_CLOCK", "real");
  if (clock != "real" && clock != "virtual") {
    throw std::runtime_error("DIAGOR_CLOCK is real or virtual, not " + clock);
  }
  settings.clock = clock == "real" ? desk::Clock::Kind::Real : desk::Clock::Kind::Virtual;
  const std::string start = FromEnvironment("DIAGOR_START", "");
  if (!start.empty()) {
    const auto time = desk::ParseCalendarTime(start);
    if (!time || settings.clock != desk::Clock::Kind::Virtual) {
      throw std::runtime_error(
          "DIAGOR_START is the virtual clock's start, as "
          "2013-08-29T12:00:00, not " +
          start);
    }
    settings.start = *time;
  }
  settings.root = FromEnvironment("DIAGOR_ROOT", "");
  settings.knobs = FromEnvironment("DIAGOR_KNOBS", "");
  return settings;
}

bool WantsWindow() {
  const std::string screen = FromEnvironment("DIAGOR_SCREEN", "none");
  if (screen != "none" && screen != "window") {
    throw std::runtime_error("DIAGOR_SCREEN is none or window, not " + screen);
  }
  return screen == "window";
}

// As the operating system hands it to the process: the words after the program's name.
std::wstring CommandLine(int argc, char** argv) {
  std::string line;
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    const bool quoted = word.empty() || word.find_first_of(" \t") != std::string::npos;
    line += (i > 1 ? " " : "") + (quoted ? "\"" + word + "\"" : word);
  }
  return desk::ToWide(line);
}

// A -p that is a number but no port is refused here: the program would take the low 16 bits of it,
// and serve where nobody looks. What does not read as a number is the program's affair. The error's
// text, or empty.
std::string PortProblem(int argc, char** argv) {
  std::string problem;
  int nextWord = 1;
  int nextLetter = 1;
  int reserved = 1;
  char* argument = nullptr;
  for (;;) {
    const int letter =
        tarq_getopt(argc, argv, "p:n:s:a:h", &nextWord, &nextLetter, &reserved, &argument);
    if (letter == -1) return problem;
    if (letter == 'h') return "";  // the usage is all that is wanted
    if (letter != 'p' || !problem.empty()) continue;
    const std::string_view text = argument;
    const bool isHexadecimal = text.starts_with("0x");
    const std::string_view digits = text.substr(isHexadecimal ? 2 : 0);
    constexpr long kMostPort = 65535;
    long port = 0;
    const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), port,
                                      isHexadecimal ? 16 : 10);
    const bool isNumber = !digits.empty() && read.ptr == digits.data() + digits.size();
    const bool fits = read.ec == std::errc() && port >= 0 && port <= kMostPort;
    if (isNumber && !fits) {
      problem = "-p " + std::string(text) + ": a port is a number from 0 to 65535 (0xFFFF)";
    }
  }
}

// The two signals that end the process go to a thread of their own. A reader of standard error that
// has gone must not end it.
void StopOnSignal() {
  std::signal(SIGPIPE, SIG_IGN);
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  std::thread([signals] {
    int signal = 0;
    sigwait(&signals, &signal);
    desk::RequestStop();
    // Whoever asks again does not want to wait.
    sigwait(&signals, &signal);
    _exit(128 + signal);
  }).detach();
}

// The port first: without one nothing is made in the storage.
DWORD Wake(desk::Camera& camera, desk::CameraServer& server, std::uint16_t port) {
  const std::string error = server.Bind(port);
  if (!error.empty()) {
    fprintf(stderr, "diagor: port %u of the loopback address: %s (another one: -p)\n", port,
            error.c_str());
    return TARQ::kStatusNoPort;
  }
  const std::string storage = camera.TakeStorage();
  if (!storage.empty()) {
    fprintf(stderr, "diagor: the camera's storage: %s\n", storage.c_str());
    return TARQ::kStatusFailed;
  }
  return 0;
}

void Serve(const desk::Camera& camera, desk::CameraServer& server) {
  server.Serve();
  fprintf(stderr, "diagor: variant %s, storage %s, serving on http://127.0.0.1:%u\n",
          camera.Variant().name.c_str(), camera.Files().Root().c_str(), server.Port());
}

int RunProgram(int argc, char** argv) {
  const std::string portProblem = PortProblem(argc, argv);
  if (!portProblem.empty()) throw std::runtime_error(portProblem);
  const bool wantsWindow = WantsWindow();
  desk::Camera camera(ReadSettings());
  desk::CameraServer server(camera);
  std::unique_ptr<desk::DesktopWindow> window;
  if (wantsWindow) {
    window = std::make_unique<desk::DesktopWindow>(camera, [] { desk::RequestStop(); });
  }
  desk::SetFrameworkHooks({[&](std::uint16_t port) { return Wake(camera, server, port); },
                           [&] { Serve(camera, server); }});
  std::wstring line = CommandLine(argc, argv);
  const int status = WinMain(nullptr, nullptr, line.data(), 1);

  // A process ends whatever its threads do; so does this one, without waiting for a test that never
  // returns. A status whose low byte is 0 must not look like success to a shell.
  fflush(nullptr);
  _exit(status != 0 && (status & 0xFF) == 0 ? 1 : status);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    StopOnSignal();
    return RunProgram(argc, argv);
  } catch (const std::exception& error) {
    fprintf(stderr, "diagor: %s\n", error.what());
    // Also here without waiting: what a desktop's libraries keep for themselves ends with the
    // process.
    fflush(nullptr);
    _exit(kBadStart);
  }
}
