// The program's one task: builds the test tree, answers the framework, does timed work.
#pragma once

#include "app/framework.h"

class Trees;

class CBitTask : public TARQ::CTaskContainer {
 public:
  using CTaskContainer::Init;
  // Queue, event, platform, test tree; the base initialisation only when the whole tree stands.
  DWORD Init(char* name, DWORD argument1, DWORD argument2, DWORD argument3) override;
  DWORD Run() override;
  DWORD Unload() override;

  void SetPlatform(DWORD platform) { mPlatform = platform; }

 private:
  bool HandleTimeout(const Trees& trees);
  void DrainQueue();

  TARQ::CQueue* mpQueue = nullptr;  // owned
  HANDLE mhEvent = nullptr;         // owned; neither waited on nor signalled
  DWORD mTimeout = 0;               // ms
  DWORD mPlatform = 0;
};
