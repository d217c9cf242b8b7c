/// The receiving half of a drive that programs itself from a conditioned file, and what it needs of the board.
#pragma once

#include <stddef.h>
#include <stdint.h>

/// The application's part of the flash: whole pages. The application begins with its first byte. Its last word is the
/// CRC-32 of all that comes before, low byte first; where the application has nothing, that is 0xFF.
enum { APP_START = 0x4000, APP_END = 0x40000, PAGE_SIZE = 0x400 };

/// The words of that part, as a little-endian processor reads them. The flash controller changes them.
extern const volatile uint32_t* const pAppWords;

/// Sets all bits of the page at Address to 1. May skip a blank page, unless a power cut in an erasure can leave a page
/// that only seems blank. Returns 0, or any other value for an error.
int FLASH_ErasePage(uint32_t Address);
/// Clears the bits of a word that are 0 in Value. A word that several records share is written once for each of them.
/// Returns 0, or any other value for an error. Where the flash reports none, read back.
int FLASH_WriteWord(uint32_t Address, uint32_t Value);

/// What became of a unit, and how far the session is. The values are letters, for a serial port.
typedef enum {
  DRIVE_TAKEN = 'T',
  DRIVE_IGNORED = 'I',  ///< damaged, not part of an S-record file, or the session had failed before
  DRIVE_EMPTY = 'E',    ///< no record has come, and the flash is as it was
  DRIVE_MISSING = 'M',  ///< not complete; if the same file again does not complete it, only a new session can
  DRIVE_WHOLE = 'W',    ///< the flash holds a complete application, with every byte but 0xFF that has come
  DRIVE_FAILED = 'F'    ///< for good: no unit is taken until the next session
} DriveAnswer;

/// Begins a session, which lasts until the next call. Call this once for each connection, with an empty disk.
void DRIVE_Begin(void);

/// Takes a unit: NumChars characters, any bytes. Units may come in any order, and again. The first record of a session
/// erases the application's whole part, within this call. Returns DRIVE_TAKEN, DRIVE_IGNORED or DRIVE_FAILED. A session
/// fails with a unit that has
/// - an S-record, as its first wrong line, whose checksum is right but that no conditioned file has: of another type,
///   without data, with more than 32 bytes, or an end record with an address;
/// - an address outside the application's part;
/// - another byte than an earlier unit for the same address, where 0xFF counts as none;
/// and if the flash reports an error. Of the last three, the records before have been programmed.
DriveAnswer DRIVE_TakeUnit(const char* pUnit, size_t NumChars);

/// Returns DRIVE_EMPTY, DRIVE_MISSING, DRIVE_WHOLE or DRIVE_FAILED. May be called at any time, and again. Takes as long
/// as DRIVE_IsBootable.
DriveAnswer DRIVE_Finish(void);

/// Whether the flash holds a complete application. Ask after each reset, before anything else. Reads the whole part: 20
/// cycles a byte on a Cortex-M0.
int DRIVE_IsBootable(void);
