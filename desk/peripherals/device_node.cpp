#include "peripherals/device_node.h"

#include "tarq/node_access.h"

namespace desk {

DeviceNode::DeviceNode(const char* name, const Value& start)
    : CServerResource(name, start, TARQ::kPlainNode), mDevices(start) {}

void DeviceNode::DeviceChanged() {
  const std::lock_guard lock(mLock);
  mOverridden = false;
}

DWORD DeviceNode::SetImpl(Value& value, bool& changed) {
  const DWORD status = CServerResource::SetImpl(value, changed);
  if (status != 0) return status;
  if (mRead) {
    const Value devices = mRead();
    const std::lock_guard lock(mLock);
    mOverridden = true;
    mDevices = devices;
    ++mWrites;
  }
  if (mWritten) mWritten(mValue);
  return 0;
}

DWORD DeviceNode::GetImpl(Value& value) {
  if (!mRead) return CServerResource::GetImpl(value);
  unsigned writes = 0;
  {
    const std::lock_guard lock(mLock);
    writes = mWrites;
  }
  const Value devices = mRead();
  const std::lock_guard lock(mLock);
  // What was written while the device was asked is newer than what it gave.
  const bool isNewer = mWrites != writes;
  if (mOverridden && (isNewer || devices.Compare(mDevices) == 0)) {
    return CServerResource::GetImpl(value);
  }
  mOverridden = false;
  return value.Set(devices, false);
}

}  // namespace desk
