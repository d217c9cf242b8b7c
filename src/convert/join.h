/// Joins the bytes of several inputs.
#pragma once

#include <vector>

#include "check/input.h"

/// Joins the bytes of all inputs, which have been accepted, in a new image. Takes the image of a single input. Prints
/// an address that two inputs define, with the places of both. O(bytes).
[[nodiscard]] CheckStatus CONVERT_Join(CheckImage* pImage, std::vector<CheckInput>* pInputs);
