/// A write-only output file with a buffer. Calls return no errors. The first error's text goes into the creator's
/// buffer; look there after closing.
#pragma once

#include <cstdint>

/// The stream. Its fields are private to its operations.
struct OutStream {
  int64_t hFile;     ///< The open file.
  uint8_t* pBuffer;  ///< OUTSTREAM_BUFFER_SIZE bytes, owned: data not yet written to the file.
  char* pErrText;    ///< The creator's message buffer, may be null; a message is stored only while it is empty.
  uint32_t NumBytesInBuffer;  ///< Below OUTSTREAM_BUFFER_SIZE between calls.
  uint32_t ErrTextSize;       ///< Size of pErrText, terminator included.
};

/// The file is written in pieces of this many bytes, and one with the rest.
constexpr uint32_t OUTSTREAM_BUFFER_SIZE = 32768;

/// Creates or truncates the file at pPath (a leading '~' is the home directory; missing directories are created).
/// Refuses, and does not change, the file that standard output goes to: messages would land in it.
/// pErrText: ErrTextSize characters, zeroed here and borrowed until the stream is closed; or null.
/// Returns the stream, owned by the caller until OUTSTREAM_Close; or null, with the reason in pErrText.
[[nodiscard]] OutStream* OUTSTREAM_Create(const char* pPath, char* pErrText, uint32_t ErrTextSize);

/// Appends NumBytes bytes; if pData is null, bytes of 0xFF. A small append costs a copy. A failed write leaves a
/// message and does not stop the stream.
void OUTSTREAM_Write(OutStream* pStream, const void* pData, uint32_t NumBytes);

/// Writes what is buffered, closes the file and releases the stream. Null is ignored.
void OUTSTREAM_Close(OutStream* pStream);
