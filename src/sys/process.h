/// What the process sets up before anything else.
#pragma once

/// Opens the null device in place of standard input, output and error as far as they are closed. Without that, the next
/// file to be opened would take the place of one, and messages for it would land in that file.
/// Returns false when the null device is needed and cannot be opened.
[[nodiscard]] bool SYS_OpenMissingStandardStreams();

/// Makes writes beyond the file size limit, and to a pipe that nobody reads, fail with a result instead of ending the
/// program.
void SYS_IgnoreWriteSignals();
