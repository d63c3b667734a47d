// The debug log's one entrance.
#pragma once

#include <cstdarg>

#include "support/threads/Relaxed.h"

/// The log switch of the whole process; off until set.
extern orq::Relaxed<bool> g_bDebugPrint;

/// Writes one debug line to standard error (or to the text sink) and to the log file, with the process id, the
/// thread id, `handle` (when above 0) and the caller's name `func` in front; at most 255 characters. Nothing while
/// the switch is off. Thread rule: any-thread.
void DbgPrint(int handle, const char* func, const char* format, ...) __attribute__((format(printf, 3, 4)));
/// The same with a ready argument list.
void DbgPrintV(int handle, const char* func, const char* format, std::va_list args)
    __attribute__((format(printf, 3, 0)));

/// Copies the log file's path into `path` (room for 4096 bytes); returns 1.
int ORQGetDebugLogPath(char* path);
