/// Tests what a conditioned file promises. Nothing here comes from the writer: each proves the other.
#pragma once

#include "check/finding.h"

/// What the file was made with.
struct ConditionedRules {
  uint32_t BlockSize;  ///< Characters, even, at least 34.
  uint32_t LineAlign;  ///< Bytes, even; 0: no record is cut.
};

/// What a block of the file holds; a line counts for the block that it begins in.
struct ConditionedBlock {
  uint64_t Offset;
  uint32_t NumRecords;  ///< Records with data.
  uint32_t NumBytes;
  uint32_t NumFill;  ///< Characters.
  bool IsCut;        ///< Its last record goes on in the next block.
};

/// Receives the blocks in their order; may be empty.
using BlockSink = std::function<void(const ConditionedBlock&)>;

/// Tests a file, whatever its extension, up to the first character that breaks a promise, which is reported with its
/// offset. Blocks are handed out up to there. O(size of the file), in constant memory.
[[nodiscard]] CheckStatus CHECK_Conditioned(const CheckedFile& File, const ConditionedRules& Rules,
                                            const BlockSink& Blocks);
