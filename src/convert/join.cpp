#include "convert/join.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <utility>

#include "check/terminal.h"

namespace {

/// How many bytes are copied at once.
constexpr int64_t PIECE_SIZE = 16384;

/// Reports that an input has a byte at an address that one before it has, too.
CheckStatus FailClash(const std::vector<CheckInput>& Inputs, const CheckInput& Second, uint64_t Addr) {
  const auto HasByte = [&](const CheckInput& Input) { return CHECK_RunFrom(Input.pImage.get(), Addr).Addr == Addr; };
  const CheckInput& First = *std::find_if(Inputs.begin(), Inputs.end(), HasByte);
  CHECK_PrintFinding({CHECK_ERROR, CHECK_Format("0x%08" PRIX64 " is defined by two inputs", Addr),
                      CHECK_FindDefinition(*Second.pFile, Addr), CHECK_FindDefinition(*First.pFile, Addr)});
  return CHECK_BAD;
}

CheckStatus FailMemory(const CheckInput& Input) {
  CHECK_PrintFinding({CHECK_ERROR, "out of memory, or more than 2147483647 bytes in one run", {Input.pFile->pPath}});
  return CHECK_UNREADABLE;
}

/// Adds the bytes of an input, which is one of Inputs.
[[nodiscard]] CheckStatus AddInput(MemImage* pImage, const CheckInput& Input, const std::vector<CheckInput>& Inputs) {
  std::array<uint8_t, PIECE_SIZE> aPiece;
  uint64_t NumBytes = 0;
  for (uint64_t Addr = 0;; Addr += NumBytes) {
    NumBytes = static_cast<uint64_t>(
        MEMIMG_ReadData(Input.pImage.get(), Addr, UINT64_MAX, 0, 0, aPiece.data(), nullptr, &Addr, PIECE_SIZE, 0, 0));
    if (NumBytes == 0) {
      return CHECK_GOOD;
    }
    const int Result = MEMIMG_WriteData(pImage, Addr, NumBytes, aPiece.data(), -1);
    if (Result == MEMIMG_ERR_OVERLAP) {
      return FailClash(Inputs, Input, CHECK_RunFrom(pImage, Addr).Addr);
    }
    if (Result != 0 || pImage->HasLostBytes != 0) {
      return FailMemory(Input);
    }
  }
}

}  // namespace

CheckStatus CONVERT_Join(CheckImage* pImage, std::vector<CheckInput>* pInputs) {
  if (pInputs->size() == 1) {
    *pImage = std::move(pInputs->front().pImage);
    return CHECK_GOOD;
  }
  pImage->reset(MEMIMG_Create());
  CheckStatus Status = *pImage != nullptr ? CHECK_GOOD : FailMemory(pInputs->front());
  for (size_t i = 0; Status == CHECK_GOOD && i < pInputs->size(); ++i) {
    Status = AddInput(pImage->get(), (*pInputs)[i], *pInputs);
  }
  return Status;
}
