#include "items/i2c_transfer.h"

#include "items/driver_handle.h"

bool I2CRequest(HANDLE bus, DWORD address, BYTE* readBuffer, DWORD readLength, DWORD writeData,
                WORD writeLength) {
  I2C_TRANSFER transfer = {};
  transfer.address = static_cast<WORD>(address >> 1);
  transfer.readLength = static_cast<WORD>(readLength);
  transfer.writeLength = writeLength;
  transfer.readBuffer = readBuffer;
  // The camera's processor is little-endian: the value's own bytes are in sending order.
  transfer.writeBuffer = reinterpret_cast<const BYTE*>(&writeData);

  DWORD returned = 0;
  return DeviceIoControl(bus, kIoctlI2cTransfer, &transfer, sizeof transfer, nullptr, 0, &returned,
                         nullptr) != FALSE;
}

DWORD I2CTransfer(DWORD address, BYTE* readBuffer, DWORD readLength, DWORD writeData,
                  WORD writeLength) {
  const DriverHandle bus(L"I2C1:");
  if (!bus.IsOpen()) return 0;
  return I2CRequest(bus.Get(), address, readBuffer, readLength, writeData, writeLength) ? 1 : 0;
}
