/// One run of the program.
#pragma once

/// Runs the program: prints the banner, parses the arguments, reads the input file, writes the conditioned file and
/// says how it went. Without arguments it waits for a key at the end.
/// NumArgs, paArg: main's, with the program name first. Returns the exit status: 0 for success, 1 for any failure.
int APP_Run(int NumArgs, const char* const* paArg);
