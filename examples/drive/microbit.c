/// The board: an nRF51, which QEMU emulates as "microbit". Its serial port stands in for USB. A frame is a length of
/// two bytes, low byte first, and a unit, which is answered. Length 0 asks whether all has arrived: Y or N.
#include "drive.h"

#define AT(Address) (*(volatile uint32_t*)(Address))
enum { UART = 0x40002000, STARTRX = 0, STARTTX = 8, RXDRDY = 0x108, ENABLE = 0x500, RXD = 0x518, TXD = 0x51C };
enum { NVMC = 0x4001E000, READY = 0x400, CONFIG = 0x504, ERASEPAGE = 0x508, READING = 0, WRITING = 1, ERASING = 2 };

const uint32_t* const pAppWords = (const uint32_t*)APP_START;

static void Store(uint32_t Mode, uint32_t Address, uint32_t Value) {
  AT(NVMC + CONFIG) = Mode;
  AT(Address) = Value;
  while (AT(NVMC + READY) == 0) {
  }
  AT(NVMC + CONFIG) = READING;
}

void FLASH_ErasePage(uint32_t Address) {
  Store(ERASING, NVMC + ERASEPAGE, Address);
}

void FLASH_WriteWord(uint32_t Address, uint32_t Value) {
  Store(WRITING, Address, Value);
}

static uint8_t Receive(void) {
  while (AT(UART + RXDRDY) == 0) {
  }
  AT(UART + RXDRDY) = 0;
  return (uint8_t)AT(UART + RXD);
}

/// Runs from reset. No variable has an initial value, and nothing relies on cleared RAM.
void Reset(void) {
  static char acUnit[MAX_UNIT];
  DRIVE_Start();
  AT(UART + ENABLE) = 4;
  AT(UART + STARTRX) = AT(UART + STARTTX) = 1;
  for (;;) {
    uint32_t NumChars = Receive();
    NumChars |= (uint32_t)Receive() << 8;
    for (uint32_t i = 0; i < NumChars; i++) {
      acUnit[i % MAX_UNIT] = (char)Receive();
    }
    const int Answer = NumChars > MAX_UNIT ? 'I' : DRIVE_TakeUnit(acUnit, NumChars);
    AT(UART + TXD) = (uint32_t)(NumChars != 0 ? Answer : DRIVE_IsWhole() ? 'Y' : 'N');
  }
}
