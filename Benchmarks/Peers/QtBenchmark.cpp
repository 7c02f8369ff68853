// Qt 6, run-time reflection: QJsonDocument's tree, and properties of gadgets read and written through QMetaProperty.
// What a class's meta-object says is kept in a plan, made once; nothing here knows a class, except that the lists'
// types must be named.

#include <QByteArray>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QList>
#include <QMetaProperty>
#include <QMetaSequence>
#include <QString>
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "Peers/RapidJSONMapping.h"
#include "Peers/Workloads.h"
#include "QtModels.h"

namespace peers {
namespace {

enum class Kind { kInt, kInt64, kBool, kDouble, kString, kModel, kInts, kModels };

struct Plan;
struct Property {
  QMetaProperty meta;
  QString key;
  QMetaType type;
  Kind kind;
  QMetaSequence list;          // of lists
  const Plan* plan = nullptr;  // of models, and of lists' elements
};
struct Plan {
  std::vector<Property> properties;
  QHash<QString, qsizetype> byKey;
};

QHash<int, QMetaSequence>& lists() {
  static QHash<int, QMetaSequence> all;
  return all;
}
template <class L>
void registerList() {
  lists()[QMetaType::fromType<L>().id()] = QMetaSequence::fromContainer<L>();
}

const Plan* planOf(const QMetaObject* meta) {
  static QHash<const QMetaObject*, Plan*> plans;
  if (const Plan* known = plans.value(meta)) return known;
  Plan* const plan = plans[meta] = new Plan;
  for (int i = 0; i < meta->propertyCount(); ++i) {
    Property each{meta->property(i),
                  QString::fromLatin1(meta->property(i).name()),
                  meta->property(i).metaType(),
                  Kind::kModel,
                  QMetaSequence(),
                  nullptr};
    switch (each.type.id()) {
      case QMetaType::Int: each.kind = Kind::kInt; break;
      case QMetaType::LongLong: each.kind = Kind::kInt64; break;
      case QMetaType::Bool: each.kind = Kind::kBool; break;
      case QMetaType::Double: each.kind = Kind::kDouble; break;
      case QMetaType::QString: each.kind = Kind::kString; break;
      default:
        if (lists().contains(each.type.id())) {
          each.list = lists()[each.type.id()];
          const QMetaType element = each.list.valueMetaType();
          each.kind = element.id() == QMetaType::Int ? Kind::kInts : Kind::kModels;
          if (each.kind == Kind::kModels) each.plan = planOf(element.metaObject());
        } else {
          each.plan = planOf(each.type.metaObject());
        }
    }
    plan->properties.push_back(std::move(each));
  }
  // In the order of the keys, which is that of Qt's objects, members are added at the end.
  std::sort(plan->properties.begin(), plan->properties.end(),
            [](const Property& a, const Property& b) { return a.key < b.key; });
  for (std::size_t i = 0; i < plan->properties.size(); ++i) {
    plan->byKey[plan->properties[i].key] = static_cast<qsizetype>(i);
  }
  return plan;
}

void set(void* gadget, const Property& property, const QJsonValue& value);

/// By the shorter way: the object's members to their properties, or the properties to their members.
void fill(void* gadget, const Plan& plan, const QJsonObject& object) {
  if (object.size() < static_cast<qsizetype>(plan.properties.size())) {
    for (auto at = object.constBegin(); at != object.constEnd(); ++at) {
      const auto found = plan.byKey.constFind(at.key());
      if (found != plan.byKey.constEnd()) set(gadget, plan.properties[static_cast<std::size_t>(*found)], at.value());
    }
  } else {
    for (const Property& each : plan.properties) {
      const auto found = object.constFind(each.key);
      if (found != object.constEnd()) set(gadget, each, found.value());
    }
  }
}

void set(void* gadget, const Property& property, const QJsonValue& value) {
  QVariant converted;
  switch (property.kind) {
    case Kind::kInt: converted = value.toInt(); break;
    case Kind::kInt64: converted = static_cast<qlonglong>(value.toInteger()); break;
    case Kind::kBool: converted = value.toBool(); break;
    case Kind::kDouble: converted = value.toDouble(); break;
    case Kind::kString: converted = value.toString(); break;
    case Kind::kModel:
      converted = QVariant(property.type);
      fill(converted.data(), *property.plan, value.toObject());
      break;
    case Kind::kInts:
    case Kind::kModels:
      converted = QVariant(property.type);
      for (const auto element : value.toArray()) {
        if (property.kind == Kind::kInts) {
          const int number = element.toInt();
          property.list.addValueAtEnd(converted.data(), &number);
        } else {
          QVariant model(property.list.valueMetaType());
          fill(model.data(), *property.plan, element.toObject());
          property.list.addValueAtEnd(converted.data(), model.constData());
        }
      }
      break;
  }
  property.meta.writeOnGadget(gadget, std::move(converted));
}

QJsonObject toJSON(const void* gadget, const Plan& plan) {
  QJsonObject object;
  for (const Property& property : plan.properties) {
    const QVariant value = property.meta.readOnGadget(gadget);
    const void* const data = value.constData();
    switch (property.kind) {
      case Kind::kInt: object.insert(property.key, *static_cast<const int*>(data)); break;
      case Kind::kInt64: object.insert(property.key, *static_cast<const qlonglong*>(data)); break;
      case Kind::kBool: object.insert(property.key, *static_cast<const bool*>(data)); break;
      case Kind::kDouble: object.insert(property.key, *static_cast<const double*>(data)); break;
      case Kind::kString: object.insert(property.key, *static_cast<const QString*>(data)); break;
      case Kind::kModel: object.insert(property.key, toJSON(data, *property.plan)); break;
      case Kind::kInts:
      case Kind::kModels: {
        QJsonArray array;
        const qsizetype count = property.list.size(data);
        for (qsizetype i = 0; i < count; ++i) {
          if (property.kind == Kind::kInts) {
            int number = 0;
            property.list.valueAtIndex(data, i, &number);
            array.append(number);
          } else {
            QVariant element(property.list.valueMetaType());
            property.list.valueAtIndex(data, i, element.data());
            array.append(toJSON(element.constData(), *property.plan));
          }
        }
        object.insert(property.key, array);
      }
    }
  }
  return object;
}

template <class T>
const Plan& planOf() {
  return *planOf(&T::staticMetaObject);
}

template <class T>
void read(T& object, const QByteArray& text) {
  fill(&object, planOf<T>(), QJsonDocument::fromJson(text).object());
}
template <class T>
void read(QList<T>& objects, const QByteArray& text) {
  const QJsonArray array = QJsonDocument::fromJson(text).array();
  objects.resize(array.size());
  T* at = objects.data();
  for (const auto each : array) fill(at++, planOf<T>(), each.toObject());
}

template <class T>
QByteArray write(const T& object) {
  return QJsonDocument(toJSON(&object, planOf<T>())).toJson(QJsonDocument::Compact);
}
template <class T>
QByteArray write(const QList<T>& objects) {
  QJsonArray array;
  for (const T& each : objects) array.append(toJSON(&each, planOf<T>()));
  return QJsonDocument(array).toJson(QJsonDocument::Compact);
}

/// `T` is Qt's, `Twin` the other peers': what is read is judged by what RapidJSON finds in what is written from it.
template <class T, class Twin>
void registerWorkload(std::string_view workload) {
  bench::suite("qt", std::string(workload), [workload](bench::Suite& suite) {
    registerList<QList<int>>();
    registerList<QList<QPhone>>();
    registerList<QList<QHashtag>>();
    registerList<QList<QLink>>();
    registerList<QList<QMention>>();
    const bench::Texts source = bench::textsOf(workload);
    const auto texts = std::make_shared<std::vector<QByteArray>>();
    for (const std::string& each : *source) texts->emplace_back(each.data(), static_cast<qsizetype>(each.size()));
    const auto read = [](const QByteArray& text) {
      T object;
      peers::read(object, text);
      return object;
    };
    suite.op("read", texts, read);
    suite.op("tree", texts, [](const QByteArray& text) { return QJsonDocument::fromJson(text); });
    const auto objects = std::make_shared<std::vector<T>>();
    for (const QByteArray& each : *texts) objects->push_back(read(each));
    const auto write = [](const T& object) { return peers::write(object); };
    checkWritten<Twin>(suite, *objects, [write](const T& object) { return write(object).toStdString(); });
    if (bench::isWritten(workload)) suite.op("write", objects, write);
  });
}

template <class Twin>
struct OfTwin;
template <>
struct OfTwin<User> {
  using Type = QUser;
};
template <>
struct OfTwin<Feed> {
  using Type = QList<QStatus>;
};
template <>
struct OfTwin<Wide> {
  using Type = QWide;
};
template <>
struct OfTwin<Narrow> {
  using Type = QNarrow;
};

const bool registered = forEachWorkload(
    []<class Twin>(std::string_view workload) { registerWorkload<typename OfTwin<Twin>::Type, Twin>(workload); });

}  // namespace
}  // namespace peers
