// What every platform backend provides to write crash reports from outside the crashed process: the
// helper program that is started from a fault handler, the channel the two talk through, and the files
// the helper writes, which hold the process's memory and so are its owner's alone. The POSIX backend is
// posix/crash_helper.cpp: the helper is started with clone and execve, hands over through a socket pair,
// and may trace its parent (prctl PR_SET_PTRACER).
//
// The crashed side: locateCrashHelper is not signal-safe and runs at start-up; runCrashHelper is
// signal-safe. The helper's side (readCrashRequest, answerCrashRequest, the files) is ordinary code.

#ifndef QX_PLATFORM_CRASH_HELPER_H
#define QX_PLATFORM_CRASH_HELPER_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

namespace ut::platform {

// The path of the helper program `name`, which lies beside the library; empty when it is not there.
std::string locateCrashHelper(const char* name);

// The calling process's id. Signal-safe.
int currentProcessId();

// Starts the helper at `helperPath` (its path as the system spells it), sends it `request`, then the
// memory [memoryStart, memoryStart + memorySize) as far as it can be read, and waits for its answer of
// `answerSize` bytes, at most `timeoutMs` milliseconds; the helper may trace this process meanwhile. A
// helper that does not answer in time is killed. False when no answer came. Signal-safe.
bool runCrashHelper(const char* helperPath, const void* request, size_t requestSize, uint64_t memoryStart,
                    size_t memorySize, void* answer, size_t answerSize, int timeoutMs);

// In the helper: all the crashed process sent (the request, then the memory); empty if nothing came.
std::string readCrashRequest();
// In the helper: the answer the crashed process waits for.
bool answerCrashRequest(const void* answer, size_t size);

// Opens `path` (its path as the system spells it) to append to, creating it readable and writable by its
// owner only, whatever the process's umask; an existing file keeps its mode. Null when it cannot.
std::FILE* openPrivateFile(const std::string& path, bool append);

}  // namespace ut::platform

#endif
