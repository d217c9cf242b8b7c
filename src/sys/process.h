/// Signals that would end the program where a failed call is to be reported.
#pragma once

/// Has writes beyond the file size limit and to a pipe that nobody reads fail like all others, with a result.
void SYS_IgnoreWriteSignals();
