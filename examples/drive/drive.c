#include "drive.h"

#include "consumer.h"

static uint8_t aIsErased[(APP_END - APP_START) / PAGE_SIZE];  // in this session

void DRIVE_Start(void) {
  for (size_t i = 0; i < sizeof(aIsErased); i++) {
    aIsErased[i] = 0;
  }
}

/// Whether the flash has, or can still take, these bytes. Where it is erased, 0xFF means that nothing has come yet.
static int IsWelcome(uint32_t Address, const uint8_t* pData, size_t NumBytes) {
  if (Address < APP_START || Address >= APP_END || NumBytes > APP_END - Address) {
    return 0;
  }
  for (size_t i = 0, Pos = Address - APP_START; i < NumBytes; i++, Pos++) {
    const uint8_t Old = ((const uint8_t*)pAppWords)[Pos];
    if (aIsErased[Pos / PAGE_SIZE] && Old != 0xFF && Old != pData[i]) {
      return 0;
    }
  }
  return 1;
}

/// Writes the bytes of a word that are not 0xFF, unless they are there: a record may come again.
static void ProgramWord(uint32_t Address, uint32_t Word) {
  if (!aIsErased[(Address - APP_START) / PAGE_SIZE]) {
    FLASH_ErasePage(Address & ~(PAGE_SIZE - 1U));
    aIsErased[(Address - APP_START) / PAGE_SIZE] = 1;
  }
  if ((pAppWords[(Address - APP_START) / 4] & ~Word) != 0) {
    FLASH_WriteWord(Address, Word);
  }
}

static int ProgramRecord(void* pContext, uint32_t Address, const uint8_t* pData, size_t NumBytes) {
  (void)pContext;
  if (!IsWelcome(Address, pData, NumBytes)) {
    return 1;
  }
  uint32_t Word = UINT32_MAX;
  for (size_t i = 0; i < NumBytes; i++, Address++) {
    Word ^= (uint32_t)(pData[i] ^ 0xFF) << 8 * (Address % 4);
    if (Address % 4 == 3 || i + 1 == NumBytes) {
      ProgramWord(Address & ~3U, Word);
      Word = UINT32_MAX;
    }
  }
  return 0;
}

int DRIVE_TakeUnit(const char* pUnit, uint32_t NumChars) {
  const ConsumerStatus Status = CONSUMER_ReadUnit(pUnit, NumChars, ProgramRecord, NULL, NULL);
  return Status >= 0 ? 'T' : Status == CONSUMER_ERR_REFUSED ? 'C' : 'I';
}

int DRIVE_IsWhole(void) {
  uint32_t Crc = UINT32_MAX;
  for (size_t Pos = sizeof(Crc); Pos < APP_END - APP_START; Pos++) {
    Crc ^= aIsErased[Pos / PAGE_SIZE] ? ((const uint8_t*)pAppWords)[Pos] : 0xFF;
    for (int i = 0; i < 8; i++) {
      Crc = Crc >> 1 ^ (Crc % 2 == 0 ? 0 : 0xEDB88320);
    }
  }
  return aIsErased[0] && pAppWords[0] == ~Crc;
}
