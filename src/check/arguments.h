/// Numbers and address ranges as users give them: decimal, or hexadecimal with 0x.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

/// A number that an option takes.
struct CheckNumberOption {
  const char* pName;
  const char* pWanted;  ///< What the option takes, in words.
  uint32_t Min;
  uint32_t Step;  ///< The number is a multiple of this.
};

constexpr CheckNumberOption CHECK_BASE = {"--base", "an address of 32 bits", 0, 1};
constexpr CheckNumberOption CHECK_BLOCK = {"--block", "an even number, 34 or more", 34, 2};
constexpr CheckNumberOption CHECK_LINE = {"--line", "an even number", 0, 2};

/// Addresses from First to Last, both included.
struct CheckRange {
  uint32_t First;
  uint32_t Last;
};

/// Reads a number of 32 bits. Returns whether the text is one; if not, *pValue may have changed.
[[nodiscard]] bool CHECK_ParseNumber(std::string_view Text, uint32_t* pValue);

/// Reads FIRST-LAST. Returns whether the text is that, with a first address that is not above the last.
[[nodiscard]] bool CHECK_ParseRange(std::string_view Text, CheckRange* pRange);

/// Reads the value of an option. Returns whether it is right; if not, says on standard error what is.
[[nodiscard]] bool CHECK_TakeNumber(const CheckNumberOption& Option, const char* pText, uint32_t* pValue);

/// Adds the value of --within to the ranges. Returns whether it is right; if not, says on standard error what is.
[[nodiscard]] bool CHECK_TakeRange(const char* pText, std::vector<CheckRange>* pRanges);
