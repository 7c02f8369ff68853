// The engine used from many threads at once.
#include <KVTFoundation/KVTModelKit/ModelValue.h>
#include <KVTFoundation/KVTModelKit/NSObject+KVTModel.h>
#include <KVTPlatform/Values/NSDate.h>

#include <atomic>
#include <barrier>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "ModelKitTest.h"

namespace kvt {
namespace {

using modeltest::ClassMaker;
using modeltest::newInstance;

/// Runs the body on two threads a core, all of which start together; it is told its number.
void onThreads(const std::function<void(unsigned)>& body) {
  const unsigned count = std::max(4u, 2 * std::thread::hardware_concurrency());
  std::barrier start(static_cast<std::ptrdiff_t>(count));
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < count; ++i) {
    threads.emplace_back([&, i] {
      start.arrive_and_wait();
      body(i);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

/// A class with properties of many kinds, under a superclass that nobody has mapped either.
Class freshClass(const std::string& name) {
  ClassMaker base(name + "Base");
  base.property("text", "@\"NSString\"", "C").property("number", "q").property("date", "@\"NSDate\"").make();
  ClassMaker maker(name, objc_getClass(name + "Base"));
  maker.property("list", "@\"NSArray\"")
      .property("inner", "@\"" + name + "Base\"")
      .property("ratio", "d")
      .property("flag", "B");
  maker.answers("modelContainerPropertyGenericClass", NSDictionary{{"list", NSString(name + "Base")}});
  maker.answers("modelCustomPropertyMapper",
                NSDictionary{{"number", "n"}, {"ratio", "deep.ratio"}, {"flag", NSArray{"f", "flag"}}});
  return maker.make();
}

const char* const kJSON = R"({"text":"t","n":"12","date":"2014-01-20T12:24:48","list":[{"text":"a"},{"n":2}],)"
                          R"("inner":{"text":"i"},"deep":{"ratio":1.5},"flag":"YES"})";

TEST(ModelKitThreads, ThreadsMapClassesForTheFirstTime) {
  std::vector<Class> classes;
  for (int i = 0; i < 32; ++i) classes.push_back(freshClass("ThreadFirst" + std::to_string(i)));
  std::vector<std::vector<std::string>> results(256);
  std::atomic<unsigned> used = 0;
  onThreads([&](unsigned number) {
    auto& mine = results[number];
    for (std::size_t i = 0; i < classes.size(); ++i) {
      // Each thread starts somewhere else and meets the others on the way.
      const Class cls = classes[(i + number * 5) % classes.size()];
      const id model = kvt_modelWithJSON(cls, NSString(kJSON));
      mine.push_back(kvt_modelToJSONString(model).str());
    }
    ++used;
  });
  const std::string expected = kvt_modelToJSONString(kvt_modelWithJSON(classes[0], NSString(kJSON))).str();
  EXPECT_EQ(modeltest::parse(NSString(expected)).as<NSDictionary>().count(), 7u);
  for (unsigned i = 0; i < used; ++i) EXPECT_EQ(results[i], std::vector<std::string>(32, expected)) << i;
  for (Class cls : classes) {
    EXPECT_TRUE(isIdentical(_KVTModelMeta::metaWithClass(cls), _KVTModelMeta::metaWithClass(cls)));
    EXPECT_TRUE(isIdentical(_KVTModelMeta::metaWithClass(cls)->classInfo, KVTClassInfo::classInfoWithClass(cls)));
    // Whichever of the racing threads' infos was kept, a mark on it is noticed.
    class_addMethod(cls, "modelCustomTransformFromDictionary:",
                    reinterpret_cast<IMP>(+[](Object*, SEL, Object*) { return false; }), "B24@0:8@16");
    KVTClassInfo::classInfoWithClass(cls)->setNeedUpdate();
    EXPECT_FALSE(kvt_modelWithJSON(cls, NSString(kJSON)));
  }
}

TEST(ModelKitThreads, ThreadsDescribeClassesForTheFirstTime) {
  std::vector<Class> classes;
  for (int i = 0; i < 32; ++i) {
    classes.push_back(freshClass("ThreadInfo" + std::to_string(i)));
    classes.push_back(object_getClass(class_asObject(classes.back())));
  }
  std::atomic<int> mistakes = 0;
  onThreads([&](unsigned number) {
    for (std::size_t i = 0; i < classes.size(); ++i) {
      const Class cls = classes[(i + number * 7) % classes.size()];
      auto info = KVTClassInfo::classInfoWithClass(cls);
      const bool right = info && info->cls() == cls && info->kvtSuperClassInfo() && info->kvtPropertyInfos() &&
                         info->kvtPropertyInfos().count() == (class_isMetaClass(cls) ? 0u : 4u) &&
                         info->kvtSuperClassInfo()->cls() == class_getSuperclass(cls);
      mistakes += !right;
    }
  });
  EXPECT_EQ(mistakes, 0);
}

TEST(ModelKitThreads, MarksRaceWithMapping) {
  const Class cls = freshClass("ThreadMarked");
  auto info = KVTClassInfo::classInfoWithClass(cls);
  const std::string expected = kvt_modelToJSONString(kvt_modelWithJSON(cls, NSString(kJSON))).str();
  std::atomic<int> mistakes = 0;
  onThreads([&](unsigned number) {
    for (int i = 0; i < 200; ++i) {
      if (number % 2 == 0) {
        info->setNeedUpdate();
        mistakes += !isIdentical(KVTClassInfo::classInfoWithClass(cls), info);
        mistakes += info->kvtPropertyInfos().count() != 4;
        mistakes += info->kvtMethodInfos().count() != 8;
      } else {
        const id model = kvt_modelWithJSON(cls, NSString(kJSON));
        mistakes += kvt_modelToJSONString(model).str() != expected;
        mistakes += !kvt_modelDescription(model).hasPrefix("<ThreadMarked: ");
      }
    }
  });
  EXPECT_EQ(mistakes, 0);
}

TEST(ModelKitThreads, MethodsAreAddedWhileClassesAreMapped) {
  const Class cls = freshClass("ThreadChanging");
  const std::string expected = kvt_modelToJSONString(kvt_modelWithJSON(cls, NSString(kJSON))).str();
  std::atomic<int> mistakes = 0;
  onThreads([&](unsigned number) {
    for (int i = 0; i < 50; ++i) {
      if (number == 0) {
        const std::string name = "added" + std::to_string(i);
        class_addMethod(cls, name.c_str(), reinterpret_cast<IMP>(+[](Object*, SEL) {}), "v16@0:8");
        ClassMaker("ThreadComing" + std::to_string(i)).property("n", "i");
        KVTClassInfo::classInfoWithClass(cls)->setNeedUpdate();
      } else if (number == 1) {
        const Method setter = class_getInstanceMethod(cls, "setRatio:");
        method_setImplementation(setter, method_getImplementation(setter));
      } else {
        mistakes += kvt_modelToJSONString(kvt_modelWithJSON(cls, NSString(kJSON))).str() != expected;
      }
    }
  });
  EXPECT_EQ(mistakes, 0);
  EXPECT_TRUE(KVTClassInfo::classInfoWithClass(cls)->kvtMethodInfos()["added49"]);
}

TEST(ModelKitThreads, FormattersAreSharedByThreads) {
  struct Row {
    const char* text;
    double seconds;
  };
  // Plain texts and texts that only the general formatter reads.
  const Row rows[] = {
      {"2014-01-20", 1390176000},
      {"2014-01-20T12:24:48", 1390220688},
      {"2014-01-20 12:24:48", 1390220688},
      {"2014-01-20T12:24:48Z", 1390220688},
      {"2014-01-20 12:24:48.250", 1390220688.25},
      {"2014-01-20T12:24:48+0800", 1390191888},
      {"2014-01-20T12:24:48.000+08:00", 1390191888},
      {"Mon Jan 20 12:24:48 +0800 2014", 1390191888},
      {"Mon Jan 20 12:24:48.000 +0800 2014", 1390191888},
      {"\xEF\xBC\x92\xEF\xBC\x90\xEF\xBC\x91\xEF\xBC\x94-01-20", 1390176000},
      {"mon jan 20 12:24:48 +0800 2014", 1390191888},
  };
  std::atomic<int> mistakes = 0;
  onThreads([&](unsigned number) {
    for (unsigned i = 0; i < 300; ++i) {
      const Row& row = rows[(i + number) % std::size(rows)];
      const NSDate date = KVTNSDateFromString(row.text);
      mistakes += !date || date.timeIntervalSince1970() != row.seconds;
      const id json = kvt_modelToJSONObject(NSArray{NSDate::dateWithTimeIntervalSince1970(row.seconds)});
      mistakes += json.as<NSArray>()[0].as<NSString>().length() != 24;
    }
  });
  EXPECT_EQ(mistakes, 0);
}

TEST(ModelKitThreads, ThreadsReadOneNumberTable) {
  std::atomic<int> mistakes = 0;
  onThreads([&](unsigned) {
    for (int i = 0; i < 500; ++i) {
      mistakes += KVTNSNumberCreateFromID(NSString("YES")) != NSNumber(true);
      mistakes += static_cast<bool>(KVTNSNumberCreateFromID(NSString("<null>")));
      mistakes += KVTNSNumberCreateFromID(NSString("3.5")) != NSNumber(3.5);
      mistakes += KVTNSBlockClass() != blockClass();
    }
  });
  EXPECT_EQ(mistakes, 0);
}

TEST(ModelKitThreads, OneModelIsReadByThreads) {
  const Class cls = freshClass("ThreadRead");
  const id model = kvt_modelWithJSON(cls, NSString(kJSON));
  const std::string expected = kvt_modelToJSONString(model).str();
  std::atomic<int> mistakes = 0;
  onThreads([&](unsigned) {
    for (int i = 0; i < 100; ++i) {
      mistakes += kvt_modelToJSONString(model).str() != expected;
      const id copy = newInstance(cls);
      kvt_modelSetWithModel(copy, model);
      mistakes += kvt_modelToJSONString(copy).str() != expected;
    }
  });
  EXPECT_EQ(mistakes, 0);
}

TEST(ModelKitThreads, LaterClassesAreFoundByThreads) {
  ClassMaker maker("ThreadNamesLater");
  const Class cls = maker.property("later", "@\"ThreadLater\"").make();
  std::atomic<int> mistakes = 0;
  onThreads([&](unsigned number) {
    for (int i = 0; i < 100; ++i) {
      if (number == 0 && i == 50) {
        ClassMaker later("ThreadLater");
        later.property("n", "i").make();
      }
      const id model = kvt_modelWithDictionary(cls, NSDictionary{{"later", NSDictionary{{"n", 5}}}});
      // Before, a dictionary is kept as it is; afterwards it becomes the object.
      const id value = objc_msgSend<id>(model, "later");
      mistakes += !value;
    }
  });
  EXPECT_EQ(mistakes, 0);
  const id model = kvt_modelWithDictionary(cls, NSDictionary{{"later", NSDictionary{{"n", 5}}}});
  EXPECT_TRUE(objc_msgSend<id>(model, "later").isMemberOfClass(objc_getClass("ThreadLater")));
}

}  // namespace
}  // namespace kvt
