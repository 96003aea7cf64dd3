// What diagorctl's commands share: the options, the exit codes, and the commands themselves.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "client/camera_client.h"
#include "client/run_plan.h"
#include "terminal/exit_code.h"

namespace diagorctl {

using namespace terminal;  // NOLINT(google-build-using-namespace): words of every command line

struct Options {
  std::uint16_t port = 0x567F;
  bool json = false;
  bool quiet = false;
  std::string path;
  std::string value;
  std::vector<std::string> globs;
  int depth = 32;
  client::RunOptions run;
  bool trace = false;
  bool resetLog = false;
  bool resetCamera = false;
  bool systemLog = false;
  std::string junit;  // a file; empty: none
  bool tap = false;
  std::string after;
  unsigned count = 0;  // of events; 0: until the end
  unsigned pairs = 0;  // of faults at once
  unsigned seed = 1;
  bool csv = false;
  bool lists = false;
  bool asItIs = false;      // break nothing, restore nothing: one run
  bool skipMemory = false;  // the test of the video memory is left out
};

// Each does what its word says and returns the exit code.
using Command = int (*)(client::CameraClient&, const Options&);

int List(client::CameraClient& camera, const Options& options);
int Show(client::CameraClient& camera, const Options& options);
int Get(client::CameraClient& camera, const Options& options);
int Set(client::CameraClient& camera, const Options& options);
int Reset(client::CameraClient& camera, const Options& options);
int Run(client::CameraClient& camera, const Options& options);
int Log(client::CameraClient& camera, const Options& options);
int Lease(client::CameraClient& camera, const Options& options);
int Explain(client::CameraClient& camera, const Options& options);
int Faults(client::CameraClient& camera, const Options& options);
int Watch(client::CameraClient& camera, const Options& options);

}  // namespace diagorctl
