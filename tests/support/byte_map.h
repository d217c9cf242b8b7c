/// A memory image as the plainest thing that can hold one, and what else the tests make and look at.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "memimage/mem_image.h"

/// From address to byte.
using ByteMap = std::map<uint64_t, uint8_t>;

/// Adds bytes at an address. Returns false when one of the addresses is taken; the map is then as before.
bool AddBytes(ByteMap* pMap, uint64_t Addr, const std::vector<uint8_t>& Bytes);

/// A new image, released with its last owner.
std::shared_ptr<MemImage> NewImage();

/// Reads a whole image the way the writer does; '?' stands for what an area without storage does not hold.
ByteMap BytesOf(MemImage* pImage);

/// The runs of a map as text, each: ' ', hexadecimal address, '=', contents.
std::string RunsOf(const ByteMap& Map);

/// A data record at a 16-bit address, without a line end: Intel HEX or, else, S1.
std::string MakeRecord(bool IsHex, unsigned Addr, const std::string& Data);

/// Reads a conditioned file block by block, the last block first, each block alone. Returns nothing when a block breaks
/// a rule, an address comes twice, or the end record is not in the last block and nowhere else.
std::optional<ByteMap> ReadConditioned(const std::string& Text, size_t BlockSize);
