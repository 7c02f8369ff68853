#include "Block.h"

#include "ClassBody.h"

namespace kvt {
namespace {

struct BlockClasses {
  Class base, globalLeaf, mallocLeaf;
};

Class makeBlockClass(Class superclass, std::string_view name) {
  Class cls = makeClassPair(superclass, name);
  cls.body()->instanceSize = sizeof(BlockBody);
  cls.body()->construct = nullptr;
  registerPair(cls);
  return cls;
}

const BlockClasses& blockClasses() {
  static const BlockClasses classes = [] {
    BlockClasses made;
    made.base = makeBlockClass(objc_getClass("NSObject"), "NSBlock");
    makeBlockClass(makeBlockClass(made.base, "__NSStackBlock"), "__NSStackBlock__");
    made.globalLeaf = makeBlockClass(makeBlockClass(made.base, "__NSGlobalBlock"), "__NSGlobalBlock__");
    made.mallocLeaf = makeBlockClass(makeBlockClass(made.base, "__NSMallocBlock"), "__NSMallocBlock__");
    return made;
  }();
  return classes;
}

}  // namespace

BlockBody::BlockBody(const std::type_info& signature, bool hasCaptures)
    : Object(hasCaptures ? blockClasses().mallocLeaf : blockClasses().globalLeaf, ObjectKind::kBlock),
      signature_(signature) {
  // Copying a block on the heap gives the block.
  ObjectAccess::markImmutableValue(this);
}

BlockBody::~BlockBody() = default;

bool BlockBody::isBlock(const Object* object) noexcept {
  return object != nullptr && object->kvtKind() == ObjectKind::kBlock;
}

Class blockClass() { return blockClasses().base; }

}  // namespace kvt
