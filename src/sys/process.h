/// What the process sets up before anything else.
#pragma once

/// Opens the null device in place of each closed standard stream. Otherwise, the next file opened would take the place
/// of a closed stream, and messages would land in that file.
/// Returns false if the null device is needed and cannot be opened.
[[nodiscard]] bool SYS_OpenMissingStandardStreams();

/// Makes writes beyond the file size limit, and to a pipe that nobody reads, fail with a result instead of ending the
/// program.
void SYS_IgnoreWriteSignals();

/// Makes standard output and standard error pass on every byte as it is, and the console show UTF-8, until the process
/// ends. Both are buffered then. Does nothing where that is not needed.
void SYS_PrepareOutput();
