/// The board: an nRF51, which QEMU emulates as "microbit". Its serial port stands in for USB. A unit is a length of two
/// bytes, low byte first, and the characters; length 0 stands for a host that has gone quiet. The drive sends letters.
#include "drive.h"

#define AT(Address) (*(volatile uint32_t*)(Address))
enum { UART = 0x40002000, STARTRX = 0, STARTTX = 8, RXDRDY = 0x108, ENABLE = 0x500, RXD = 0x518, TXD = 0x51C };
enum { NVMC = 0x4001E000, READY = 0x400, CONFIG = 0x504, ERASEPAGE = 0x508, READING = 0, WRITING = 1, ERASING = 2 };
enum { MAX_UNIT = 0x2000 };

const volatile uint32_t* const pAppWords = (const volatile uint32_t*)APP_START;

static void Store(uint32_t Mode, uint32_t Address, uint32_t Value) {
  AT(NVMC + CONFIG) = Mode;
  AT(Address) = Value;
  while (AT(NVMC + READY) == 0) {
  }
  AT(NVMC + CONFIG) = READING;
}

int FLASH_ErasePage(uint32_t Address) {
  Store(ERASING, NVMC + ERASEPAGE, Address);
  return 0;
}

int FLASH_WriteWord(uint32_t Address, uint32_t Value) {
  Store(WRITING, Address, Value);
  return (AT(Address) & ~Value) != 0;
}

static uint8_t Receive(void) {
  while (AT(UART + RXDRDY) == 0) {
  }
  AT(UART + RXDRDY) = 0;
  return (uint8_t)AT(UART + RXD);
}

static void BOARD_Show(int Letter) {
  AT(UART + TXD) = (uint32_t)Letter;
}

/// Asks the host, which answers P if it is.
static int BOARD_IsButtonPressed(void) {
  BOARD_Show('B');
  return Receive() == 'P';
}

static void BOARD_StartApplication(void) {
  BOARD_Show('A');
  for (;;) {
  }
}

static void USB_Connect(void) {
  BOARD_Show('C');
}

static void USB_Disconnect(void) {
  BOARD_Show('D');
}

static size_t USB_Receive(char* pUnit) {
  size_t NumChars = Receive();
  NumChars |= (size_t)Receive() << 8;
  for (size_t i = 0; i < NumChars; i++) {
    pUnit[i % MAX_UNIT] = (char)Receive();
  }
  return NumChars < MAX_UNIT ? NumChars : MAX_UNIT;
}

int main(void) {
  static char acUnit[MAX_UNIT];
  if (DRIVE_IsBootable() && !BOARD_IsButtonPressed()) {
    BOARD_StartApplication();  // does not return
  }
  for (;;) {
    DRIVE_Begin();
    USB_Connect();  // with an empty disk
    DriveAnswer Answer = DRIVE_EMPTY;
    while (Answer == DRIVE_EMPTY || Answer == DRIVE_MISSING) {
      const size_t NumChars = USB_Receive(acUnit);  // 0: the host has written nothing for half a second
      if (NumChars > 0) {
        BOARD_Show(DRIVE_TakeUnit(acUnit, NumChars));
      } else {
        Answer = DRIVE_Finish();
        BOARD_Show(Answer);
      }
    }
    USB_Disconnect();  // long enough for the host to notice
    if (Answer == DRIVE_WHOLE) {
      BOARD_StartApplication();
    }
  }
}

/// Runs from reset. No variable has an initial value, and nothing relies on cleared RAM.
void Reset(void) {
  AT(UART + ENABLE) = 4;
  AT(UART + STARTRX) = AT(UART + STARTTX) = 1;
  main();
}
