/// The system's own word on why a call failed.
#pragma once

/// Returns the calling thread's last system error number (errno). Only meaningful right after a call that failed.
int SYS_GetLastError();
