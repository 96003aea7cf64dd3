// A test item whose hardware sits on one of the two I2C buses.
#pragma once

#include "items/driver_handle.h"
#include "items/res_bit_item.h"

// The bus of a row of a table.
enum class Bus { First, Second };

class CResBitItemI2C : public CResBitItem {
 public:
  // Opens "I2C2:" for the second bus, else "I2C1:". A missing driver shows in every transfer.
  CResBitItemI2C(const TARQ::CResourcePath& path, const char* description, bool secondBus);

 protected:
  // Sends the low writeLength bytes (at most 4) of writeData, lowest first, then reads readLength
  // bytes. address: 8 bits, the chip's 7-bit address shifted left. 0 or the driver's error code;
  // after a failure the read buffer is not to be trusted.
  DWORD Transfer(DWORD address, BYTE* readBuffer, DWORD readLength, DWORD writeData,
                 WORD writeLength);

  DriverHandle mHandle;  // for the item's life
};
