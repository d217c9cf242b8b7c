/// The command line of blockfit-check.
#pragma once

/// Does all that the program does. NumArgs, paArg: as main gets them; the order of paArg may change.
/// Returns the exit status, a CheckStatus: the highest of all files; CHECK_UNREADABLE also for wrong usage, and if
/// standard output cannot be written.
int CHECK_Run(int NumArgs, char** paArg);
