#include "drive.h"

#include "consumer.h"

static DriveAnswer State;  // of the session: DRIVE_EMPTY, DRIVE_MISSING (the part has been erased) or DRIVE_FAILED

void DRIVE_Begin(void) {
  State = DRIVE_EMPTY;
}

static int EraseAll(void) {
  for (uint32_t Address = APP_START; Address < APP_END; Address += PAGE_SIZE) {
    if (FLASH_ErasePage(Address) != 0) {
      return 1;
    }
  }
  return 0;
}

/// Writes the bytes of a word that are not 0xFF, unless they are there: a record may come again.
static int ProgramWord(uint32_t Address, uint32_t Word) {
  const uint32_t Old = pAppWords[(Address - APP_START) / 4];
  return (Old & ~Word) == 0 ? 0 : FLASH_WriteWord(Address, Word);
}

static int ProgramRecord(void* pContext, uint32_t Address, const uint8_t* pData, size_t NumBytes) {
  (void)pContext;
  if (Address < APP_START || Address >= APP_END || NumBytes > APP_END - Address) {
    return 1;
  }
  if (State == DRIVE_EMPTY && EraseAll() != 0) {
    return 1;
  }
  State = DRIVE_MISSING;
  uint32_t Word = UINT32_MAX;
  for (size_t i = 0; i < NumBytes || Address % 4 != 0; i++, Address++) {
    uint8_t New = 0xFF;  // before and after the record's bytes in a word
    if (i < NumBytes) {
      New = pData[i];
      const uint8_t Old = ((const volatile uint8_t*)pAppWords)[Address - APP_START];
      if (Old != 0xFF && Old != New) {  // 0xFF counts as not there yet
        return 1;
      }
    }
    Word = Word >> 8 | (uint32_t)New << 24;
    if (Address % 4 == 3 && ProgramWord(Address - 3, Word) != 0) {
      return 1;
    }
  }
  return 0;
}

/// The value of an upper-case hexadecimal digit; more than 15 for any other character.
static uint32_t DigitValue(char Char) {
  const uint32_t Value = (uint32_t)(uint8_t)Char - '0';
  return Value < 10 ? Value : Value - 17 < 6 ? Value - 7 : 16;
}

/// Whether the consumer stopped within an S-record that is right in itself: it was refused, or it is of a kind that no
/// conditioned file has.
static int IsRightRecord(const char* pUnit, size_t NumChars, size_t Stop) {
  size_t Pos = Stop;
  while (Pos > 0 && pUnit[Pos - 1] != '\n') {
    Pos--;
  }
  if (pUnit[Pos] != 'S') {  // a line has at least one character, even if the unit ends within it
    return 0;
  }
  uint32_t Sum = 0;
  uint32_t Factor = 16;
  for (Pos += 2; Pos < NumChars && DigitValue(pUnit[Pos]) < 16; Pos++) {
    Sum += DigitValue(pUnit[Pos]) * Factor;
    Factor = 17 - Factor;  // of a byte's high digit, and of its low digit
  }
  return Sum % 256 == 0xFF && Stop < Pos;
}

DriveAnswer DRIVE_TakeUnit(const char* pUnit, size_t NumChars) {
  if (State == DRIVE_FAILED) {
    return DRIVE_IGNORED;
  }
  ConsumerError Error;
  const ConsumerStatus Status = CONSUMER_ReadUnit(pUnit, NumChars, ProgramRecord, NULL, &Error);
  if (Status < 0 && IsRightRecord(pUnit, NumChars, Error.Offset)) {
    State = DRIVE_FAILED;
    return DRIVE_FAILED;
  }
  return Status < 0 ? DRIVE_IGNORED : DRIVE_TAKEN;
}

DriveAnswer DRIVE_Finish(void) {
  return State == DRIVE_MISSING && DRIVE_IsBootable() ? DRIVE_WHOLE : State;
}

int DRIVE_IsBootable(void) {
  static const uint32_t aHalfByte[16] = {0x00000000, 0x1DB71064, 0x3B6E20C8, 0x26D930AC, 0x76DC4190, 0x6B6B51F4,
                                         0x4DB26158, 0x5005713C, 0xEDB88320, 0xF00F9344, 0xD6D6A3E8, 0xCB61B38C,
                                         0x9B64C2B0, 0x86D3D2D4, 0xA00AE278, 0xBDBDF21C};
  uint32_t Crc = UINT32_MAX;
  for (size_t i = 0; i < APP_END - APP_START; i++) {
    Crc ^= ((const volatile uint8_t*)pAppWords)[i];
    Crc = Crc >> 4 ^ aHalfByte[Crc % 16];
    Crc = Crc >> 4 ^ aHalfByte[Crc % 16];
  }
  return Crc == 0xDEBB20E3;  // whatever the data is, if its CRC-32 follows it
}
