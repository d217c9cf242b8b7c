#include "property.h"
#include "readers/hex_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t Size) {
  return FuzzTextReader(HEX_Read, DecodeIntelHex, {pData, pData + Size});
}
