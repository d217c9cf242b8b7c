/// A memory image as the plainest thing that can hold one: a map from address to byte.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "memimage/mem_image.h"

using ByteMap = std::map<uint64_t, uint8_t>;

/// Adds bytes at an address. Returns false when one of the addresses is taken; the map is then as before.
bool AddBytes(ByteMap* pMap, uint64_t Addr, const std::vector<uint8_t>& Bytes);

/// Reads a whole image the way the writer does.
ByteMap BytesOf(MemImage* pImage);

/// Reads a conditioned file block by block, the last block first, each block alone. Returns nothing when a block breaks
/// a rule, an address comes twice, or the end record is not in the last block and nowhere else.
std::optional<ByteMap> ReadConditioned(const std::string& Text, size_t BlockSize);
