#include <KVTFoundation/KVTFoundation.h>

#include <iostream>

using namespace kvt;

// >>>
class Track : public NSObject {
 public:
  NSString title, artist;
  KVT_MODEL(Track, title, artist)
};
// <<<

int main() {
  // >>>
  Class cls = objc_getClass("Track");
  for (Property property : class_copyPropertyList(cls)) std::cout << property_getAttributes(property) << " ";
  std::cout << "\n";  // T@"NSString",C,N,Vtitle T@"NSString",C,N,Vartist

  Ref<Track> track = kvt_modelWithJSON<Track>(R"({"title": "So What", "artist": "Miles Davis"})");
  method_exchangeImplementations(class_getInstanceMethod(cls, "title"), class_getInstanceMethod(cls, "artist"));
  std::cout << objc_msgSend<NSString>(track, "title") << "\n";  // Miles Davis
  std::cout << kvt_modelToJSONString(track) << "\n";            // {"title":"Miles Davis","artist":"So What"}
  std::cout << track->title << "\n";                            // So What
  // <<<
}
