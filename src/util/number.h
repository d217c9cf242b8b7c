/// Numbers as the command line writes them, and distances between addresses.
#pragma once

#include <cstdint>

/// Reads a hexadecimal number at *ppText: white space, an optional '-', an optional 0x, then digits up to the first
/// other character. There is no decimal form: 10 is sixteen. A number beyond 32 bits keeps its low 32.
/// Returns 0, with the value in *pValue and *ppText after the digits; or -1, with *pValue 0 and *ppText as it was, if
/// there is no digit.
[[nodiscard]] int UTIL_ParseHex32(const char** ppText, uint32_t* pValue);

/// Returns the distance between two addresses, the shorter way round the address space.
uint64_t UTIL_AbsDiff(uint64_t A, uint64_t B);
