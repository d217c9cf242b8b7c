/// The board of the host build: a flash in memory.
#include <string.h>

#include "drive.h"

uint32_t aFlash[APP_END / 4];
const uint32_t* const pAppWords = aFlash + APP_START / 4;

void FLASH_ErasePage(uint32_t Address) {
  memset(aFlash + Address / 4, 0xFF, PAGE_SIZE);
}

void FLASH_WriteWord(uint32_t Address, uint32_t Value) {
  aFlash[Address / 4] &= Value;
}
