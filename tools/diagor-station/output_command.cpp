// export, sign, verify and key: runs as files, and who vouches for them.
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>

#include "diagor-station/command.h"
#include "station/report/signature.h"
#include "station/report/writers.h"
#include "terminal/output.h"
#include "terminal/result_file.h"

namespace station_tool {

namespace {

std::filesystem::path KeyFile(const Station& station) {
  return station.config.data / "station.key";
}

station::SigningKey OwnKey(const Station& station) {
  std::error_code error;
  std::filesystem::create_directories(station.config.data, error);
  return station::SigningKey::LoadOrMake(KeyFile(station));
}

void Write(const std::string& path, const std::function<void(std::ostream&)>& write) {
  ResultFile file(path);
  write(file.Stream());
  const std::string problem = file.Finish();
  if (!problem.empty()) throw UsageError(problem);
}

// None: there is no such file.
std::optional<std::string> Contents(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  std::error_code error;
  if (!stream && !std::filesystem::exists(path, error) && !error) return std::nullopt;
  if (!stream) throw UsageError("cannot read " + path);
  if (std::filesystem::is_directory(path)) throw UsageError(path + " is a folder");
  return std::string(std::istreambuf_iterator<char>(stream), {});
}

std::string ContentsOf(const std::string& path) {
  auto contents = Contents(path);
  if (!contents) throw UsageError("cannot read " + path);
  return *contents;
}

}  // namespace

int Export(Station& station, const Options& options) {
  const auto report = station::GatherReport(*station.store, FindRun(station, options.run));
  const std::string key = OwnKey(station).Id();
  using Writer = std::function<void(std::ostream&)>;
  const std::pair<const std::string&, Writer> files[] = {
      {options.html, [&](std::ostream& out) { station::WriteHtml(out, report, key); }},
      {options.jsonFile, [&](std::ostream& out) { out << station::JsonOf(report, key); }},
      {options.csv, [&](std::ostream& out) { station::WriteAttempts(out, report); }},
      {options.measurements, [&](std::ostream& out) { station::WriteMeasurements(out, report); }},
      {options.junit, [&](std::ostream& out) { station::WriteJunit(out, report); }},
  };
  std::string written;
  for (const auto& [path, write] : files) {
    if (path.empty()) continue;
    Write(path, write);
    written.append(written.empty() ? "" : ", ").append(path);
  }
  if (written.empty()) {
    throw UsageError("name a file: --html, --json, --csv, --measurements or --junit");
  }
  WriteAudit(station, WhoActs(options), "run " + report.run.id + " exported to " + written);
  return kNothingFailed;
}

int Sign(Station& station, const Options& options) {
  const auto report = station::GatherReport(*station.store, FindRun(station, options.run));
  const station::SigningKey key = OwnKey(station);
  const std::string json = station::JsonOf(report, key.Id());
  // The signature last, and none of an earlier file beside this one.
  std::error_code none;
  std::filesystem::remove(options.file + ".sig", none);
  Write(options.file, [&json](std::ostream& out) { out << json; });
  Write(options.file + ".sig", [&](std::ostream& out) { out << key.Sign(json); });
  WriteAudit(station, WhoActs(options), "run " + report.run.id + " signed to " + options.file);
  return kNothingFailed;
}

int Verify(Station& station, const Options& options) {
  const std::string json = ContentsOf(options.file);
  // A key that is made now has signed nothing.
  const std::string pem = options.key.empty()
                              ? station::SigningKey::Load(KeyFile(station)).PublicPem()
                              : ContentsOf(options.key);
  const auto verdict = station::Verify(json, Contents(options.file + ".sig"), pem);
  switch (verdict) {
    case station::Verdict::Genuine:
      std::cout << options.file << " is as it was signed.\n";
      return kNothingFailed;
    case station::Verdict::Altered:
      Complain(options.file + " or its signature was altered");
      break;
    case station::Verdict::ForeignKey:
      Complain(options.file +
               " says that another key signed it; that station's diagor-station key prints it");
      break;
    case station::Verdict::NoSignature:
      Complain("there is no signature " + options.file + ".sig");
      break;
  }
  return kTestFailed;
}

int Key(Station& station, const Options& /*options*/) {
  std::cout << OwnKey(station).PublicPem();
  return kNothingFailed;
}

}  // namespace station_tool
