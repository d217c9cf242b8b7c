/// A run of the program.
#pragma once

/// Does all that the program does: prints the banner, takes the arguments, reads the input file, writes the conditioned
/// file and says how it went. Without any argument it waits for a key at the end.
/// NumArgs, paArg: as main gets them, program name first. Returns the exit status: 0 done, 1 any failure.
int APP_Run(int NumArgs, const char* const* paArg);
