#include "items/res_bit_item_i2c.h"

#include "items/i2c_transfer.h"

CResBitItemI2C::CResBitItemI2C(const TARQ::CResourcePath& path, const char* description,
                               bool secondBus)
    : CResBitItem(path, description), mHandle(secondBus ? L"I2C2:" : L"I2C1:") {}

DWORD CResBitItemI2C::Transfer(DWORD address, BYTE* readBuffer, DWORD readLength, DWORD writeData,
                               WORD writeLength) {
  return I2CRequest(mHandle.Get(), address, readBuffer, readLength, writeData, writeLength)
             ? 0
             : GetLastError();
}
