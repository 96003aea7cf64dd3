#include "items/i2c_transfer.h"

HANDLE OpenDriver(const wchar_t* name) {
  return CreateFileW(name, 0, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
}

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
  HANDLE const bus = OpenDriver(L"I2C1:");
  if (bus == INVALID_HANDLE_VALUE) return 0;
  const bool done = I2CRequest(bus, address, readBuffer, readLength, writeData, writeLength);
  CloseHandle(bus);
  return done ? 1 : 0;
}
