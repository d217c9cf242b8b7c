/// Writes a conditioned file and proves it before it takes the place of another one.
#pragma once

#include <vector>

#include "check/conditioned.h"
#include "check/input.h"

using ReadFn = decltype(FormatHandler::pfRead);

/// Returns the reader for a file of this name; null if its extension is unknown.
ReadFn CONVERT_ReaderOf(const char* pPath);

/// Writes an image as the conditioned file pPath, which must not be one of the inputs: into a file beside it, which is
/// read back and proved before it gets the name. Returns whether all is well, with the number of its characters; if
/// not, prints why, with the file at pPath as it was, and nothing beside it.
[[nodiscard]] bool CONVERT_Write(MemImage* pImage, const char* pPath, const ConditionedRules& Rules,
                                 const std::vector<CheckInput>& Inputs, uint64_t* pNumChars);
