// Camera-wide nodes that a device drives or listens to.
#pragma once

#include <functional>
#include <mutex>

#include "common_dll.h"

namespace desk {

class DeviceNode : public TARQ::CServerResource {
 public:
  using Value = TARQ::CResourceValue;

  DeviceNode(const char* name, const Value& start);

  // The device gives the value. What is written to the node is read until the device's value next
  // changes.
  void OnRead(std::function<Value()> read) { mRead = std::move(read); }
  // The device hears of each value that was written.
  void OnWritten(std::function<void(const Value&)> written) { mWritten = std::move(written); }

  // The device has changed: what was written before does not hold any more.
  void DeviceChanged();

  DWORD SetImpl(Value& value, bool& changed) override;
  DWORD GetImpl(Value& value) override;

 private:
  std::function<Value()> mRead;
  std::function<void(const Value&)> mWritten;
  std::mutex mLock;
  bool mOverridden = false;
  unsigned mWrites = 0;
  Value mDevices;  // what the device gave when the node was written
};

}  // namespace desk
