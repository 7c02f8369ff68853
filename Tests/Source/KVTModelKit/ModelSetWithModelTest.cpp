// The values of one model into another.
#include <KVTFoundation/KVTModelKit/NSObject+KVTModel.h>
#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSURL.h>

#include <string>

#include "ModelKitTest.h"

union TransferUnion {
  std::int32_t number;
  double ratio;
};
KVT_UNION_ENCODING(TransferUnion, number, ratio)

namespace kvt {
namespace {

using modeltest::ClassMaker;
using modeltest::newInstance;

class TransferPlain : public NSObject {
 public:
  NSString name;
  KVT_MODEL(TransferPlain, name)
};
class TransferShape : public NSObject {
 public:
  double size = 0;
  KVT_MODEL(TransferShape, size)
};
class TransferCircle : public TransferShape {
 public:
  double radius = 0;
  KVT_MODEL(TransferCircle, radius)
};
class TransferDropped : public NSObject {
 public:
  NSString dropped, path;
  static NSDictionary modelCustomPropertyMapper() { return {{"dropped", ""}, {"path", "a.b"}}; }
  KVT_MODEL(TransferDropped, dropped, path)
};

class TransferEveryType : public NSObject {
 public:
  bool aBool = false;
  std::int8_t anInt8 = 0;
  std::uint8_t aUInt8 = 0;
  std::int16_t anInt16 = 0;
  std::uint16_t aUInt16 = 0;
  std::int32_t anInt32 = 0;
  std::uint32_t aUInt32 = 0;
  std::int64_t anInt64 = 0;
  std::uint64_t aUInt64 = 0;
  float aFloat = 0;
  double aDouble = 0;
  long double aLongDouble = 0;
  NSString text;
  NSMutableArray list;
  Ref<TransferPlain> model;
  id anything;
  Class cls;
  SEL selector;
  Block<int()> block;
  void* pointer = nullptr;
  const char* cString = nullptr;
  CGRect rect;
  TransferUnion either{};
  std::int32_t array[2] = {};
  KVT_MODEL(TransferEveryType, aBool, anInt8, aUInt8, anInt16, aUInt16, anInt32, aUInt32, anInt64, aUInt64, aFloat,
            aDouble, aLongDouble, text, list, model, anything, cls, selector, block, pointer, cString, rect, either,
            array)
};

Ref<TransferEveryType> filled() {
  auto model = make<TransferEveryType>();
  model->aBool = true;
  model->anInt8 = INT8_MIN;
  model->aUInt8 = UINT8_MAX;
  model->anInt16 = INT16_MIN;
  model->aUInt16 = UINT16_MAX;
  model->anInt32 = INT32_MIN;
  model->aUInt32 = UINT32_MAX;
  model->anInt64 = INT64_MIN;
  model->aUInt64 = UINT64_MAX;
  model->aFloat = 1.1f;
  model->aDouble = 1.1;
  model->aLongDouble = 1.1L;
  model->text = "text";
  model->list = {1};
  model->model = make<TransferPlain>();
  model->anything = NSNull::null();
  model->cls = classOf<NSDate>();
  model->selector = "act:";
  model->block = [] { return 42; };
  model->pointer = model.object();
  model->cString = "literal";
  model->rect = {{1, 2}, {3, 4}};
  model->either.ratio = 0.25;
  model->array[0] = 7;
  return model;
}

TEST(ModelSetWithModel, AModelIntoAnother) {
  auto from = filled(), to = make<TransferEveryType>();
  kvt_modelSetWithModel(to, from);
  EXPECT_TRUE(to->aBool);
  EXPECT_EQ(to->anInt8, INT8_MIN);
  EXPECT_EQ(to->aUInt8, UINT8_MAX);
  EXPECT_EQ(to->anInt16, INT16_MIN);
  EXPECT_EQ(to->aUInt16, UINT16_MAX);
  EXPECT_EQ(to->anInt32, INT32_MIN);
  EXPECT_EQ(to->aUInt32, UINT32_MAX);
  EXPECT_EQ(to->anInt64, INT64_MIN);
  EXPECT_EQ(to->aUInt64, UINT64_MAX);
  EXPECT_EQ(to->aFloat, 1.1f);
  EXPECT_EQ(to->aDouble, 1.1);
  EXPECT_EQ(to->aLongDouble, 1.1L);
  EXPECT_EQ(to->text, "text");
  EXPECT_TRUE(isIdentical(to->list, from->list)) << "references, not copies";
  EXPECT_TRUE(isIdentical(to->model, from->model));
  EXPECT_TRUE(isIdentical(to->anything, NSNull::null()));
  EXPECT_EQ(to->cls, classOf<NSDate>());
  EXPECT_EQ(to->selector, SEL("act:"));
  EXPECT_EQ(to->block(), 42);
  EXPECT_EQ(to->pointer, from->pointer);
  EXPECT_STREQ(to->cString, "literal");
  EXPECT_EQ(to->rect, (CGRect{{1, 2}, {3, 4}}));
  EXPECT_EQ(to->either.ratio, 0.25);
  EXPECT_EQ(to->array[0], 0) << "other types are skipped";
}

TEST(ModelSetWithModel, NothingIntoAModel) {
  auto to = filled();
  kvt_modelSetWithModel(to, make<TransferEveryType>());
  EXPECT_FALSE(to->aBool);
  EXPECT_EQ(to->aUInt64, 0u);
  EXPECT_EQ(to->aLongDouble, 0);
  EXPECT_FALSE(to->text);
  EXPECT_FALSE(to->anything);
  EXPECT_FALSE(to->cls);
  EXPECT_FALSE(to->selector);
  EXPECT_FALSE(to->block);
  EXPECT_EQ(to->pointer, nullptr);
  EXPECT_EQ(to->rect, CGRect{});
  EXPECT_EQ(to->array[0], 7);
}

TEST(ModelSetWithModel, AModelOfAnotherClass) {
  // What has no setter on the other side is skipped.
  ClassMaker maker("TransferOtherModel");
  maker.property("text", "@\"NSString\"", "C").property("aDouble", "d").property("stranger", "i");
  const id other = newInstance(maker.make());
  objc_msgSend(other, "setText:", NSString("theirs"));
  objc_msgSend(other, "setADouble:", 2.5);
  objc_msgSend(other, "setStranger:", 3);
  auto to = filled();
  kvt_modelSetWithModel(to, other);
  EXPECT_EQ(to->text, "theirs");
  EXPECT_EQ(to->aDouble, 2.5);
  EXPECT_EQ(to->anInt8, INT8_MIN) << "only what the other has is set";
  // And the other way round.
  kvt_modelSetWithModel(other, filled());
  EXPECT_EQ(objc_msgSend<NSString>(other, "text"), NSString("text"));
  EXPECT_EQ(objc_msgSend<int>(other, "stranger"), 3);
}

TEST(ModelSetWithModel, AValueOfAnotherClassIsNotHeld) {
  ClassMaker maker("TransferOtherTypes");
  maker.property("text", "@\"NSNumber\"").property("model", "@\"NSString\"").property("anything", "@");
  const id other = newInstance(maker.make());
  objc_msgSend(other, "setText:", NSNumber(7));
  objc_msgSend(other, "setModel:", NSString("no model"));
  objc_msgSend(other, "setAnything:", NSNumber(8));
  auto to = filled();
  kvt_modelSetWithModel(to, other);
  EXPECT_FALSE(to->text) << "a typed member never holds another class's object";
  EXPECT_FALSE(to->model);
  EXPECT_EQ(to->anything, NSNumber(8));
}

TEST(ModelSetWithModel, PropertiesOfOneNameAndAnotherType) {
  // What a setter does not take is not put into it, and nothing is raised.
  const char* const types[] = {"B",
                               "c",
                               "i",
                               "Q",
                               "f",
                               "d",
                               "D",
                               "@",
                               "@\"NSString\"",
                               "#",
                               ":",
                               "@?",
                               "^v",
                               "*",
                               "{CGSize=dd}",
                               "{CGPoint=dd}",
                               "(TransferUnion=id)",
                               "[2i]"};
  std::vector<id> models;
  int number = 0;
  for (const char* type : types) {
    ClassMaker maker("TransferType" + std::to_string(number++));
    models.push_back(newInstance(maker.property("v", type).property("last", "i").make()));
  }
  for (std::size_t from = 0; from < models.size(); ++from) {
    for (std::size_t to = 0; to < models.size(); ++to) {
      SCOPED_TRACE(std::string(types[from]) + " into " + types[to]);
      objc_msgSend(models[from], "setLast:", static_cast<int>(from + 1));
      EXPECT_NO_THROW(kvt_modelSetWithModel(models[to], models[from]));
      EXPECT_EQ(objc_msgSend<int>(models[to], "last"), static_cast<int>(from + 1)) << "the others are set all the same";
    }
  }
  // A floating number is no integer, nor the other way round; integers pass at any width.
  const id whole = models[2], wide = models[3], narrow = models[1], small = models[4], real = models[5];
  objc_msgSend(whole, "setV:", -7);
  kvt_modelSetWithModel(wide, whole);
  EXPECT_EQ(objc_msgSend<std::int64_t>(wide, "v"), -7);
  objc_msgSend(wide, "setV:", 0x1FE);
  kvt_modelSetWithModel(narrow, wide);
  EXPECT_EQ(objc_msgSend<int>(narrow, "v"), -2);
  objc_msgSend(small, "setV:", 1.5f);
  kvt_modelSetWithModel(small, whole);
  EXPECT_EQ(objc_msgSend<float>(small, "v"), 1.5f);
  objc_msgSend(real, "setV:", 2.5);
  kvt_modelSetWithModel(wide, real);
  EXPECT_EQ(objc_msgSend<std::int64_t>(wide, "v"), 0x1FE);
  kvt_modelSetWithModel(small, real);
  EXPECT_EQ(objc_msgSend<float>(small, "v"), 1.5f);
}

TEST(ModelSetWithModel, ASubclassIntoItsBase) {
  auto circle = make<TransferCircle>();
  circle->size = 4;
  circle->radius = 2;
  auto shape = make<TransferShape>();
  kvt_modelSetWithModel(shape, circle);
  EXPECT_EQ(shape->size, 4);
  circle->radius = 1;
  shape->size = 8;
  kvt_modelSetWithModel(circle, shape);
  EXPECT_EQ(circle->size, 8);
  EXPECT_EQ(circle->radius, 1);
}

TEST(ModelSetWithModel, DroppedPropertiesAreCopiedToo) {
  auto from = make<TransferDropped>(), to = make<TransferDropped>();
  from->dropped = "there";
  from->path = "path";
  kvt_modelSetWithModel(to, from);
  EXPECT_EQ(to->dropped, "there");
  EXPECT_EQ(to->path, "path");
}

TEST(ModelSetWithModel, NoModelsForSettingFrom) {
  auto to = filled();
  for (const id& other :
       {id(), id(NSString("x")), id(NSNumber(1)), id(NSArray{1}), id(NSDictionary{{"text", "x"}}), id(NSSet{1}),
        id(NSDate::date()), id(NSURL::URLWithString("x")), id(NSData(std::string_view("x"))), id(NSNull::null())}) {
    kvt_modelSetWithModel(to, other);
    EXPECT_EQ(to->text, "text");
  }
  // The null object takes nothing, and nil does nothing at all.
  kvt_modelSetWithModel(NSNull::null(), filled());
  kvt_modelSetWithModel(id(), filled());
  kvt_modelSetWithModel(NSString("x"), filled());
  // A model may be set from itself.
  kvt_modelSetWithModel(to, to);
  EXPECT_EQ(to->text, "text");
  EXPECT_EQ(to->list.count(), 1u);
}

int nullSetterCalls = 0;

TEST(ModelSetWithModel, TheNullObjectIsRefusedAsReceiverAlone) {
  // The null object's class may have been given a property: it is read from like any other, and never written to.
  const Class null = classOf<NSNull>();
  ASSERT_TRUE(class_addProperty(null, "oddity", {{"T", "q"}}));
  ASSERT_TRUE(class_addMethod(null, "oddity", reinterpret_cast<IMP>(+[](Object*, SEL) -> std::int64_t { return 7; }),
                              "q16@0:8"));
  ASSERT_TRUE(class_addMethod(
      null, "setOddity:", reinterpret_cast<IMP>(+[](Object*, SEL, std::int64_t) { ++nullSetterCalls; }), "v24@0:8q16"));
  KVTClassInfo::classInfoWithClass(null)->setNeedUpdate();
  ClassMaker maker("TransferOddity");
  const id model = newInstance(maker.property("oddity", "q").make());
  kvt_modelSetWithModel(model, NSNull::null());
  EXPECT_EQ(objc_msgSend<std::int64_t>(model, "oddity"), 7);
  kvt_modelSetWithModel(NSNull::null(), model);
  EXPECT_EQ(nullSetterCalls, 0);
}

}  // namespace
}  // namespace kvt
