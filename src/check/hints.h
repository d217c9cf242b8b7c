/// Tells by the bytes of a file what is wrong with it.
#pragma once

#include <cstdint>

#include "check/finding.h"

/// Returns what a file is that does not begin as its extension says, if that is certain; else null.
const char* CHECK_NameForeign(const CheckSource& Source);

/// Reports a raw binary file that begins like something else: a complete record, for example, is hardly firmware.
void CHECK_JudgeBinary(const CheckSource& Source, const CheckSink& Sink);

/// The digits of a record, right or wrong.
struct CheckDigits {
  uint32_t NumDigits;  ///< Hexadecimal digits in a row, from the count on.
  uint32_t NumWanted;  ///< What the count asks for; 0: there is no record.
  bool IsLineEnd;      ///< Nothing else follows them on the line.
  bool IsSumRight;     ///< There are enough of them, and the checksum is right.
};

/// Looks at the record that begins at Offset.
CheckDigits CHECK_CountDigits(const CheckSource& Source, uint64_t Offset);
