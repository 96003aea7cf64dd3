// run: the tests and their results.
#include <csignal>
#include <iostream>

#include "client/results.h"
#include "client/run_plan.h"
#include "diagorctl/about_camera.h"
#include "diagorctl/command.h"
#include "terminal/output.h"
#include "terminal/result_file.h"

namespace diagorctl {

namespace {

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
  ResultFile junit(options.junit);  // what cannot be written is said before a run, not after
  client::Report report;
  report.camera = NameOf(camera);
  report.serial = NameOf(camera, ".version.product.serial");
  // The file first: who reads the table may be slow, or gone.
  const auto write = [&] {
    client::AddCauses(report);
    if (!options.junit.empty()) client::WriteJunit(junit.Stream(), report);
    std::string problem = junit.Finish();
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
