#include "consumer.h"

enum { MAX_ADDRESS_BYTES = 4 };

/// A block and the current position in it. After a failure, Pos is the offset of the offending character.
typedef struct {
  const char* pChars;
  size_t NumChars;
  size_t Pos;
} BlockText;

/// The data of one record. The bytes are kept in the order of the line: address, data, checksum.
typedef struct {
  size_t NumAddressBytes;
  size_t NumDataBytes;
  uint8_t aBytes[MAX_ADDRESS_BYTES + CONSUMER_MAX_DATA_BYTES + 1];
} DataRecord;

#ifndef CONSUMER_NO_TEXTS
static const char* const apErrorTexts[] = {
    [-CONSUMER_ERR_LINE_START] = "record or CR LF expected",
    [-CONSUMER_ERR_TYPE] = "record type 1, 2, 3 or 9 expected",
    [-CONSUMER_ERR_DIGIT] = "upper-case hexadecimal digit expected",
    [-CONSUMER_ERR_COUNT] = "count does not mean 1 to 32 data bytes",
    [-CONSUMER_ERR_CHECKSUM] = "wrong checksum",
    [-CONSUMER_ERR_LINE_END] = "CR LF expected",
    [-CONSUMER_ERR_CUT_OFF] = "incomplete line at the end of the block",
    [-CONSUMER_ERR_ADDRESS] = "data runs past the last address of its record type",
    [-CONSUMER_ERR_END_RECORD] = "end record is not S9030000FC",
    [-CONSUMER_ERR_AFTER_END] = "text after the end record",
    [-CONSUMER_ERR_REFUSED] = "record refused",
};
#endif

static const char* TextOf(ConsumerStatus Status) {
#ifndef CONSUMER_NO_TEXTS
  return Status < 0 ? apErrorTexts[-Status] : NULL;
#else
  (void)Status;
  return NULL;
#endif
}

static ConsumerStatus FailAt(BlockText* pText, size_t Pos, ConsumerStatus Status) {
  pText->Pos = Pos;
  return Status;
}

/// Steps over the character Expected. Returns Otherwise for any other.
static ConsumerStatus TakeChar(BlockText* pText, char Expected, ConsumerStatus Otherwise) {
  if (pText->Pos == pText->NumChars) {
    return CONSUMER_ERR_CUT_OFF;
  }
  if (pText->pChars[pText->Pos] != Expected) {
    return Otherwise;
  }
  pText->Pos++;
  return CONSUMER_MORE;
}

static ConsumerStatus TakeLineEnd(BlockText* pText) {
  const ConsumerStatus Status = TakeChar(pText, '\r', CONSUMER_ERR_LINE_END);
  return Status < 0 ? Status : TakeChar(pText, '\n', CONSUMER_ERR_LINE_END);
}

static int DigitValue(char Char) {
  if (Char >= '0' && Char <= '9') {
    return Char - '0';
  }
  if (Char >= 'A' && Char <= 'F') {
    return Char - 'A' + 10;
  }
  return -1;
}

/// Reads NumBytes bytes of two digits each.
static ConsumerStatus TakeBytes(BlockText* pText, uint8_t* pBytes, size_t NumBytes) {
  for (size_t i = 0; i < 2 * NumBytes; i++) {
    if (pText->Pos == pText->NumChars) {
      return CONSUMER_ERR_CUT_OFF;
    }
    const int Digit = DigitValue(pText->pChars[pText->Pos]);
    if (Digit < 0) {
      return CONSUMER_ERR_DIGIT;
    }
    pBytes[i / 2] = (uint8_t)(i % 2 == 0 ? Digit << 4 : pBytes[i / 2] | Digit);
    pText->Pos++;
  }
  return CONSUMER_MORE;
}

/// Count, address, data and checksum add up to 0xFF modulo 256.
static int IsSumRight(uint8_t Count, const uint8_t* pBytes) {
  unsigned Sum = Count;
  for (size_t i = 0; i < Count; i++) {
    Sum += pBytes[i];
  }
  return (Sum & 0xFF) == 0xFF;
}

/// Reads the rest of a data record after its type, which determines NumAddressBytes.
static ConsumerStatus TakeDataRecord(BlockText* pText, size_t NumAddressBytes, DataRecord* pRecord) {
  const size_t CountPos = pText->Pos;
  const size_t NumOtherBytes = NumAddressBytes + 1;
  uint8_t Count = 0;
  ConsumerStatus Status = TakeBytes(pText, &Count, 1);
  if (Status < 0) {
    return Status;
  }
  if (Count <= NumOtherBytes || Count > NumOtherBytes + CONSUMER_MAX_DATA_BYTES) {
    return FailAt(pText, CountPos, CONSUMER_ERR_COUNT);
  }
  pRecord->NumAddressBytes = NumAddressBytes;
  pRecord->NumDataBytes = Count - NumOtherBytes;
  Status = TakeBytes(pText, pRecord->aBytes, Count);
  if (Status < 0) {
    return Status;
  }
  if (!IsSumRight(Count, pRecord->aBytes)) {
    return FailAt(pText, pText->Pos - 2, CONSUMER_ERR_CHECKSUM);
  }
  return TakeLineEnd(pText);
}

static uint32_t AddressOf(const DataRecord* pRecord) {
  uint32_t Address = 0;
  for (size_t i = 0; i < pRecord->NumAddressBytes; i++) {
    Address = Address << 8 | pRecord->aBytes[i];
  }
  return Address;
}

/// Whether NumAddressBytes bytes can hold the address of the last data byte. Written so that no sum can overflow.
static int IsTypeWideEnough(const DataRecord* pRecord) {
  const uint32_t LastAddress = 0xFFFFFFFFU >> (8 * (MAX_ADDRESS_BYTES - pRecord->NumAddressBytes));
  return pRecord->NumDataBytes - 1 <= LastAddress - AddressOf(pRecord);
}

/// Reads the rest of an end record after its type: 030000FC and the line end.
static ConsumerStatus TakeEndRecord(BlockText* pText) {
  const uint32_t Digits = 0x030000FC;  // a number, because an AVR would keep a text in RAM
  for (int Shift = 28; Shift >= 0; Shift -= 4) {
    if (pText->Pos == pText->NumChars) {
      return CONSUMER_ERR_CUT_OFF;
    }
    if (DigitValue(pText->pChars[pText->Pos]) != (int)(Digits >> Shift & 0xF)) {
      return CONSUMER_ERR_END_RECORD;
    }
    pText->Pos++;
  }
  const ConsumerStatus Status = TakeLineEnd(pText);
  return Status < 0 ? Status : CONSUMER_END;
}

static ConsumerStatus ReadRecord(BlockText* pText, ConsumerSink pfSink, void* pContext) {
  const size_t LineStart = pText->Pos;
  const size_t AddressPos = LineStart + 4;
  if (pText->NumChars - LineStart < 2) {
    return FailAt(pText, pText->NumChars, CONSUMER_ERR_CUT_OFF);
  }
  const char Type = pText->pChars[LineStart + 1];
  pText->Pos = LineStart + 2;
  if (Type == '9') {
    return TakeEndRecord(pText);
  }
  if (Type < '1' || Type > '3') {
    return FailAt(pText, LineStart + 1, CONSUMER_ERR_TYPE);
  }
  DataRecord Record;  // without an initialiser, which would be a call of memset
  const ConsumerStatus Status = TakeDataRecord(pText, (size_t)(Type - '0') + 1, &Record);
  if (Status < 0) {
    return Status;
  }
  if (!IsTypeWideEnough(&Record)) {
    return FailAt(pText, AddressPos, CONSUMER_ERR_ADDRESS);
  }
  const uint8_t* pData = Record.aBytes + Record.NumAddressBytes;
  if (pfSink != NULL && pfSink(pContext, AddressOf(&Record), pData, Record.NumDataBytes) != 0) {
    return FailAt(pText, LineStart, CONSUMER_ERR_REFUSED);
  }
  return CONSUMER_MORE;
}

static ConsumerStatus ReadLine(BlockText* pText, ConsumerSink pfSink, void* pContext) {
  switch (pText->pChars[pText->Pos]) {
    case 'S':
      return ReadRecord(pText, pfSink, pContext);
    case '\r':
      return TakeLineEnd(pText);
    default:
      return CONSUMER_ERR_LINE_START;
  }
}

/// Reads lines up to the end record, the end of the text or the first fault.
static ConsumerStatus ReadLines(BlockText* pText, ConsumerSink pfSink, void* pContext) {
  ConsumerStatus Status = CONSUMER_MORE;
  while (Status == CONSUMER_MORE && pText->Pos < pText->NumChars) {
    Status = ReadLine(pText, pfSink, pContext);
  }
  return Status;
}

static ConsumerStatus Report(const BlockText* pText, ConsumerStatus Status, ConsumerError* pError) {
  if (pError != NULL) {
    pError->Offset = pText->Pos;
    pError->pText = TextOf(Status);
  }
  return Status;
}

ConsumerStatus CONSUMER_ReadBlock(const char* pBlock, size_t NumChars, ConsumerSink pfSink, void* pContext,
                                  ConsumerError* pError) {
  BlockText Text = {pBlock, NumChars, 0};
  ConsumerStatus Status = ReadLines(&Text, pfSink, pContext);
  if (Status == CONSUMER_END && Text.Pos < NumChars) {
    Status = CONSUMER_ERR_AFTER_END;
  }
  return Report(&Text, Status, pError);
}

ConsumerStatus CONSUMER_ReadUnit(const char* pUnit, size_t NumChars, ConsumerSink pfSink, void* pContext,
                                 ConsumerError* pError) {
  BlockText Text = {pUnit, NumChars, 0};
  ConsumerStatus Status = ReadLines(&Text, NULL, NULL);
  if (Status >= 0 && pfSink != NULL) {
    Text.Pos = 0;
    Status = ReadLines(&Text, pfSink, pContext);
  }
  return Report(&Text, Status, pError);
}
