#include "KVTFoundationVersion.h"

extern "C" {

const unsigned char KVTFoundationVersionString[] =
    "@(#)PROGRAM:KVTFoundation  PROJECT:KVTFoundation-" KVT_VERSION_STRING "\n";

const double KVTFoundationVersionNumber = KVT_VERSION_NUMBER;
}
