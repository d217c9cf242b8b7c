#include "property.h"
#include "readers/mot_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t Size) {
  return FuzzTextReader(MOT_Read, DecodeSRecords, {pData, pData + Size});
}
