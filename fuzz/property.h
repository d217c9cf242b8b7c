/// The properties that the fuzz targets require.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include "readers/text_reader.h"
#include "support/reference_decoder.h"

/// Aborts unless the property holds; the fuzzer then saves the input as a finding.
inline void Require(bool Holds) {
  if (!Holds) {
    std::abort();
  }
}

using TextReadFn = int (*)(MemImage* pImage, const char* pPath, char* pErrText, uint32_t ErrTextSize);
using DecodeFn = std::optional<ByteMap> (*)(const std::string& Text);

/// Requires that the text, in a file in memory, is read as these bytes, or refused if there are none.
inline void RequireReads(TextReadFn pfRead, const std::string& Text, const std::optional<ByteMap>& Expected) {
  const int hFile = memfd_create("input", MFD_CLOEXEC);
  Require(write(hFile, Text.data(), Text.size()) == static_cast<ssize_t>(Text.size()));
  MemImage* pImage = MEMIMG_Create();
  std::array<char, 256> acError{};
  const int Status = pfRead(pImage, ("/proc/self/fd/" + std::to_string(hFile)).c_str(), acError.data(), acError.size());
  Require(Expected ? Status == 0 && BytesOf(pImage) == Expected : Status < 0);
  Require((Status == 0) == (acError[0] == '\0'));
  MEMIMG_Free(pImage);
  close(hFile);
}

/// Requires that a text reader accepts exactly what an independent decoder accepts, and stores the same bytes.
inline int FuzzTextReader(TextReadFn pfRead, DecodeFn pfDecode, std::string Text) {
  const std::optional<ByteMap> Expected = pfDecode(Text);
  RequireReads(pfRead, Text, Expected);
  // More line ends after the first one do not change the meaning of a text. One text in 32 (it is slow) gets enough of
  // them to put the first, second or third edge of the reader's window somewhere in the rest of the text.
  const size_t Random = std::hash<std::string>{}(Text);
  const size_t LineEnd = Text.find('\n');
  if (Random % 32 == 0 && LineEnd < Text.size() && Text.size() < READ_WINDOW_SIZE) {
    const size_t Edge = READ_WINDOW_SIZE * (1 + Random / 32 % 3);
    const size_t NumAfterEdge = Random / 128 % (Text.size() - LineEnd);
    RequireReads(pfRead, Text.insert(LineEnd, Edge + NumAfterEdge - Text.size(), '\n'), Expected);
  }
  return 0;
}
