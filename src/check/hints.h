/// Tells by the first bytes of a file what it is.
#pragma once

#include <string_view>

#include "check/finding.h"

/// What a file is that is not what its extension says.
struct CheckForeign {
  bool Applies;
  const char* pText;  ///< What it is, and what helps; null: nothing that is certain.
  CheckLevel Level;   ///< How that is reported of raw binary; CHECK_ERROR: not at all, because it can begin so.
};

/// Looks at the first bytes of a file that should be raw binary, or else of one that does not begin as it should.
CheckForeign CHECK_NameForeign(std::string_view Bytes, bool IsBinary);
