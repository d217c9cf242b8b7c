/* Firmware that counts, for no board in particular: code and a table of constants. */

static const unsigned Start[16] = {1, 2, 3, 5, 8, 13, 21, 34};
static volatile unsigned Count;

void Reset(void);

void Reset(void) {
  for (;;) {
    Count += Start[Count % 16];
  }
}
