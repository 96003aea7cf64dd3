// A program of this project as a process of its own.
#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

namespace test {

// Of a program of this project.
std::string ProgramPath(const std::string& program);

class Process {
 public:
  // program: by its name in the build's bin folder, or another one by its whole path.
  Process(const std::string& program, const std::vector<std::string>& arguments,
          const std::map<std::string, std::string>& environment = {});
  // Kills what still runs.
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  // Blocks until standard error holds the text, and returns what stands there so far; what it said
  // in all when it ends before.
  std::string ErrorsUntil(const std::string& text) { return Until(mErrors, text); }
  // The same of standard output.
  std::string OutputUntil(const std::string& text) { return Until(mOutput, text); }
  // std::logic_error after Wait: nothing is left to signal.
  void Signal(int signal) const;
  // Waits for the end; the exit code, or minus the signal that ended it.
  int Wait();
  // After Wait: all that it wrote.
  const std::string& Output() const { return mOutput.text; }
  const std::string& Errors() const { return mErrors.text; }

 private:
  struct Stream {
    int pipe = -1;
    std::string text;
  };
  bool ReadSome();
  std::string Until(const Stream& stream, const std::string& text);

  pid_t mPid = -1;
  Stream mOutput;
  Stream mErrors;
};

// The camera's port, as standard error names it.
std::uint16_t PortOf(const std::string& errors);

}  // namespace test
