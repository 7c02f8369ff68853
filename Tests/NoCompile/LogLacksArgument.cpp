// Refused: the format takes another number of arguments
#include <KVTPlatform/Services/Logging/LogMacros.h>

void use() { KVT_LOG_INFO("%@ has %d", "list"); }
