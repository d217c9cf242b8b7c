/// A decoder of the text formats that shares nothing with the readers under test: slow, and simple enough to be right.
#pragma once

#include "support/byte_map.h"

/// Returns the bytes that the text defines, or nothing if the readers must refuse it. IsHex: it is Intel HEX.
std::optional<ByteMap> DecodeRecords(const std::string& Text, bool IsHex);
