/// The three descriptors that every program expects to have.
#pragma once

/// Opens the null device in place of standard input, output and error as far as they are closed. Without that, the next
/// file to be opened would take the place of one, and messages for it would land in that file.
/// Returns false when the null device is needed and cannot be opened.
[[nodiscard]] bool SYS_OpenMissingStandardStreams();
