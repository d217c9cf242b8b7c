/// The board of the host build: a flash in memory, and what can go wrong with it.
#include <assert.h>
#include <stdlib.h>

#include "drive.h"

uint32_t aFlash[APP_END / 4];
const volatile uint32_t* const pAppWords = aFlash + APP_START / 4;

/// The operation after NumGood others has this fault: it changes only some of the bits that it should. After a power
/// cut, none of the later ones changes anything.
enum { NONE, REPORTED, SILENT, POWER_CUT };
int Fault, NumGood;

static int Operate(uint32_t Address, uint32_t NumWords, uint32_t Set, uint32_t Keep) {
  assert(Address >= APP_START && Address < APP_END && Address % (4 * NumWords) == 0);
  const int NumLeft = NumGood--;
  const int IsFault = Fault != NONE && NumLeft == 0;
  const int IsOff = Fault == POWER_CUT && NumLeft < 0;
  for (uint32_t* pWord = aFlash + Address / 4; NumWords > 0; pWord++, NumWords--) {
    const uint32_t Reach = IsOff ? 0 : IsFault ? (uint32_t)rand() * 2 ^ (uint32_t)rand() : UINT32_MAX;
    *pWord ^= (*pWord ^ ((*pWord | Set) & Keep)) & Reach;
  }
  return IsFault && Fault == REPORTED;
}

int FLASH_ErasePage(uint32_t Address) {
  return Operate(Address, PAGE_SIZE / 4, UINT32_MAX, UINT32_MAX);
}

int FLASH_WriteWord(uint32_t Address, uint32_t Value) {
  assert((aFlash[Address / 4] & ~Value) != 0);  // nothing is written in vain
  return Operate(Address, 1, 0, Value);
}
