/// A memory image in its simplest form, and helpers to make and inspect test data.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "memimage/mem_image.h"

/// Maps addresses to bytes.
using ByteMap = std::map<uint64_t, uint8_t>;

/// Adds bytes at an address. Returns false, with the map unchanged, if one of the addresses is taken.
bool AddBytes(ByteMap* pMap, uint64_t Addr, const std::vector<uint8_t>& Bytes);

/// A new image, released with its last owner.
std::shared_ptr<MemImage> NewImage();

/// Reads a complete image as the writer does; bytes of an area without storage are '?'.
ByteMap BytesOf(MemImage* pImage);

/// The runs of a map as text. Each run: ' ', hexadecimal address, '=', contents.
std::string RunsOf(const ByteMap& Map);

/// A data record at a 16-bit address, without a line end: Intel HEX if IsHex, otherwise S1.
std::string MakeRecord(bool IsHex, unsigned Addr, const std::string& Data);

/// Reads a conditioned file block by block, the last block first, each block by itself. Returns nothing if a block
/// breaks a rule, an address occurs twice, or the last block does not contain the only end record.
std::optional<ByteMap> ReadConditioned(const std::string& Text, size_t BlockSize);
