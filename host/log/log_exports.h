// The functions of log.dll, a log for the host, the module and everything else in the process.
//
// No function fails its caller: none throws, none changes the thread's last error, all may be called in any
// order, also before LogInit and after the last LogDeinit, from any thread. Results are Windows error codes,
// 0 for success, and may be ignored: what can't be written is left out in silence.
//
// A line that is written looks like this; it is UTF-8, indented by the thread's nesting, and on disk as one
// write, so that the end of the process loses none of the earlier lines:
//
//   2024-05-31 18:03:59.041 [1234:5678] warning CFoo::Bar: the text
//
// Control characters and line breaks inside a text are written as escapes ("\n", "\x1b"), so that a text
// can't pass for further lines; a text of more than 2,000 characters is cut and ends in "...".
#pragma once

#include "border/log_library.h"

extern "C" {

/// Reads the settings file and opens the log. Counted, since every library of a process binds the log for
/// itself: only the first call acts. The file is a JSON object of which every member may be left out:
///
///   { "enabled": true, "level": 8, "path": "logs\\name.log", "maxSizeBytes": 1048576 }
///
/// These are the defaults, where "name" is the name of the program without its extension. They stand in for
/// members of the wrong type too, and for a file that isn't there or doesn't parse. In "path" environment
/// variables are replaced; a relative one starts from this library's folder. One process at a time writes a
/// file with its size limit kept.
uint32_t LogInit();
/// Undoes one LogInit; the last one closes the file, and from then on nothing is written.
uint32_t LogDeinit();

/// Names the settings file, in place of "settings\log.json" beside this library. Takes effect with the next
/// LogInit that acts, or with LogApplySettings. Null or empty: back to the default.
uint32_t LogSetSettingsFile(const wchar_t* path);
/// Reads the settings file anew. All that the functions below have changed is lost.
uint32_t LogApplySettings();

/// 0 turns the log off, anything else on.
uint32_t LogEnable(int32_t enable);
/// Non-zero when the log is turned on. It may still be silent: before LogInit, or when the file can't be
/// opened.
uint32_t LogIsEnabled();
/// Lines are written whose level is not above this one. The levels are those of LogWrite.
uint32_t LogSetLevel(int32_t level);
/// As "path" in the settings. 87 (ERROR_INVALID_PARAMETER) for null or empty.
uint32_t LogSetPath(const wchar_t* path);
/// The size that the file doesn't grow beyond, unless a single line is larger. A line that doesn't fit makes
/// the file's name end in ".1", in place of the file that has that name, and goes to a new one. 0: no limit.
uint32_t LogSetMaxSize(uint64_t sizeBytes);
/// What becomes of a file that is there already when the log is opened next: 0 goes on in it (the default), 1
/// puts it aside under the name with ".1". 87 for anything else.
uint32_t LogSetMode(int32_t mode);
/// Where the log goes: 0, a text file, is all there is. 87 for anything else.
uint32_t LogSetType(int32_t type);
/// The depth beyond which lines aren't indented further; 16 at first.
uint32_t LogSetDepth(uint32_t depth);

/// Writes one line, as told in border/log_library.h. A line whose level is above the log's, or that meets a
/// log that is off, costs a comparison. `function` stands in for a null `wideFunction`; both may be null. 0
/// also for lines that aren't wanted, 87 for a null `level` or `format`.
int32_t LogWrite(int32_t nesting, const int32_t* level, const char* function, const wchar_t* wideFunction,
                 const wchar_t* format, va_list arguments);

/// Telemetry. This host sends nothing to anybody: always 50 (ERROR_NOT_SUPPORTED). The arguments aren't read.
uint32_t LogTrackEvent(const wchar_t* event);
uint32_t LogTrackEventData(const wchar_t* event, const wchar_t* data);
/// Ends the telemetry that was never begun: 0.
uint32_t LogUninitDeskMetrics();

}  // extern "C"
