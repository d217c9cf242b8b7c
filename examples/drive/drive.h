/// The receiving half of a drive that programs itself from a conditioned file, and what it needs of the board.
#pragma once

#include <stdint.h>

/// The application's part of the flash. Its first word is the CRC-32 of all the rest of it.
enum { APP_START = 0x4000, APP_END = 0x40000, PAGE_SIZE = 1024, MAX_UNIT = 8192 };

extern const uint32_t* const pAppWords;                  ///< that part, as the little-endian processor reads it
void FLASH_ErasePage(uint32_t Address);                  ///< Address: of its first byte
void FLASH_WriteWord(uint32_t Address, uint32_t Value);  ///< clears bits; twice where two records share a word

/// Begins a session, in which each page is erased when its first record comes.
void DRIVE_Start(void);
/// Takes a unit of at most MAX_UNIT characters; they may come in any order, and again. Returns 'T': taken; 'I':
/// ignored, it is damaged or not part of a conditioned file; 'C': conflict, an address outside the application's part,
/// or one for which other bytes have come: the session has failed.
int DRIVE_TakeUnit(const char* pUnit, uint32_t NumChars);
/// Whether this session has brought all: the CRC-32 is right. Pages for which nothing has come count as erased.
int DRIVE_IsWhole(void);
