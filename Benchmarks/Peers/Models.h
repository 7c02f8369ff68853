// The workloads' classes as plain structs, for the peers that map by hand or at compile time. `T::fields()` lists the
// members by name and pointer, in the order of the texts.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <vector>

#include "Support/Digest.h"
#include "WideFields.h"

namespace peers {

template <class S, class M>
struct Field {
  std::string_view name;
  M S::*member;
};
template <class S, class M>
constexpr Field<S, M> field(std::string_view name, M S::*member) {
  return {name, member};
}

#define FIELD(name) ::peers::field(#name, &Self::name)

struct Address {
  std::string street, city, state, zip, country;
  bool operator==(const Address&) const = default;
  using Self = Address;
  static constexpr auto fields() {
    return std::tuple(FIELD(street), FIELD(city), FIELD(state), FIELD(zip), FIELD(country));
  }
};

struct Phone {
  std::string number;
  int type = 0;
  std::string label;
  bool operator==(const Phone&) const = default;
  using Self = Phone;
  static constexpr auto fields() { return std::tuple(FIELD(number), FIELD(type), FIELD(label)); }
};

struct User {
  std::int64_t id = 0;
  int age = 0, level = 0, score = 0;
  bool active = false, verified = false;
  double rating = 0;
  std::string username, first_name, last_name, email, bio, created_at;
  Address address;
  std::vector<Phone> phones;
  bool operator==(const User&) const = default;
  using Self = User;
  static constexpr auto fields() {
    return std::tuple(FIELD(id), FIELD(age), FIELD(level), FIELD(score), FIELD(active), FIELD(verified), FIELD(rating),
                      FIELD(username), FIELD(first_name), FIELD(last_name), FIELD(email), FIELD(bio), FIELD(created_at),
                      FIELD(address), FIELD(phones));
  }
};

struct Hashtag {
  std::string text;
  std::vector<int> indices;
  bool operator==(const Hashtag&) const = default;
  using Self = Hashtag;
  static constexpr auto fields() { return std::tuple(FIELD(text), FIELD(indices)); }
};

struct Url {
  std::string url, expanded_url, display_url;
  std::vector<int> indices;
  bool operator==(const Url&) const = default;
  using Self = Url;
  static constexpr auto fields() {
    return std::tuple(FIELD(url), FIELD(expanded_url), FIELD(display_url), FIELD(indices));
  }
};

struct Mention {
  std::string screen_name, name;
  std::int64_t id = 0;
  std::string id_str;
  std::vector<int> indices;
  bool operator==(const Mention&) const = default;
  using Self = Mention;
  static constexpr auto fields() {
    return std::tuple(FIELD(screen_name), FIELD(name), FIELD(id), FIELD(id_str), FIELD(indices));
  }
};

struct Entities {
  std::vector<Hashtag> hashtags;
  std::vector<Url> urls;
  std::vector<Mention> user_mentions;
  bool operator==(const Entities&) const = default;
  using Self = Entities;
  static constexpr auto fields() { return std::tuple(FIELD(hashtags), FIELD(urls), FIELD(user_mentions)); }
};

struct FeedUser {
  std::int64_t id = 0;
  std::string id_str, name, screen_name, location, description, url;
  int followers_count = 0, friends_count = 0, statuses_count = 0;
  std::string created_at;
  bool verified = false, geo_enabled = false;
  std::string lang, profile_image_url;
  bool operator==(const FeedUser&) const = default;
  using Self = FeedUser;
  static constexpr auto fields() {
    return std::tuple(FIELD(id), FIELD(id_str), FIELD(name), FIELD(screen_name), FIELD(location), FIELD(description),
                      FIELD(url), FIELD(followers_count), FIELD(friends_count), FIELD(statuses_count),
                      FIELD(created_at), FIELD(verified), FIELD(geo_enabled), FIELD(lang), FIELD(profile_image_url));
  }
};

struct Status {
  std::string created_at;
  std::int64_t id = 0;
  std::string id_str, text, source;
  bool truncated = false;
  FeedUser user;
  Entities entities;
  int retweet_count = 0, favorite_count = 0;
  bool favorited = false, retweeted = false;
  std::string lang;
  bool operator==(const Status&) const = default;
  using Self = Status;
  static constexpr auto fields() {
    return std::tuple(FIELD(created_at), FIELD(id), FIELD(id_str), FIELD(text), FIELD(source), FIELD(truncated),
                      FIELD(user), FIELD(entities), FIELD(retweet_count), FIELD(favorite_count), FIELD(favorited),
                      FIELD(retweeted), FIELD(lang));
  }
};
using Feed = std::vector<Status>;

#define MEMBER_I(name) int name = 0;
#define MEMBER_S(name) std::string name;
#define MEMBER(kind, name) MEMBER_##kind(name)
#define LISTED(kind, name) std::tuple(FIELD(name)),
struct Wide {
  WIDE_FIELDS(MEMBER)
  bool operator==(const Wide&) const = default;
  using Self = Wide;
  static constexpr auto fields() { return std::tuple_cat(WIDE_FIELDS(LISTED) std::tuple()); }
};
struct Narrow {
  NARROW_FIELDS(MEMBER)
  bool operator==(const Narrow&) const = default;
  using Self = Narrow;
  static constexpr auto fields() { return std::tuple_cat(NARROW_FIELDS(LISTED) std::tuple()); }
};
#undef MEMBER_I
#undef MEMBER_S
#undef MEMBER
#undef LISTED
#undef FIELD

template <class T>
inline constexpr bool isList = false;
template <class T>
inline constexpr bool isList<std::vector<T>> = true;
template <class T>
concept Model = requires {
  T::fields();
};

/// `T::fields()`, made by the compiler.
template <Model T>
inline constexpr auto fieldsOf = T::fields();

/// Calls `visit(name, member)` for each member of a model.
template <class T, class F>
void visitFields(T& object, F&& visit) {
  std::apply([&](const auto&... each) { (visit(each.name, object.*each.member), ...); },
             fieldsOf<std::remove_const_t<T>>);
}

/// Calls `visit(name, pointer to member)` for each member of a class.
template <Model T, class F>
void visitFieldPointers(F&& visit) {
  std::apply([&](const auto&... each) { (visit(each.name, each.member), ...); }, fieldsOf<T>);
}

/// What a hash written by hand comes to: of all members, nothing kept.
template <class T>
std::size_t hashOf(const T& value) {
  if constexpr (isList<T>) {
    std::size_t hash = value.size();
    for (const auto& each : value) hash = hash * 31 + hashOf(each);
    return hash;
  } else if constexpr (Model<T>) {
    std::size_t hash = 0;
    visitFields(value, [&](std::string_view, const auto& member) { hash = hash * 31 + hashOf(member); });
    return hash;
  } else {
    return std::hash<T>()(value);
  }
}

template <class T>
void addTo(bench::Digest& digest, const T& value) {
  if constexpr (std::is_same_v<T, std::string>) {
    digest.text(value);
  } else if constexpr (std::is_arithmetic_v<T>) {
    digest.number(value);
  } else if constexpr (isList<T>) {
    digest.number(value.size());
    for (const auto& each : value) addTo(digest, each);
  } else {
    visitFields(value, [&](std::string_view, const auto& member) { addTo(digest, member); });
  }
}

template <class T>
std::uint64_t digestOf(const T& value) {
  bench::Digest digest;
  addTo(digest, value);
  return digest.value();
}

}  // namespace peers
