// The whole library.
//
//     #include <KVTFoundation/KVTFoundation.h>
//     using namespace kvt;
//
//     class User : public NSObject {
//      public:
//       int64_t uid = 0;
//       NSString name;
//       KVT_MODEL(User, uid, name)
//     };
//     Ref<User> user = kvt_modelWithJSON<User>(R"({"uid": 7, "name": "Ann"})");
#pragma once

#include <KVTPlatform/KVTPlatform.h>

#include <KVTFoundation/Cache/KVTDiskCache.h>
#include <KVTFoundation/Cache/KVTLRUCache.h>
#include <KVTFoundation/Cache/KVTQueue.h>
#include <KVTFoundation/Category/NSArray/NSArray+KVTExtension.h>
#include <KVTFoundation/Category/NSDictionary/NSDictionary+KVTExtension.h>
#include <KVTFoundation/Category/NSDictionary/NSMutableDictionary+KVTExtension.h>
#include <KVTFoundation/Category/NSError/NSError+KVTExtension.h>
#include <KVTFoundation/Category/NSObject/NSObject+KVTExtension.h>
#include <KVTFoundation/Category/SharedOperations.h>
#include <KVTFoundation/KVTFoundationVersion.h>
#include <KVTFoundation/KVTModelKit/KVTClassInfo.h>
#include <KVTFoundation/KVTModelKit/KVTModel.h>
#include <KVTFoundation/KVTModelKit/NSObject+KVTModel+Coding.h>
#include <KVTFoundation/KVTModelKit/NSObject+KVTModel+Value.h>
#include <KVTFoundation/KVTModelKit/NSObject+KVTModel.h>
#include <KVTFoundation/Timer/KVTTimer.h>
