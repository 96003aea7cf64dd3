// One transaction on an I2C bus: send a few bytes, then read a block.
#pragma once

#include <windows.h>

// The request record of the bus drivers.
struct I2C_TRANSFER {
  WORD address;  // 7 bits
  WORD readLength;
  WORD writeLength;
  WORD reserved;
  BYTE* readBuffer;
  const BYTE* writeBuffer;
};
static_assert(sizeof(I2C_TRANSFER) == 8 + 2 * sizeof(void*));

constexpr DWORD kIoctlI2cTransfer = 0x80004004;

// The transaction on an open bus; arguments as CResBitItemI2C::Transfer. False: see GetLastError.
bool I2CRequest(HANDLE bus, DWORD address, BYTE* readBuffer, DWORD readLength, DWORD writeData,
                WORD writeLength);

// The same on "I2C1:", opened for this call alone, for code that has no item yet. 1 or 0.
DWORD I2CTransfer(DWORD address, BYTE* readBuffer, DWORD readLength, DWORD writeData,
                  WORD writeLength);
