// Logging.
#pragma once

#include <string>

// Trace messages belong to a class, one bit each; the trace level is the set of classes that are shown.
// Errors, warnings and infos always show.
inline constexpr unsigned int ZEL_TRACE_OBJECT = 0x001; // an object was built, found or turned into a command
inline constexpr unsigned int ZEL_TRACE_SEARCH = 0x002; // a row was passed over, a link was followed

inline constexpr unsigned int ZEL_TRACELEVEL_NONE = 0x000;
inline constexpr unsigned int ZEL_TRACELEVEL_STANDARD = 0x071; // everything but ZEL_TRACE_SEARCH
inline constexpr unsigned int ZEL_TRACELEVEL_ALL = 0x3FF;

// Opens the log under the last path element of `programPath`, with `prefix` before it.
void ZEL_Sysloglevel_construct2(const std::string& prefix, const char* programPath);

// Returns the handle under which that module logs. The same name gives the same handle.
int ZEL_Sysloglevel_registerModul(const char* name);

// Unknown modules are ignored.
void ZEL_Sysloglevel_changeTracelevel(const char* module, unsigned int level);

// 0: in the foreground, each message also goes to standard error. 1: as a daemon, to the system log alone.
void ZEL_Sysloglevel_set(int daemonized);

// `source` is the name of the source file ("dataflows.cpp"). In every line that is written, `text` stands
// last and unchanged.
void ZEL_Sysloglevel_error(int handle, const char* source, int line, const std::string& text);
void ZEL_Sysloglevel_warning(int handle, const char* source, int line, const std::string& text);
void ZEL_Sysloglevel_info(int handle, const char* source, int line, const std::string& text);
void ZEL_Sysloglevel_tracedo(int handle, const char* source, int line, const std::string& text,
                             unsigned int traceClass = ZEL_TRACE_OBJECT);
