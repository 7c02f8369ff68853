// The whole ground floor: the run time, the value types and the services.
//
//     #include <KVTPlatform/KVTPlatform.h>
//     using namespace kvt;
//
//     NSDictionary user = {{"name", "Zoë"}, {"age", 31}};
//
// <KVTFoundation/KVTFoundation.h> includes it. A unit where compile time counts includes the headers of what it uses
// instead.
#pragma once

#include <KVTPlatform/Runtime/Abi.h>
#include <KVTPlatform/Runtime/Block.h>
#include <KVTPlatform/Runtime/Class.h>
#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <KVTPlatform/Runtime/Export.h>
#include <KVTPlatform/Runtime/Handle.h>
#include <KVTPlatform/Runtime/Invoke.h>
#include <KVTPlatform/Runtime/Macros.h>
#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Runtime/Object.h>
#include <KVTPlatform/Runtime/Raise.h>
#include <KVTPlatform/Runtime/Selector.h>
#include <KVTPlatform/Runtime/TypeEncoding.h>
#include <KVTPlatform/Runtime/WeakReference.h>

#include <KVTPlatform/Values/Boxed.h>
#include <KVTPlatform/Values/CollectionIterator.h>
#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSAttributedString.h>
#include <KVTPlatform/Values/NSCharacterSet.h>
#include <KVTPlatform/Values/NSCoder.h>
#include <KVTPlatform/Values/NSData.h>
#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSDateFormatter.h>
#include <KVTPlatform/Values/NSDecimalNumber.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSEnumerator.h>
#include <KVTPlatform/Values/NSError.h>
#include <KVTPlatform/Values/NSException.h>
#include <KVTPlatform/Values/NSJSONSerialization.h>
#include <KVTPlatform/Values/NSKeyedArchiver.h>
#include <KVTPlatform/Values/NSKeyedArchiverUID.h>
#include <KVTPlatform/Values/NSKeyedUnarchiver.h>
#include <KVTPlatform/Values/NSLocale.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSNull.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSObject.h>
#include <KVTPlatform/Values/NSPropertyListSerialization.h>
#include <KVTPlatform/Values/NSSet.h>
#include <KVTPlatform/Values/NSString.h>
#include <KVTPlatform/Values/NSStringFormat.h>
#include <KVTPlatform/Values/NSTimeZone.h>
#include <KVTPlatform/Values/NSTypes.h>
#include <KVTPlatform/Values/NSURL.h>
#include <KVTPlatform/Values/NSURLComponents.h>
#include <KVTPlatform/Values/NSValue.h>
#include <KVTPlatform/Values/id.h>

#include <KVTPlatform/Services/Bundle/NSBundle.h>
#include <KVTPlatform/Services/Dispatch/Dispatch.h>
#include <KVTPlatform/Services/Dispatch/NSLock.h>
#include <KVTPlatform/Services/Dispatch/NSThread.h>
#include <KVTPlatform/Services/Dispatch/Synchronized.h>
#include <KVTPlatform/Services/Files/NSDirectoryEnumerator.h>
#include <KVTPlatform/Services/Files/NSFileManager.h>
#include <KVTPlatform/Services/Logging/Logging.h>
#include <KVTPlatform/Services/Notification/NSNotificationCenter.h>
