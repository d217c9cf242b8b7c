/// Decoders of the text formats that share nothing with the readers under test: slow, and simple enough to be right.
#pragma once

#include <optional>
#include <string>

#include "support/byte_map.h"

/// Return the bytes that the text defines, or nothing if the readers must refuse it.
std::optional<ByteMap> DecodeIntelHex(const std::string& Text);
std::optional<ByteMap> DecodeSRecords(const std::string& Text);
