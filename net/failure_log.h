#pragma once

// Logs "winhttp: <call>(<argument>) failed, GetLastError=<code>", the argument part only when
// one is given. Reads the error code before anything else runs, so call it straight after
// the failed call and build no strings for its arguments.
void LogWinHttpFailure(const char* call, const char* argument = nullptr);
