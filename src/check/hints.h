/// Tells by the bytes of a file what is wrong with it.
#pragma once

#include <string_view>

#include "check/finding.h"

/// What a file is, by its first bytes.
struct CheckForeign {
  const char* pText = nullptr;          ///< What it is, and what helps; null: nothing that is certain.
  CheckLevel BinaryLevel = CHECK_NOTE;  ///< How that is reported of raw binary; CHECK_ERROR: not at all.
};

/// Names a file that is not what its extension says: raw binary, or else one of the text formats.
CheckForeign CHECK_NameForeign(std::string_view Bytes, bool IsBinary);

/// Says how the line of a wrong record is damaged, as the end of a sentence, by the text that begins with the record.
std::string CHECK_DescribeDamage(std::string_view Text);
