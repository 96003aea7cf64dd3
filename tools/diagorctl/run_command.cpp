// run: the tests and their results.
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iostream>

#include "client/results.h"
#include "client/run_plan.h"
#include "diagorctl/command.h"
#include "diagorctl/output.h"

namespace diagorctl {

namespace {

// A file that is there whole or not at all. What cannot be written is said before a run, not after.
class ResultFile {
 public:
  explicit ResultFile(const std::string& path) {
    if (path.empty()) return;
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
      throw UsageError("cannot write " + path + ": it is no ordinary file");
    }
    mPath = std::filesystem::weakly_canonical(path, error).string();  // a link's file, not the link
    mDraft = mPath + "." + std::to_string(getpid()) + ".part";
    mStream.open(mDraft, std::ios::binary);
    if (!mStream) throw UsageError("cannot write " + mDraft);
  }
  ~ResultFile() {
    std::error_code ignored;
    if (!mDraft.empty()) std::filesystem::remove(mDraft, ignored);
  }
  ResultFile(const ResultFile&) = delete;
  ResultFile& operator=(const ResultFile&) = delete;

  void Write(const client::Report& report) {
    if (mPath.empty()) return;
    client::WriteJunit(mStream, report);
    mStream.close();
    std::error_code error;
    if (mStream) std::filesystem::rename(mDraft, mPath, error);
    if (!mStream || error) throw UsageError("cannot write " + mPath);
    mDraft.clear();
  }

 private:
  std::string mPath;
  std::string mDraft;  // empty: there is none
  std::ofstream mStream;
};

std::string NameOf(client::CameraClient& camera, const char* path) {
  try {
    return ValueText(camera.Get(path)["value"]);
  } catch (const client::RefusedError&) {
    return "unknown";
  }
}

}  // namespace

int Run(client::CameraClient& camera, const Options& options) {
  const auto items = client::SelectForRun(client::TestItems(camera), options.globs);
  if (items.empty()) {
    std::cerr << "diagorctl: no test item matches; diagorctl list shows them all\n";
    return kUsage;
  }
  const auto progress = [&options](const client::Attempt& attempt, client::Phase phase) {
    if (options.quiet) return;
    if (phase == client::Phase::Ends) {
      std::cerr << attempt.value << "\n";
    } else {
      const bool begins = phase == client::Phase::Begins;
      std::cerr << (begins ? attempt.path : attempt.message) << " ... " << std::flush;
    }
  };
  ResultFile junit(options.junit);
  client::Report report;
  report.camera = NameOf(camera, ".version.product.name");
  report.serial = NameOf(camera, ".version.product.serial");
  const auto write = [&] {
    if (options.json) {
      client::WriteJson(std::cout, report);
    } else if (options.tap) {
      client::WriteTap(std::cout, report);
    } else {
      client::WriteTable(std::cout, report, UseColour());
    }
    std::cout.flush();
    junit.Write(report);
  };
  try {
    client::Run(camera, items, options.run, report.attempts, progress);
  } catch (...) {
    // What was found so far is not lost.
    std::cerr << "\n";
    try {
      write();
    } catch (const UsageError& error) {  // the reason why the run ended is the weightier one
      std::cerr << "diagorctl: " << error.what() << "\n";
    }
    throw;
  }
  report.isWhole = true;
  write();
  if (client::CountFailed(report.attempts) > 0) return kTestFailed;
  return client::CountWithoutResult(report.attempts) > 0 ? kRefused : kNothingFailed;
}

}  // namespace diagorctl
