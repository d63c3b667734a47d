// The camera object's doors to the debug log.
#include <cstdarg>

#include "camera/CameraBase.h"
#include "support/DbgPrint.h"

void CCameraBase::DbgPrint2(const char* func, const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  DbgPrintV(handleNumber, func, format, args);
  va_end(args);
}

int CCameraBase::EnableDebugLog(ORQ_BOOL on) {
  DebugPrint = on == 1 ? 1 : 0;
  g_bDebugPrint = on == 1;
  return 1;
}

int CCameraBase::GetDebugLogIsEnabled(ORQ_BOOL* on) {
  if (on != nullptr) *on = DebugPrint;
  return 1;
}
