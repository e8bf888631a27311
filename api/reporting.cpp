#include "api/reporting.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "api/veskalib.h"

namespace {

VeskaReportCallBack pThrowCallBack = nullptr;
VeskaReportCallBack pWarningCallBack = nullptr;
VeskaStatusCallBack pStatusCallBack = nullptr;
VeskaReportCallBack pProblemCallBack = nullptr;

void tell(VeskaReportCallBack callBack, const char* key, const std::string& detail) {
  if (callBack) callBack(key, detail.c_str());
}

}  // namespace

void throwVeskaError(const char* key, const std::string& detail) {
  throwVeskaError(key, detail, 0);
}

void throwVeskaError(const char* key, const std::string& detail, int systemError) {
  reportError(key, detail, systemError);
  throw 1;
}

void postWarning(const char* key, const std::string& detail) {
  tell(pWarningCallBack, key, detail);
  throw 1;
}

bool setStatus(const std::string& key, const std::string& detail) {
  return !pStatusCallBack || pStatusCallBack(key.c_str(), detail.c_str(), true);
}

void reportError(const char* key, const std::string& detail, int systemError) {
  errno = systemError;
  tell(pThrowCallBack, key, detail);
}

void reportProblem(const char* key, const std::string& path, int systemError) {
  errno = systemError;
  tell(pProblemCallBack, key, path);
}

void vSetThrowCallBack(VeskaReportCallBack callBack) { pThrowCallBack = callBack; }
void vSetWarningCallBack(VeskaReportCallBack callBack) { pWarningCallBack = callBack; }
void vSetStatusCallBack(VeskaStatusCallBack callBack) { pStatusCallBack = callBack; }
void vSetProblemCallBack(VeskaReportCallBack callBack) { pProblemCallBack = callBack; }

bool vSetStatus(const char* key, const char* detail) {
  return !pStatusCallBack || pStatusCallBack(key, detail, false);
}

int vRawStdoutWrite(const char* text) {
  return static_cast<int>(write(STDOUT_FILENO, text, std::strlen(text)));
}
