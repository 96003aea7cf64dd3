// run: the tests and their results.
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "client/results.h"
#include "client/run_plan.h"
#include "diagorctl/about_camera.h"
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

  // An error's text, or empty.
  std::string Write(const client::Report& report) {
    if (mPath.empty()) return {};
    client::WriteJunit(mStream, report);
    mStream.close();
    std::error_code error;
    if (mStream) std::filesystem::rename(mDraft, mPath, error);
    if (!mStream || error) return "cannot write " + mPath;
    mDraft.clear();
    return {};
  }

 private:
  std::string mPath;
  std::string mDraft;  // empty: there is none
  std::ofstream mStream;
};

void ShowProgress(const client::Attempt& attempt, client::Phase phase) {
  if (phase == client::Phase::Ends) {
    std::cerr << ShownAsError(attempt.value) << "\n";
  } else {
    const bool begins = phase == client::Phase::Begins;
    std::cerr << ShownAsError(begins ? attempt.path : attempt.message) << " ... " << std::flush;
  }
}

void PrintResults(const client::Report& report, const Options& options) {
  using client::TableStyle;
  if (options.json) {
    client::WriteJson(std::cout, report);
  } else if (options.tap) {
    client::WriteTap(std::cout, report);
  } else {
    const TableStyle onTerminal = HasColours() ? TableStyle::Coloured : TableStyle::Terminal;
    client::WriteTable(std::cout, report, IsTerminal() ? onTerminal : TableStyle::Plain,
                       !options.quiet);
  }
  std::cout.flush();
}

}  // namespace

int Run(client::CameraClient& camera, const Options& options) {
  // Nobody reads the progress or the table any more: the run and its file go on.
  std::signal(SIGPIPE, SIG_IGN);
  const auto items = client::SelectForRun(client::TestItems(camera), options.globs);
  if (items.empty()) {
    Complain("no test item matches; diagorctl list shows them all");
    return kUsage;
  }
  TellOfLease(camera);
  ResultFile junit(options.junit);
  client::Report report;
  report.camera = NameOf(camera);
  report.serial = NameOf(camera, ".version.product.serial");
  // The file first: who reads the table may be slow, or gone.
  const auto write = [&] {
    client::AddCauses(report);
    std::string problem = junit.Write(report);
    PrintResults(report, options);
    return problem;
  };
  try {
    client::Run(camera, items, options.run, report.attempts,
                [&options](const client::Attempt& attempt, client::Phase phase) {
                  if (!options.quiet) ShowProgress(attempt, phase);
                });
  } catch (...) {
    // What was found so far is not lost.
    std::cerr << "\n";
    const std::string problem = write();
    if (!problem.empty()) Complain(problem);  // why the run ended is the weightier reason
    throw;
  }
  report.isWhole = true;
  const std::string problem = write();
  if (!problem.empty()) throw UsageError(problem);
  if (client::CountFailed(report.attempts) > 0) return kTestFailed;
  return client::CountWithoutResult(report.attempts) > 0 ? kRefused : kNothingFailed;
}

}  // namespace diagorctl
