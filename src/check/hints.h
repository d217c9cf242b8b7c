/// Tells by the bytes of a file what is wrong with it.
#pragma once

#include <cstdint>
#include <string_view>

#include "check/finding.h"

/// What a file is, by its first bytes.
struct CheckForeign {
  const char* pText = nullptr;          ///< What it is, and what helps; null: nothing that is certain.
  CheckLevel BinaryLevel = CHECK_NOTE;  ///< How that is reported of raw binary; CHECK_ERROR: a binary can begin so.
};

/// Names a file that is not what its extension says: raw binary, or else one of the text formats.
CheckForeign CHECK_NameForeign(std::string_view Bytes, bool IsBinary);

/// The digits of a record, right or wrong.
struct CheckDigits {
  uint32_t NumDigits;  ///< Hexadecimal digits in a row, from the count on.
  uint32_t NumWanted;  ///< What the count asks for; 0: there is no record.
  bool IsLineEnd;      ///< Nothing else follows them on the line.
  bool IsSumRight;     ///< There are enough of them, and the checksum is right.
};

/// Looks at the record that a text begins with.
CheckDigits CHECK_CountDigits(std::string_view Text);
