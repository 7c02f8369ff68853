// Refused: constant|literal
#include <KVTPlatform/Services/Logging/LogMacros.h>

void use(const char* format) { KVT_LOG_ERROR(format); }
