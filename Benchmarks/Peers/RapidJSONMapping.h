// RapidJSON with a mapping written by hand. Its reading also serves as the judge of what others write.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#ifdef __SSE4_2__
#define RAPIDJSON_SSE42
#else
#define RAPIDJSON_SSE2
#endif
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "Peers/FieldTable.h"
#include "Peers/Workloads.h"

namespace peers::rapid {

template <class T>
void get(const rapidjson::Value& value, T& into) {
  if constexpr (std::is_same_v<T, std::string>) {
    into.assign(value.GetString(), value.GetStringLength());
  } else if constexpr (std::is_same_v<T, bool>) {
    into = value.GetBool();
  } else if constexpr (std::is_same_v<T, double>) {
    into = value.GetDouble();
  } else if constexpr (std::is_same_v<T, std::int64_t>) {
    into = value.GetInt64();
  } else if constexpr (std::is_same_v<T, int>) {
    into = value.GetInt();
  } else if constexpr (isList<T>) {
    const auto array = value.GetArray();
    into.resize(array.Size());
    std::size_t i = 0;
    for (const auto& each : array) get(each, into[i++]);
  } else {
    std::size_t next = 0;
    for (const auto& each : value.GetObject()) {
      next = FieldTable<T>::visit(into, {each.name.GetString(), each.name.GetStringLength()}, next,
                                  [&](auto& member) { get(each.value, member); });
    }
  }
}

template <class Writer, class T>
void put(Writer& writer, const T& value) {
  if constexpr (std::is_same_v<T, std::string>) {
    writer.String(value.data(), static_cast<rapidjson::SizeType>(value.size()));
  } else if constexpr (std::is_same_v<T, bool>) {
    writer.Bool(value);
  } else if constexpr (std::is_same_v<T, double>) {
    writer.Double(value);
  } else if constexpr (std::is_same_v<T, std::int64_t>) {
    writer.Int64(value);
  } else if constexpr (std::is_same_v<T, int>) {
    writer.Int(value);
  } else if constexpr (isList<T>) {
    writer.StartArray();
    for (const auto& each : value) put(writer, each);
    writer.EndArray();
  } else {
    writer.StartObject();
    visitFields(value, [&](std::string_view name, const auto& member) {
      writer.Key(name.data(), static_cast<rapidjson::SizeType>(name.size()));
      put(writer, member);
    });
    writer.EndObject();
  }
}

/// Parses in place, in a copy of the text, into memory that is kept: as its manual advises, and the quickest of its
/// ways.
class Parser {
 public:
  template <class F>
  void parse(const std::string& text, F&& use) {
    copy_ = text;
    rapidjson::MemoryPoolAllocator<> values(values_, sizeof values_);
    rapidjson::MemoryPoolAllocator<> stack(stack_, sizeof stack_);
    rapidjson::GenericDocument<rapidjson::UTF8<>, rapidjson::MemoryPoolAllocator<>, rapidjson::MemoryPoolAllocator<>>
        document(&values, sizeof stack_ / 2, &stack);
    document.ParseInsitu(copy_.data());
    use(document);
  }
  template <class T>
  T read(const std::string& text) {
    T object;
    parse(text, [&](const auto& document) { get(document, object); });
    return object;
  }

 private:
  std::string copy_;
  char values_[64 * 1024];
  char stack_[16 * 1024];
};

/// What `fill(writer)` writes into new memory, which is as large as the last text of the kind T needed.
template <class T, class F>
rapidjson::StringBuffer writeWith(F&& fill) {
  static std::size_t lastSize = 0;
  rapidjson::StringBuffer buffer(nullptr, lastSize + lastSize / 8 + 256);
  rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
  fill(writer);
  lastSize = buffer.GetSize();
  return buffer;
}
template <class T>
rapidjson::StringBuffer write(const T& object) {
  return writeWith<T>([&](auto& writer) { put(writer, object); });
}

}  // namespace peers::rapid

namespace peers {

/// Notes the digest of what RapidJSON finds in `write(each)` for all objects; `T` is the struct for it.
template <class T, class Objects, class F>
void checkWritten(const bench::Suite& suite, const Objects& objects, F write, const char* what = "written") {
  std::vector<T> found;
  for (const auto& each : objects) {
    const std::string text = write(each);
    rapidjson::Document document;
    document.Parse(text.data(), text.size());
    if (document.HasParseError()) suite.fail("what was written is no JSON");
    found.emplace_back();
    rapid::get(document, found.back());
  }
  suite.digest(digestOfAll(found), what);
}
template <class T, class F>
void checkWritten(const bench::Suite& suite, const std::vector<T>& objects, F write) {
  checkWritten<T, std::vector<T>>(suite, objects, write);
}

}  // namespace peers
