#include "UnarchiverBody.h"

#include <cmath>
#include <utility>

#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Runtime/Raise.h>

#include "ArchivedValues.h"
#include "CollectionSupport.h"
#include "NSArray.h"
#include "NSArrayBody.h"
#include "NSDictionary.h"
#include "NSDictionaryBody.h"
#include "NSSetBody.h"

namespace kvt {
namespace {

using Type = PropertyListNode::Type;

const SEL kInitWithCoder = "initWithCoder:";
const SEL kAwake = "awakeAfterUsingCoder:";

std::string quoted(std::string_view text) { return "'" + std::string(text.substr(0, 128)) + "'"; }

}  // namespace

/// Opens an object for decoding.
class UnarchiverBody::FrameScope {
 public:
  FrameScope(UnarchiverBody& unarchiver, const Node& node, std::uint64_t uid, const Classes* allowed) noexcept
      : unarchiver_(unarchiver), frame_{&node, unarchiver.frame_, allowed, uid} {
    unarchiver.frame_ = &frame_;
    ++unarchiver.depth_;
  }
  FrameScope(const FrameScope&) = delete;
  FrameScope& operator=(const FrameScope&) = delete;
  ~FrameScope() {
    unarchiver_.frame_ = frame_.outer;
    --unarchiver_.depth_;
    // What was left by an exception is not decoded again.
    Slot& slot = unarchiver_.slots_[frame_.uid];
    if (slot.state != State::kDone) slot = {id(), State::kDone, slot.knownClass};
  }

 private:
  UnarchiverBody& unarchiver_;
  Frame frame_;
};

UnarchiverBody::UnarchiverBody(Class cls)
    : CoderBody(cls, false), topFrame_{&none_, nullptr, nullptr, 0}, frame_(&topFrame_) {
  none_.type = Type::kDictionary;
}

bool UnarchiverBody::open(const NSData& data, PropertyListFailure& failure) {
  if (!document.read(data, failure)) return false;
  const auto refuse = [&failure](const char* reason) {
    failure = {NSCoderReadCorruptError, reason};
    return false;
  };
  const Node& archive = document.nodes[document.top];
  if (archive.type != Type::kDictionary) return refuse("The property list is no keyed archive.");
  const Node* archiver = document.find(archive, "$archiver");
  if (archiver == nullptr || !equalsText(*archiver, "NSKeyedArchiver")) {
    return refuse("The property list is no keyed archive: it names another archiver or none.");
  }
  const Node* version = document.find(archive, "$version");
  if (version == nullptr || version->type != Type::kInteger || version->integer != 100000) {
    return refuse("The version of the keyed archive is unknown.");
  }
  const Node* objects = document.find(archive, "$objects");
  const Node* top = document.find(archive, "$top");
  if (objects == nullptr || objects->type != Type::kArray || objects->size == 0) {
    return refuse("The keyed archive has no objects.");
  }
  if (top == nullptr || top->type != Type::kDictionary) return refuse("The keyed archive has no top.");
  objects_ = objects->first;
  slots_ = std::vector<Slot>(objects->size);
  slots_[0].state = State::kDone;
  topFrame_.node = top;
  return true;
}

// ---- failures -----------------------------------------------------------------------------------------------------

void UnarchiverBody::fail(NSInteger code, const std::string& reason) {
  if (policy == NSDecodingFailurePolicyRaiseException) objc_raise("NSInvalidUnarchiveOperationException", reason);
  if (!error) error = propertyListError({code, reason});
}

void UnarchiverBody::fail(const NSError& failure) {
  if (policy == NSDecodingFailurePolicyRaiseException) {
    NSString reason = failure.userInfo().objectForKey(NSDebugDescriptionErrorKey).as<NSString>();
    if (!reason) reason = failure.localizedDescription();
    objc_raise("NSInvalidUnarchiveOperationException", reason.str());
  }
  if (!error) error = failure;
}

void UnarchiverBody::failClass(std::string_view key, Class cls, const Classes* allowed) {
  std::string names;
  for (const Class each : *allowed) names += (names.empty() ? "" : ", ") + std::string(class_getName(each));
  fail("The value for key " + quoted(key) + " is of the unexpected class " + quoted(class_getName(cls)) +
       ". Allowed classes are: {" + names + "}.");
}

// ---- values -------------------------------------------------------------------------------------------------------

const UnarchiverBody::Classes* UnarchiverBody::allowedClasses() const {
  if (!requiresSecureCoding) return nullptr;
  return frame_->allowed != nullptr ? frame_->allowed : &archive::propertyListClasses();
}

const PropertyListNode* UnarchiverBody::find(std::string_view key) {
  if (error) return nullptr;
  if (isFinished) {
    fail("An unarchiver that has finished cannot decode.");
    return nullptr;
  }
  return document.find(*frame_->node, key, &frame_->expected);
}

const PropertyListNode* UnarchiverBody::find(KeyList& keys, std::size_t index, std::string_view key) {
  const Node& here = *frame_->node;
  std::uint32_t& known = keys.nodes_[index];
  if (frame_->expected < here.size && document.children[here.first + frame_->expected] == known && !error &&
      !isFinished) [[likely]] {
    return &document.valueAt(here, frame_->expected++);
  }
  const Node* const value = find(key);
  if (value != nullptr) known = document.children[here.first + frame_->expected - 1];
  return value;
}

const PropertyListNode* UnarchiverBody::numberOf(const Node* value) const noexcept {
  if (value == nullptr || value->type != Type::kUID || value->unsignedInteger >= slots_.size()) return nullptr;
  if (slots_[value->unsignedInteger].state != State::kNone) return nullptr;
  const Node& node = document.nodes[document.children[objects_ + value->unsignedInteger]];
  return node.type >= Type::kFalse && node.type <= Type::kDouble && node.type != Type::kWide ? &node : nullptr;
}

id UnarchiverBody::decode(std::string_view key, const Classes* allowed) { return decodeValue(find(key), key, allowed); }

id UnarchiverBody::decodeValue(const Node* value, std::string_view key, const Classes* allowed) {
  if (value == nullptr) return id();
  if (value->type != Type::kUID) {
    fail("The value for key " + quoted(key) + " is no object.");
    return id();
  }
  const Classes* const classesHere = allowed != nullptr ? allowed : allowedClasses();
  if (frame_ != &topFrame_) return objectAt(value->unsignedInteger, key, classesHere);
  struct Scope {
    UnarchiverBody& self;
    bool isGood = false;
    ~Scope() {
      if (!isGood) self.emptyAnnounced();
      self.announced_.clear();
    }
  } scope{*this};
  id object = objectAt(value->unsignedInteger, key, classesHere);
  scope.isGood = !error;
  return object;
}

/// Collections that were made until something failed may hold each other in a circle, and nobody will ever see them.
void UnarchiverBody::emptyAnnounced() noexcept {
  for (const auto& [uid, object] : announced_) {
    Slot& slot = slots_[uid];
    slot.object = id();
    // Asked for once more, it is decoded once more.
    if (slot.state == State::kDone) slot.state = State::kNone;
    Object* body = object.object();
    if (collections::isArray(body)) static_cast<ArrayBody*>(body)->removeAll();
    if (collections::isDictionary(body)) static_cast<DictionaryBody*>(body)->removeAll();
    if (collections::isSet(body)) static_cast<SetBody*>(body)->removeAll();
  }
}

id UnarchiverBody::elementAt(const Node& array, std::size_t index, std::string_view key) {
  if (error) return id();
  const Node& reference = document.child(array, index);
  if (reference.type != Type::kUID) {
    fail("An element for key " + quoted(key) + " is no object.");
    return id();
  }
  id object = objectAt(reference.unsignedInteger, key, allowedClasses());
  if (!object) fail("A collection for key " + quoted(key) + " holds nothing in one place.");
  return object;
}

const PropertyListNode* UnarchiverBody::references(std::string_view key) {
  const Node* value = find(key);
  if (value != nullptr && value->type == Type::kArray) return value;
  fail("There are no objects for key " + quoted(key) + ".");
  return nullptr;
}

bool UnarchiverBody::isUnfinishedCollection(const Node& reference) const noexcept {
  if (reference.type != Type::kUID || reference.unsignedInteger >= slots_.size()) return false;
  const Slot& slot = slots_[reference.unsignedInteger];
  return slot.state == State::kDecoding && collections::isCollection(slot.object.object());
}

const PropertyListNode* UnarchiverBody::plain(std::string_view key) {
  const Node* value = find(key);
  if (value == nullptr || value->type != Type::kUID) return value;
  if (value->unsignedInteger == 0 || value->unsignedInteger >= slots_.size()) return nullptr;
  return &document.nodes[document.children[objects_ + value->unsignedInteger]];
}

void UnarchiverBody::announce(const id& object) {
  if (frame_ == &topFrame_) return;
  announced_.emplace_back(frame_->uid, object);
  slots_[frame_->uid].object = object;
}

bool UnarchiverBody::integer(std::string_view key, std::int64_t minimum, std::int64_t maximum, std::int64_t& value) {
  const Node* node = find(key);
  if (node == nullptr) return false;
  switch (node->type) {
    case Type::kTrue:
    case Type::kFalse: value = node->type == Type::kTrue ? 1 : 0; break;
    case Type::kInteger: value = node->integer; break;
    case Type::kFloat:
    case Type::kDouble:
      // Within what an int64_t can hold, so that the conversion is defined.
      if (node->real == std::trunc(node->real) && std::fabs(node->real) < 9e18) {
        value = static_cast<std::int64_t>(node->real);
        break;
      }
      [[fallthrough]];
    default: return fail("The value for key " + quoted(key) + " is no integer of 64 bits."), false;
  }
  if (value >= minimum && value <= maximum) return true;
  fail("The value " + std::to_string(value) + " for key " + quoted(key) + " is too large for its type.");
  return false;
}

bool UnarchiverBody::real(std::string_view key, double& value) {
  const Node* node = find(key);
  if (node == nullptr) return false;
  switch (node->type) {
    case Type::kInteger: value = static_cast<double>(node->integer); return true;
    case Type::kUnsigned: value = static_cast<double>(node->unsignedInteger); return true;
    case Type::kFloat:
    case Type::kDouble: value = node->real; return true;
    default: return fail("The value for key " + quoted(key) + " is no number."), false;
  }
}

bool UnarchiverBody::boolean(std::string_view key, bool& value) {
  const Node* node = find(key);
  if (node == nullptr) return false;
  switch (node->type) {
    case Type::kTrue:
    case Type::kFalse: value = node->type == Type::kTrue; return true;
    case Type::kInteger: value = node->integer != 0; return true;
    default: return fail("The value for key " + quoted(key) + " is no boolean."), false;
  }
}

// ---- objects ------------------------------------------------------------------------------------------------------

bool UnarchiverBody::isAllowed(Class cls, const Classes* allowed) noexcept {
  for (const Class each : *allowed) {
    if (class_isSubclassOf(cls, each)) return true;
  }
  return false;
}

id UnarchiverBody::objectAt(std::uint64_t uid, std::string_view key, const Classes* allowed) {
  if (uid >= slots_.size()) {
    fail("The value for key " + quoted(key) + " is object " + std::to_string(uid) + " of " +
         std::to_string(slots_.size()) + ".");
    return id();
  }
  if (!requiresSecureCoding) allowed = nullptr;
  Slot& slot = slots_[uid];
  if (slot.state == State::kNone) {
    const Node& node = document.nodes[document.children[objects_ + uid]];
    if (node.isContainer()) return make(uid, node, key, allowed);
    // What was only referred to by the way says the same as nil's place.
    if (node.type != Type::kNull && !equalsText(node, kArchiveNull)) {
      PropertyListFailure failure;
      slot.object = node.type == Type::kUID ? id() : scalarOfNode(node, failure);
      if (!slot.object) fail("Object " + std::to_string(uid) + " is none. " + failure.reason);
    }
    slot.state = State::kDone;
  }
  if (!slot.object) {
    if (slot.state == State::kDecoding) fail("Object " + std::to_string(uid) + " is a part of itself.");
    return id();
  }
  if (allowed != nullptr && !isAllowed(slot.object.class_(), allowed)) {
    failClass(key, slot.object.class_(), allowed);
    return id();
  }
  return slot.object;
}

id UnarchiverBody::make(std::uint64_t uid, const Node& node, std::string_view key, const Classes* allowed) {
  if (depth_ == kArchiveMaximumDepth) {
    fail("Objects are nested more than " + std::to_string(kArchiveMaximumDepth) + " deep.");
    return id();
  }
  const KnownClass* found = node.type == Type::kDictionary ? classOfNode(node, key) : nullptr;
  if (found == nullptr) {
    if (!error) fail("Object " + std::to_string(uid) + " has no class.");
    return id();
  }
  const KnownClass known = *found;
  if (allowed != nullptr && !isAllowed(known.cls, allowed)) {
    failClass(key, known.cls, allowed);
    return id();
  }
  if (requiresSecureCoding && !known.isSecure) {
    fail("This decoder will only decode classes that adopt NSSecureCoding. Class " + quoted(class_getName(known.cls)) +
         " does not adopt it.");
    return id();
  }
  Slot& slot = slots_[uid];
  slot.state = State::kDecoding;
  const FrameScope scope(*this, node, uid, allowed);
  id object = known.decode != nullptr ? known.decode(*this, known.cls) : makeInstance(known, slot);
  if (object && known.hasAwake && !error) object = objc_msgSend<id>(object, kAwake, id(borrow, this));
  if (error) object = id();
  slot.object = object;
  slot.state = State::kDone;
  return object;
}

id UnarchiverBody::makeInstance(const KnownClass& known, Slot& slot) {
  const id instance(adopt, class_createInstance(known.cls));
  if (!instance) {
    fail("Instances of class " + quoted(class_getName(known.cls)) + " cannot be made.");
    return id();
  }
  slot.object = instance;
  return objc_msgSend<id>(instance, kInitWithCoder, id(borrow, this));
}

// ---- classes ------------------------------------------------------------------------------------------------------

Class UnarchiverBody::classNamed(const std::string& name) const {
  if (const auto found = classes.find(name); found != classes.end()) return found->second;
  if (const Class cls = NSKeyedUnarchiver::classForClassName_class(NSString(name))) return cls;
  return objc_getClass(name);
}

const UnarchiverBody::KnownClass* UnarchiverBody::classOfNode(const Node& node, std::string_view key) {
  std::size_t last = node.size - 1;  // where writers put it
  const Node* reference = document.find(node, "$class", &last);
  if (reference == nullptr || reference->type != Type::kUID || reference->unsignedInteger >= slots_.size()) {
    return nullptr;
  }
  const std::uint64_t uid = reference->unsignedInteger;
  if (slots_[uid].knownClass != 0) return &knownClasses_[slots_[uid].knownClass - 1];
  const Node& description = document.nodes[document.children[objects_ + uid]];
  if (description.type != Type::kDictionary) return nullptr;
  const Node* name = document.find(description, "$classname");
  if (name == nullptr || !name->isText()) return nullptr;
  const std::string text = textOfNode(*name).str();
  KnownClass known;
  known.cls = classNamed(text);
  if (!known.cls) {
    fail("cannot decode object of class (" + text.substr(0, 128) + ") for key (" + std::string(key.substr(0, 128)) +
         "); the class may be defined in source code or a library that is not linked");
    return nullptr;
  }
  const Method init = class_getInstanceMethod(known.cls, kInitWithCoder);
  if (init == nullptr) {
    fail("Class " + quoted(class_getName(known.cls)) + " for key " + quoted(key) + " does not answer initWithCoder:.");
    return nullptr;
  }
  known.decode = archive::decoderOf(known.cls, method_getImplementation(init));
  known.hasAwake = class_respondsToSelector(known.cls, kAwake);
  known.isSecure = classSupportsSecureCoding(known.cls);
  knownClasses_.push_back(known);
  slots_[uid].knownClass = static_cast<std::uint32_t>(knownClasses_.size());
  return &knownClasses_.back();
}

}  // namespace kvt
