#include "support/process.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <stdexcept>

namespace test {

namespace {

// As the system takes them, ended by a null pointer.
std::vector<char*> PointersTo(std::vector<std::string>& words) {
  std::vector<char*> pointers(words.size() + 1, nullptr);
  for (std::size_t i = 0; i < words.size(); ++i) pointers[i] = words[i].data();
  return pointers;
}

}  // namespace

std::string ProgramPath(const std::string& program) {
  return std::string(TEST_BIN_FOLDER) + "/" + program;
}

Process::Process(const std::string& program, const std::vector<std::string>& arguments,
                 const std::map<std::string, std::string>& environment) {
  int output[2];
  int errors[2];
  if (pipe2(output, O_CLOEXEC) != 0 || pipe2(errors, O_CLOEXEC) != 0) {
    throw std::runtime_error("no pipe");
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, errors[1], STDERR_FILENO);

  const std::string path = program.starts_with("/") ? program : ProgramPath(program);
  std::vector<std::string> words = {path};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<std::string> variables;
  for (const auto& [name, value] : environment) {
    variables.push_back(name);
    variables.back() += "=" + value;
  }
  // Nothing of the caller's own settings of a camera.
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string text = *variable;
    const bool isSet = environment.contains(text.substr(0, text.find('=')));
    if (!text.starts_with("DIAGOR_") && !isSet) variables.push_back(text);
  }
  std::vector<char*> argv = PointersTo(words);
  std::vector<char*> envp = PointersTo(variables);

  // Signals do what they do at a terminal, however the tests themselves were started.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t signals;
  sigfillset(&signals);
  posix_spawnattr_setsigdefault(&attributes, &signals);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
  const int error =
      posix_spawn(&mPid, path.c_str(), &actions, &attributes, argv.data(), envp.data());
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  close(output[1]);
  close(errors[1]);
  mOutputPipe = output[0];
  mErrorPipe = errors[0];
  if (error != 0) throw std::runtime_error("cannot start " + path);
}

Process::~Process() {
  if (mPid > 0) {
    kill(mPid, SIGKILL);
    waitpid(mPid, nullptr, 0);
  }
  if (mOutputPipe >= 0) close(mOutputPipe);
  if (mErrorPipe >= 0) close(mErrorPipe);
}

// Both pipes are emptied while either is waited for: a child that fills one must not stand still.
// False: both have ended.
bool Process::ReadSome() {
  pollfd pipes[] = {{mOutputPipe, POLLIN, 0}, {mErrorPipe, POLLIN, 0}};
  std::string* const texts[] = {&mOutput, &mErrors};
  int* const open[] = {&mOutputPipe, &mErrorPipe};
  if (mOutputPipe < 0 && mErrorPipe < 0) return false;
  if (poll(pipes, 2, -1) < 0) return errno == EINTR;
  for (std::size_t i = 0; i < 2; ++i) {
    if (pipes[i].revents == 0) continue;
    char buffer[4096];
    const ssize_t count = read(*open[i], buffer, sizeof buffer);
    if (count > 0) {
      texts[i]->append(buffer, static_cast<std::size_t>(count));
    } else {
      close(*open[i]);
      *open[i] = -1;
    }
  }
  return true;
}

std::string Process::ErrorsUntil(const std::string& text) {
  while (mErrors.find(text) == std::string::npos && mErrorPipe >= 0) ReadSome();
  return mErrors;
}

std::string Process::OutputUntil(const std::string& text) {
  while (mOutput.find(text) == std::string::npos && mOutputPipe >= 0) ReadSome();
  return mOutput;
}

void Process::Signal(int signal) const {
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
