// A meeting as a service sends it, and what a client makes of it: typed models with dates, decimals, URLs, nested
// models, key paths, key lists, sets, element classes, a class chosen by the data, and hooks on the way in and out.
#include <KVTFoundation/KVTFoundation.h>

#include <iostream>

using namespace kvt;

namespace {

constexpr const char* kAnswer = R"json({
  "status": "ok",
  "meeting": {
    "id": "m-4711",
    "title": "Release 5.2",
    "begins": "2024-03-01T09:30:00Z",
    "ends": "2024-03-01 10:15:00",
    "private": "yes",
    "room": {"name": "Fjord", "floor": {"number": "3"}},
    "join": {"url": " https://meet.example.com/j/4711?pwd=x%20y "},
    "fee": "19.90",
    "host": {"uid": 1, "name": "Ann", "mail": "ann@example.com"},
    "participants": [
      {"uid": "2", "name": "Bo", "e-mail": "bo@example.com"},
      {"uid": 3, "name": "Çem", "mail": null, "e-mail": "cem@example.com"},
      "a guest"
    ],
    "attachments": [
      {"kind": "link", "title": "Agenda", "target": "https://example.com/agenda"},
      {"kind": "file", "title": "Plan", "bytes": 120000}
    ],
    "labels": ["release", "weekly", "release"]
  }
})json";

}  // namespace

// ---- people: the same thing under two keys
// ----------------------------------------------------------------------------

class Person : public NSObject {
 public:
  int64_t uid = 0;
  NSString name;
  NSString mail;
  /// Of a list of keys the first one that is there counts.
  static NSDictionary modelCustomPropertyMapper() { return {{"mail", NSArray{"mail", "e-mail"}}}; }
  KVT_MODEL(Person, uid, name, mail)
};

// ---- attachments: the data says which class it is
// ---------------------------------------------------------------------

class Attachment : public NSObject {
 public:
  NSString title;
  static Class modelCustomClassForDictionary(const NSDictionary& dictionary);
  KVT_MODEL(Attachment, title)
};

class LinkAttachment : public Attachment {
 public:
  NSURL target;
  KVT_MODEL(LinkAttachment, target)
};

class FileAttachment : public Attachment {
 public:
  uint32_t bytes = 0;
  KVT_MODEL(FileAttachment, bytes)
};

Class Attachment::modelCustomClassForDictionary(const NSDictionary& dictionary) {
  const id kind = dictionary["kind"];
  if (kind == NSString("link")) return classOf<LinkAttachment>();
  if (kind == NSString("file")) return classOf<FileAttachment>();
  return nullptr;  // the class that was asked for
}

// ---- the meeting
// ------------------------------------------------------------------------------------------------------

class Meeting : public NSObject {
 public:
  NSString identifier, title;
  NSDate begins, ends;
  bool isPrivate = false;
  NSString room;
  int floor = 0;
  NSURL joinURL;
  NSDecimalNumber fee;
  Ref<Person> host;
  NSArray participants;
  NSArray attachments;
  NSSet labels;

  NSTimeInterval duration() const { return ends.timeIntervalSinceDate(begins); }

  static NSDictionary modelCustomPropertyMapper() {
    return {{"identifier", "id"},
            {"isPrivate", "private"},
            {"room", "room.name"},
            {"floor", "room.floor.number"},
            {"joinURL", "join.url"}};
  }
  static NSDictionary modelContainerPropertyGenericClass() { return {{"attachments", classOf<Attachment>()}}; }

  /// The service wraps what it sends.
  NSDictionary modelCustomWillTransformFromDictionary(const NSDictionary& dictionary) {
    const NSDictionary inner = dictionary["meeting"].as<NSDictionary>();
    return inner ? inner : dictionary;
  }
  /// A meeting that ends before it begins is none.
  bool modelCustomTransformFromDictionary(const NSDictionary&) { return duration() >= 0; }
  bool modelCustomTransformToDictionary(const NSMutableDictionary& dictionary) {
    dictionary.setObject_forKey(static_cast<int>(duration() / 60), "minutes");
    return true;
  }

  // The long form says what a member's type cannot: the element class, by a protocol that is named like it, and a
  // property that is computed and therefore never written to.
  static void kvtDescribe(ClassBuilder<Meeting>& c) {
    c.property<&Meeting::participants>("participants", {.protocols = "Person"});
    c.propertyOf<NSTimeInterval>("duration", {.readonly = true}).method<&Meeting::duration>("duration");
  }
  KVT_MODEL(Meeting, identifier, title, begins, ends, isPrivate, room, floor, joinURL, fee, host, attachments, labels)
};

int main() {
  const Ref<Meeting> meeting = kvt_modelWithJSON<Meeting>(kAnswer);
  if (!meeting) return 1;
  std::cout << "---- the model\n" << kvt_modelDescription(meeting) << "\n";

  std::cout << "---- its fields\n"
            << meeting->title << " on floor " << meeting->floor << ", " << meeting->duration() / 60 << " minutes, at "
            << meeting->joinURL.host() << "\n"
            << "twice the fee: " << meeting->fee.decimalNumberByAdding(meeting->fee) << "\n";
  for (const id& each : meeting->participants) {
    const Ref<Person> person = each.as<Person>();
    std::cout << person->uid << " " << person->name << " <" << person->mail << ">\n";
  }

  std::cout << "---- back to JSON\n" << kvt_modelToJSONString(meeting) << "\n";

  std::cout << "---- changed in place\n";
  kvt_modelSetWithJSON(meeting, R"({"title": "Release 5.2, second try", "host": {"name": "Anna"}})");
  std::cout << meeting->title << ", " << meeting->host->name << " <" << meeting->host->mail << ">\n";

  std::cout << "---- refused\n";
  const Ref<Meeting> backwards =
      kvt_modelWithJSON<Meeting>(R"({"begins": "2024-03-01T10:00:00Z", "ends": "2024-03-01T09:00:00Z"})");
  std::cout << (backwards ? "a meeting" : "no meeting") << "\n";
}
