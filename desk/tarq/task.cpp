#include <algorithm>
#include <cstdio>
#include <mutex>
#include <set>

#include "common_dll.h"
#include "coredll/machine.h"
#include "tarq/framework.h"
#include "tarq/node_access.h"
#include "tarq/task_access.h"

namespace TARQ {

namespace {

constexpr DWORD kTaskEnds = 0xA0010010;
constexpr DWORD kTaskCarriesOn = 0xA0010000;

std::mutex gTasksLock;
std::vector<CTaskContainer*> gTasks;
std::atomic<DWORD> gNextTask{1};

// What came back, under the clock's lock.
struct Answers {
  std::multiset<DWORD> pings;  // answered, and not yet heard by who sent them
  DWORD ping = 0;
  DWORD subscription = 0;
  std::string reply;
};
Answers gAnswers;

std::mutex gSubscriptionsLock;
DWORD gNextSubscription = 1;
std::map<DWORD, std::string> gSubscriptions;  // number to path

}  // namespace

CTaskContainer::CTaskContainer() : mBody(std::make_unique<Body>()) {
  mBody->startStop = std::make_shared<desk::Event>(false, false);
  mBody->startStopHandle = desk::NewHandle(mBody->startStop);
}

CTaskContainer::~CTaskContainer() {
  {
    const std::lock_guard lock(gTasksLock);
    std::erase(gTasks, this);
  }
  CloseHandle(mBody->startStopHandle);
  if (mBody->thread.joinable()) mBody->thread.join();
}

DWORD CTaskContainer::Init(char* name, DWORD /*argument1*/, DWORD /*argument2*/,
                           DWORD /*argument3*/) {
  mBody->name = name == nullptr ? "" : name;
  return 0;
}

DWORD CTaskContainer::Start(DWORD* id) {
  if (id != nullptr) *id = gNextTask;
  ++gNextTask;
  {
    const std::lock_guard lock(gTasksLock);
    gTasks.push_back(this);
  }
  desk::Clock& clock = *desk::TheMachine().clock;
  // The task's turn is reserved before any client's.
  auto ticket = clock.Prepare(desk::Clock::Role::Follows);
  mBody->thread = std::thread([this, &clock, ticket = std::move(ticket), body = mBody.get()] {
    {
      const desk::Clock::Participation participation(clock, ticket,
                                                     [body] { body->hasBegun = true; });
      try {
        Run();
      } catch (const std::exception& error) {
        fprintf(stderr, "diagor: the task ended by an exception: %s\n", error.what());
      }
    }
    clock.Change([body] {
      body->hasBegun = true;
      body->ended = true;
    });
  });
  return 0;
}

DWORD CTaskContainer::Stop() {
  mBody->stopRequested = true;
  mBody->startStop->Signal();
  return 0;
}

HANDLE CTaskContainer::GetStartStopEvent() const {
  return mBody->startStopHandle;
}

DWORD CTaskContainer::StopReceived() {
  return mBody->stopRequested ? kTaskEnds : kTaskCarriesOn;
}

DWORD CTaskContainer::PingReceived(const PING_MESSAGE_T& message) {
  desk::TheMachine().clock->Change([&] {
    gAnswers.pings.insert(message.number);
    gAnswers.ping = message.number;
  });
  return 0;
}

DWORD CServerResource::SendReply(const CResource::SubscrMsg& message) {
  std::string path;
  {
    const std::lock_guard lock(gSubscriptionsLock);
    const auto found = gSubscriptions.find(message.subscription);
    if (found == gSubscriptions.end()) return kStatusNotFound;
    path = found->second;
  }
  CResourceTree* const tree = CSupervisor::mpLocalResourceTree;
  CServerResource* const node =
      tree == nullptr ? nullptr : NodeAccess::Find(NodeAccess::Root(*tree), path);
  CResourceValue value("");
  if (node == nullptr || NodeAccess::Read(*node, value) != 0) return kStatusUnreadable;
  const CText text = value.GetAsAscii(false);
  desk::TheMachine().clock->Change([&] {
    gAnswers.subscription = message.subscription;
    gAnswers.reply = path + "=" + text.AsChar();
  });
  return 0;
}

std::vector<CTaskContainer*> TaskAccess::Tasks() {
  const std::lock_guard lock(gTasksLock);
  return gTasks;
}

}  // namespace TARQ

namespace desk {

namespace {

constexpr wchar_t kTaskQueue[] = L"BitQ";
constexpr Duration kPatience = std::chrono::seconds(1);

// Sends the record and waits for the answer as a participant, so that the task gets its turn.
template <typename Record>
bool SendAndWait(const Record& record, const std::function<bool()>& answered) {
  Clock& clock = *TheMachine().clock;
  std::unique_ptr<Clock::Participation> participation;
  if (!Clock::TakesPart()) {
    participation = std::make_unique<Clock::Participation>(clock, Clock::Role::MovesTime);
  }
  return TARQ::TaskAccess::Send(kTaskQueue, &record, sizeof record) &&
         clock.Wait(answered, clock.Now() + kPatience);
}

}  // namespace

bool PingTask(DWORD number) {
  // What an earlier ping of that number did not wait for is no answer to this one.
  TheMachine().clock->Change([number] { TARQ::gAnswers.pings.erase(number); });
  const PING_MESSAGE_T ping = {7, number, {}};
  return SendAndWait(ping, [number] {
    const auto answered = TARQ::gAnswers.pings.find(number);
    if (answered == TARQ::gAnswers.pings.end()) return false;
    TARQ::gAnswers.pings.erase(answered);
    return true;
  });
}

DWORD LastPing() {
  DWORD number = 0;
  TheMachine().clock->Change([&] { number = TARQ::gAnswers.ping; });
  return number;
}

bool AskForReply(const std::string& path) {
  TARQ::CResource::SubscrMsg message = {2, 0, {}};
  {
    const std::lock_guard lock(TARQ::gSubscriptionsLock);
    message.subscription = TARQ::gNextSubscription++;
    TARQ::gSubscriptions.emplace(message.subscription, path);
  }
  const bool answered =
      SendAndWait(message, [&] { return TARQ::gAnswers.subscription == message.subscription; });
  const std::lock_guard lock(TARQ::gSubscriptionsLock);
  TARQ::gSubscriptions.erase(message.subscription);
  return answered;
}

std::string LastReply() {
  std::string reply;
  TheMachine().clock->Change([&] { reply = TARQ::gAnswers.reply; });
  return reply;
}

bool SendKind(DWORD kind) {
  return TARQ::TaskAccess::Send(kTaskQueue, &kind, sizeof kind);
}

void SignalTasks() {
  // Under the lock: a task that is being destroyed leaves the list first.
  const std::lock_guard lock(TARQ::gTasksLock);
  for (TARQ::CTaskContainer* const task : TARQ::gTasks) {
    TARQ::TaskAccess::BodyOf(*task).startStop->Signal();
  }
}

}  // namespace desk
