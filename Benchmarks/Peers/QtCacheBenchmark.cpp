// Qt's QCache of texts, which are counted, under a QMutex.

#include <QCache>
#include <QMutex>
#include <QMutexLocker>
#include <QString>

#include "Support/CacheSuites.h"

namespace {

class QtCache {
 public:
  using Key = QString;
  using Value = QString;
  static Key key(const std::string& text) { return QString::fromStdString(text); }
  static Value value(const std::string& text) { return QString::fromStdString(text); }

  explicit QtCache(std::size_t limit) : cache_(static_cast<qsizetype>(limit)) {}
  bool get(const Key& key) {
    QString value;
    {
      const QMutexLocker lock(&mutex_);
      // The cache may delete its object as soon as the lock is given up.
      if (const QString* found = cache_.object(key)) value = *found;
    }
    return !value.isNull();
  }
  void put(const Key& key, const Value& value) {
    auto* const own = new QString(value);
    const QMutexLocker lock(&mutex_);
    cache_.insert(key, own);
  }

 private:
  QMutex mutex_;
  QCache<QString, QString> cache_;
};

const bool registered = bench::cacheSuites<QtCache>("qt");

}  // namespace
