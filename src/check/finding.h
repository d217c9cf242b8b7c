/// What the checks find in a file, with the line that it is about, and how they hand it to whoever shows it.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "readers/read_notes.h"

/// How a check ends.
enum CheckStatus {
  CHECK_GOOD = 0,
  CHECK_BAD = 1,         ///< The file is refused, breaks a promise, differs or has data outside its ranges.
  CHECK_UNREADABLE = 2,  ///< The file cannot be read, its extension is unknown, or memory is exhausted.
};

enum CheckLevel {
  CHECK_NOTE,     ///< All is well, but this is worth knowing.
  CHECK_WARNING,  ///< Data may be missing or wrong.
  CHECK_ERROR,    ///< The file is refused, cannot be read or breaks a promise.
};

/// The longest excerpt, in characters.
constexpr uint32_t CHECK_MAX_EXCERPT = 100;

/// A place in a file.
struct CheckPlace {
  const char* pPath = nullptr;  ///< The file, borrowed; null: no place at all.
  uint64_t Line = 0;            ///< As an editor counts, from 1; 0: none, or the file cannot be read again.
  /// The line, or what fits of it around the place; '?' stands for what is not printable ASCII, "..." for the rest.
  std::string Excerpt = {};
  uint32_t MarkColumn = 0;  ///< Characters of the excerpt before the place.
};

/// One finding.
struct CheckFinding {
  CheckLevel Level;
  std::string Text;  ///< One line.
  CheckPlace Place;
  CheckPlace FirstPlace = {};  ///< If an address is defined twice: where it was first.
};

/// Receives findings, which are borrowed for the call.
using CheckSink = std::function<void(const CheckFinding&)>;

/// A file that is checked, and where its findings go; both are borrowed.
struct CheckedFile {
  const char* pPath;
  const CheckSink& Sink;
};

/// Returns a text made as printf does, cut to 255 characters.
__attribute__((format(printf, 1, 2))) std::string CHECK_Format(const char* pFormat, ...);

/// Reports a text about the byte at Offset of the file, which may be its end; READ_NOWHERE: about the complete file.
/// O(Offset).
void CHECK_Report(const CheckedFile& File, CheckLevel Level, uint64_t Offset, std::string Text);

/// Finds the place of the byte at Offset. READ_NOWHERE, and a file that cannot be read again, have no line. O(Offset).
CheckPlace CHECK_FindPlace(const char* pPath, uint64_t Offset);

/// Whether the file is a regular one. A pipe, for example, gives its bytes only once.
bool CHECK_CanReadAgain(const char* pPath);

/// Reads a piece of the file from Offset on. It is empty at the end of the file, and if the file cannot be read again.
std::string CHECK_ReadAgain(const char* pPath, uint64_t Offset);
