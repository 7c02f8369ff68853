#include <KVTFoundation/KVTFoundation.h>

#include <iostream>

using namespace kvt;

// >>>
class Shape : public NSObject {
 public:
  NSString description() const { return "a shape"; }
  KVT_CLASS(Shape)
};

class Circle : public Shape {
 public:
  double radius = 1;
  NSString description() const {
    const NSString inherited = objc_msgSendSuper<NSString>(this, classOf<Circle>(), "description");
    return NSString::stringWithFormat("%@, round, %g", inherited, radius);
  }
  KVT_CLASS(Circle, radius)
};
// <<<

int main() {
  // >>>
  Ref<Shape> shape = make<Circle>();
  std::cout << shape << "\n";                                        // a shape, round, 1
  std::cout << shape.as<Circle>()->radius << "\n";                   // 1
  std::cout << shape.isKindOfClass(objc_getClass("Shape")) << "\n";  // 1
  // <<<
}
