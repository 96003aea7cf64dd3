// The desk's side of the framework: what a camera's supervisor and other tasks do to a task.
#pragma once

#include <windows.h>

#include <cstdint>
#include <functional>
#include <string>

namespace desk {

// What the camera does while the supervisor starts. Set before the program starts.
struct FrameworkHooks {
  // The camera wakes: storage, network face bound to the port. 0 or a status.
  std::function<DWORD(std::uint16_t port)> wake;
  // The tree stands and the tasks run: clients may come.
  std::function<void()> serve;
};
void SetFrameworkHooks(FrameworkHooks hooks);

// Makes CSupervisor::Start return; safe from any thread, also before Start was called.
void RequestStop();
// Forgets a stop and the hooks: for a process that assembles several cameras.
void ResetFramework();

// Sends a ping to the task and waits for its answer, a second of camera time at most.
bool PingTask(DWORD number);
// The number answered last; 0 before the first.
DWORD LastPing();
// Asks for the reply to a subscription of that node of the task's tree the same way.
bool AskForReply(const std::string& path);
// "path=value"
std::string LastReply();
// Puts a record that holds its kind alone into the task's queue; false when it is full or not
// there.
bool SendKind(DWORD kind);
// Signals every task's start/stop event although nothing is to stop.
void SignalTasks();

}  // namespace desk
