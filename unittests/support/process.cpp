#include "support/process.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <utility>

namespace test {

std::string ProgramPath(const std::string& program) {
  return std::string(TEST_BIN_FOLDER "/").append(program);
}

// By way of env: signals do what they do at a terminal, however the tests themselves were started,
// and nothing of the caller's own settings of a camera is left.
Process::Process(const std::string& program, const std::vector<std::string>& arguments,
                 const std::map<std::string, std::string>& environment) {
  std::vector<std::string> words = {"/usr/bin/env", "--default-signal"};
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string text = *variable;
    if (text.starts_with("DIAGOR_")) words.push_back("--unset=" + text.substr(0, text.find('=')));
  }
  for (const auto& [name, value] : environment)
    words.push_back(std::string(name).append("=").append(value));
  words.push_back(program.starts_with("/") ? program : ProgramPath(program));
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv(words.size() + 1, nullptr);  // ended by a null pointer
  for (std::size_t i = 0; i < words.size(); ++i) argv[i] = words[i].data();

  int output[2];
  int errors[2];
  if (pipe2(output, O_CLOEXEC) != 0 || pipe2(errors, O_CLOEXEC) != 0) {
    throw std::runtime_error("no pipe");
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, errors[1], STDERR_FILENO);
  const int error = posix_spawn(&mPid, argv[0], &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(output[1]);
  close(errors[1]);
  mOutput.pipe = output[0];
  mErrors.pipe = errors[0];
  if (error != 0) throw std::runtime_error("cannot start " + program);
}

Process::~Process() {
  if (mPid > 0) {
    kill(mPid, SIGKILL);
    waitpid(mPid, nullptr, 0);
  }
  for (const Stream* each : {&mOutput, &mErrors}) {
    if (each->pipe >= 0) close(each->pipe);
  }
}

// Both pipes are emptied while either is waited for: a child that fills one must not stand still.
// False: both have ended.
bool Process::ReadSome() {
  if (mOutput.pipe < 0 && mErrors.pipe < 0) return false;
  pollfd pipes[] = {{mOutput.pipe, POLLIN, 0}, {mErrors.pipe, POLLIN, 0}};
  if (poll(pipes, 2, -1) < 0) return errno == EINTR;
  for (Stream* each : {&mOutput, &mErrors}) {
    if (pipes[each == &mOutput ? 0 : 1].revents == 0) continue;
    char buffer[4096];
    const ssize_t count = read(each->pipe, buffer, sizeof buffer);
    if (count > 0) {
      each->text.append(buffer, static_cast<std::size_t>(count));
    } else {
      close(std::exchange(each->pipe, -1));
    }
  }
  return true;
}

std::string Process::Until(const Stream& stream, const std::string& text) {
  while (stream.text.find(text) == std::string::npos && stream.pipe >= 0) ReadSome();
  return stream.text;
}

void Process::Signal(int signal) const {
  // Of one that has ended there is no number left: -1 would name every process of the machine.
  if (mPid <= 0) throw std::logic_error("a signal for a process that has ended");
  kill(mPid, signal);
}

int Process::Wait() {
  while (ReadSome()) {
  }
  int status = 0;
  waitpid(mPid, &status, 0);
  mPid = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

std::uint16_t PortOf(const std::string& errors) {
  const std::string before = "http://127.0.0.1:";
  const std::size_t found = errors.find(before);
  if (found == std::string::npos) throw std::runtime_error("no port in: " + errors);
  return static_cast<std::uint16_t>(std::stoul(errors.substr(found + before.size())));
}

}  // namespace test
