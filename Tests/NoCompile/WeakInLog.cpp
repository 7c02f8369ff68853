// Refused: deleted
#include <KVTPlatform/Services/Logging/NSLog.h>
#include <KVTPlatform/Values/NSObject.h>

void use(const kvt::Weak<kvt::NSObject>& weak) { kvt::NSLog("%@", weak); }
