/// The program blockfit-convert.
#pragma once

/// Runs the program with the arguments of main, whose order may change. Returns its exit status.
int CONVERT_Run(int NumArgs, char** paArg);
