// How the engine talks to its host: the callback slots and the one way in which errors, warnings,
// progress and passed-over files are reported.

#ifndef VESKA_API_REPORTING_H_
#define VESKA_API_REPORTING_H_

#include <string>

#include "api/export.h"

// Tells the throw callback, then throws the integer 1.
[[noreturn]] VESKA_API void throwVeskaError(const char* key, const std::string& detail);

// As above. systemError: the errno of the call that failed, 0 when the system is not to blame;
// while the host is told, errno has this value.
[[noreturn]] void throwVeskaError(const char* key, const std::string& detail, int systemError);

// Tells the warning callback, then throws the integer 1.
// Deliberate: a warning ends the operation like an error; only the callback differs.
[[noreturn]] VESKA_API void postWarning(const char* key, const std::string& detail);

// Tells the status callback. Result: its answer, false to halt; true when there is no callback.
VESKA_API bool setStatus(const std::string& key, const std::string& detail);

// Tells the throw callback without throwing: for the guards, which report what they swallow.
void reportError(const char* key, const std::string& detail, int systemError = 0);

// Tells the problem callback that a file or member was passed over in whole or part. systemError:
// as for throwVeskaError.
void reportProblem(const char* key, const std::string& path, int systemError = 0);

#endif  // VESKA_API_REPORTING_H_
