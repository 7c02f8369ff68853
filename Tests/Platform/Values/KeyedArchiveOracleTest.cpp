// Keyed archives against a reader and a writer of their own in Python, in both directions, and against themselves.

#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSURL.h>

#include "KeyedArchives.h"

namespace kvt {
namespace {

using namespace archive_test;

/// What a graph may consist of.
const NSSet& allowed();

class OraclePerson : public NSObject {
 public:
  NSString name;
  int age = 0;
  Ref<OraclePerson> best;
  NSArray friends;
  void encodeWithCoder(const NSCoder& coder) {
    coder.encodeObject_forKey(name, "name");
    coder.encodeInt_forKey(age, "age");
    coder.encodeObject_forKey(best, "best");
    coder.encodeObject_forKey(friends, "friends");
  }
  id initWithCoder(const NSCoder& coder) {
    name = coder.decodeObjectOfClass<NSString>("name");
    age = coder.decodeIntForKey("age");
    best = coder.decodeObjectOfClass<OraclePerson>("best");
    friends = coder.decodeObjectOfClasses_forKey(allowed(), "friends").as<NSArray>();
    return Ref<OraclePerson>(this);
  }
  static bool supportsSecureCoding() { return true; }
  KVT_CLASS(OraclePerson, name, age, best, friends)
};

/// What a graph is, as keyed_archive.py describes it.
class Description {
 public:
  std::string of(const id& value) {
    if (!value) return "nil";
    if (value.is<NSNull>() || value.is<NSNumber>() || value.is<NSDate>()) return meaning(value);
    if (NSURL url = value.as<NSURL>()) return "U" + meaning(url.relativeString()).substr(1);
    const bool isMutable = value.is<NSMutableString>() || value.is<NSMutableData>() || value.is<NSMutableArray>() ||
                           value.is<NSMutableDictionary>() || value.is<NSMutableSet>();
    if (!isMutable && (value.is<NSString>() || value.is<NSData>())) return meaning(value);
    const auto [place, isNew] = numbers_.try_emplace(value.object(), numbers_.size());
    const std::string start = "#" + std::to_string(place->second);
    if (!isNew) return start;
    const auto sign = [isMutable](const char* plain, const char* other) { return isMutable ? other : plain; };
    std::string parts;
    const auto add = [&](const std::string& text) { parts += text + ","; };
    if (value.is<NSString>()) return start + "=M" + meaning(value).substr(1);
    if (value.is<NSData>()) return start + "=m" + meaning(value).substr(1);
    if (NSArray array = value.as<NSArray>()) {
      for (const id& each : array) add(of(each));
      return start + sign("=A[", "=a[") + parts + "]";
    }
    if (NSSet set = value.as<NSSet>()) {
      for (const id& each : set) add(of(each));
      return start + sign("=S(", "=s(") + parts + ")";
    }
    if (NSDictionary dictionary = value.as<NSDictionary>()) {
      for (const auto& [key, each] : dictionary) {
        const std::string name = of(key);
        add(name + ":" + of(each));
      }
      return start + sign("=H{", "=h{") + parts + "}";
    }
    const auto person = value.as<OraclePerson>();
    if (!person) return std::string("?") + class_getName(value.class_());
    add(of(person->name));
    add("i" + std::to_string(person->age));
    add(of(person->best));
    add(of(person->friends));
    return start + "=P{" + parts + "}";
  }

 private:
  std::map<const Object*, std::size_t> numbers_;
};

std::string describe(const id& graph) { return Description().of(graph); }

/// Random graphs with shared objects and circles; holds what it made, and takes the circles apart at the end.
class RandomGraphs {
 public:
  explicit RandomGraphs(std::uint64_t seed) : lists_(seed) {}
  ~RandomGraphs() {
    for (const auto& person : people_) {
      person->best = nullptr;
      person->friends = nullptr;
    }
    for (const id& each : changeable_) {
      each.as<NSMutableArray>().removeAllObjects();
      each.as<NSMutableDictionary>().removeAllObjects();
    }
  }

  id graph() {
    std::vector<id> nodes;
    const std::size_t firstPerson = people_.size();
    for (std::uint64_t count = 1 + lists_.below(10); count > 0; --count) {
      switch (lists_.below(6)) {
        case 0: nodes.push_back(NSMutableArray::array()); break;
        case 1: nodes.push_back(NSMutableDictionary::dictionary()); break;
        case 2: nodes.push_back(array(nodes)); break;
        case 3: nodes.push_back(lists_.oneIn(2) ? NSSet::setWithArray(scalars()) : scalarsSet()); break;
        default: nodes.push_back(people_.emplace_back(make<OraclePerson>()));
      }
    }
    for (const id& each : nodes) {
      if (NSMutableArray list = each.as<NSMutableArray>()) {
        changeable_.push_back(each);
        for (std::uint64_t i = lists_.below(5); i > 0; --i) list.addObject(any(nodes));
      } else if (NSMutableDictionary dictionary = each.as<NSMutableDictionary>()) {
        changeable_.push_back(each);
        for (const id& key : scalars()) dictionary.setObject_forKey(any(nodes), key);
      }
    }
    for (std::size_t i = firstPerson; i < people_.size(); ++i) {
      OraclePerson& person = *people_[i];
      if (!lists_.oneIn(3)) person.name = text();
      person.age = static_cast<int>(lists_.below(200)) - 50;
      if (!lists_.oneIn(3)) person.best = people_[firstPerson + lists_.below(people_.size() - firstPerson)];
      if (!lists_.oneIn(3)) person.friends = array(nodes);
    }
    return nodes[lists_.below(nodes.size())];
  }

 private:
  NSString text() {
    // What is no UTF-8 has no place in Python, and what says "$null" another form.
    NSString result = lists_.text(true);
    return result == NSString("$null") ? NSString("null") : result;
  }
  id scalar() {
    const id value = lists_.scalar(true);
    // Python knows no difference between float and double, -0 and 0.
    if (value.is<NSString>()) return text();
    if (value.as<NSNumber>().isFloatingPoint()) return NSNumber(value.as<NSNumber>().doubleValue() + 0.0);
    return value;
  }
  NSArray scalars() {
    NSMutableArray values = NSMutableArray::array();
    for (std::uint64_t i = lists_.below(4); i > 0; --i) {
      const id value = scalar();
      if (!values.containsObject(value)) values.addObject(value);
    }
    return values.copy();
  }
  NSMutableSet scalarsSet() { return NSMutableSet::setWithArray(scalars()); }
  NSArray array(const std::vector<id>& nodes) {
    std::vector<id> elements;
    for (std::uint64_t i = lists_.below(4); i > 0; --i) elements.push_back(nodes.empty() ? scalar() : any(nodes));
    return NSArray::arrayWithRange(elements);
  }
  id any(const std::vector<id>& nodes) {
    switch (lists_.below(8)) {
      case 0: return NSNull::null();
      case 1: return text().mutableCopy();
      case 2: return NSMutableData::dataWithLength(lists_.below(3));
      case 3: return NSURL::URLWithString("http://example.com/a");
      case 4: return scalar();
      default: return nodes[lists_.below(nodes.size())];
    }
  }

  RandomLists lists_;
  std::vector<Ref<OraclePerson>> people_;
  std::vector<id> changeable_;
};

const NSSet& allowed() {
  static const NSSet classes = {
      classOf<OraclePerson>(), classOf<NSArray>(), classOf<NSDictionary>(), classOf<NSSet>(), classOf<NSString>(),
      classOf<NSNumber>(),     classOf<NSData>(),  classOf<NSDate>(),       classOf<NSURL>(), classOf<NSNull>()};
  return classes;
}

TEST(KeyedArchiveOracle, ReadsWhatPythonMakes) {
  if (!hasPython()) GTEST_SKIP() << "there is no python3 here";
  const MayLeak circles;
  const TemporaryFile file;
  const std::vector<std::string> expected = python("keyed_archive.py", "make 1 1500 '" + file.path() + "'");
  const std::vector<std::string> archives = readPieces(file.path());
  ASSERT_EQ(expected.size(), 1500u);
  ASSERT_EQ(archives.size(), expected.size());
  int differences = 0;
  for (std::size_t i = 0; i < archives.size(); ++i) {
    NSError error;
    const id graph = NSKeyedUnarchiver::unarchivedObjectOfClasses_fromData_error(
        allowed(), NSData(std::string_view(archives[i])), &error);
    const std::string ours = describe(graph);
    if (ours == expected[i]) continue;
    ADD_FAILURE() << "graph " << i << ": " << reasonOf(error) << "\n  here:   " << ours
                  << "\n  Python: " << expected[i];
    if (++differences == 5) FAIL() << "and so on";
  }
}

TEST(KeyedArchiveOracle, WritesWhatPythonReads) {
  if (!hasPython()) GTEST_SKIP() << "there is no python3 here";
  RandomGraphs graphs(2);
  std::vector<std::string> archives, expected;
  for (int i = 0; i < 1500; ++i) {
    const id graph = graphs.graph();
    archives.emplace_back(NSKeyedArchiver::archivedDataWithRootObject(graph).view());
    expected.push_back(describe(graph));
  }
  const TemporaryFile file;
  writePieces(file.path(), archives);
  const std::vector<std::string> actual = python("keyed_archive.py", "check '" + file.path() + "'");
  ASSERT_EQ(actual.size(), expected.size());
  for (std::size_t i = 0; i < actual.size(); ++i) ASSERT_EQ(actual[i], expected[i]) << "graph " << i;
}

TEST(KeyedArchiveOracle, ReadsBackWhatItWrote) {
  const MayLeak circles;
  RandomGraphs graphs(3);
  for (int i = 0; i < 3000; ++i) {
    const id graph = graphs.graph();
    const NSKeyedArchiver archiver = NSKeyedArchiver::initRequiringSecureCoding(true);
    archiver.setOutputFormat(i % 3 == 0 ? NSPropertyListXMLFormat_v1_0 : NSPropertyListBinaryFormat_v1_0);
    archiver.encodeObject_forKey(graph, "root");
    const NSData archive = archiver.encodedData();
    NSError error;
    const id back = NSKeyedUnarchiver::unarchivedObjectOfClasses_fromData_error(allowed(), archive, &error);
    ASSERT_EQ(describe(back), describe(graph)) << reasonOf(error);
    // Equal graphs have equal archives.
    const NSData again = NSKeyedArchiver::archivedDataWithRootObject(back);
    const id last = NSKeyedUnarchiver::unarchiveObjectWithData(again);
    ASSERT_EQ(describe(last), describe(graph));
    ASSERT_EQ(NSKeyedArchiver::archivedDataWithRootObject(last), again);
  }
}

TEST(KeyedArchiveOracle, AnswersWhateverTheBytes) {
  const MayLeak circles;
  RandomGraphs graphs(4);
  RandomLists random(5);
  int good = 0, refused = 0;
  for (int i = 0; i < 6000; ++i) {
    const id graph = graphs.graph();
    std::string bytes(NSKeyedArchiver::archivedDataWithRootObject(graph).view());
    for (std::uint64_t changes = 1 + random.below(3); changes > 0; --changes) {
      // Within the objects as a rule: the trailer is soon dealt with.
      const std::size_t at = 8 + random.below(bytes.size() - (random.oneIn(10) ? 8 : 40));
      bytes[at] = static_cast<char>(random.oneIn(2) ? random.below(256) : static_cast<unsigned char>(bytes[at]) ^ 1u);
    }
    NSError error;
    const id back =
        NSKeyedUnarchiver::unarchivedObjectOfClasses_fromData_error(allowed(), NSData(std::string_view(bytes)), &error);
    ASSERT_FALSE(back && error) << hex(bytes);
    ++(error ? refused : good);
    // And the way that raises, where everything is allowed.
    try {
      static_cast<void>(NSKeyedUnarchiver::unarchiveObjectWithData(NSData(std::string_view(bytes))));
    } catch (const NSException&) {
      ASSERT_TRUE(error) << hex(bytes);
    }
  }
  EXPECT_GT(good, 300);
  EXPECT_GT(refused, 1000);
}

}  // namespace
}  // namespace kvt
