// The workloads' classes as a user of the library declares them.
#pragma once

#include <KVTFoundation/KVTFoundation.h>

#include "Support/Digest.h"
#include "WideFields.h"

// What a class writes that shall be copied, be compared and lie in archives.
#define COMPARED                                                    \
  kvt::id copyWithZone() const { return kvt::kvt_modelCopy(this); } \
  std::uint64_t hash() const { return kvt::kvt_modelHash(this); }   \
  bool isEqual(const kvt::id& other) const { return kvt::kvt_modelIsEqual(this, other); }
#define ARCHIVED                                                                                  \
  void encodeWithCoder(const kvt::NSCoder& coder) { kvt::kvt_modelEncodeWithCoder(this, coder); } \
  kvt::id initWithCoder(const kvt::NSCoder& coder) { return kvt::kvt_modelInitWithCoder(this, coder); }

class Address : public kvt::NSObject {
 public:
  kvt::NSString street, city, state, zip, country;
  COMPARED;
  ARCHIVED;
  KVT_MODEL(Address, street, city, state, zip, country)
};

class Phone : public kvt::NSObject {
 public:
  kvt::NSString number;
  int type = 0;
  kvt::NSString label;
  COMPARED;
  ARCHIVED;
  KVT_MODEL(Phone, number, type, label)
};

class User : public kvt::NSObject {
 public:
  int64_t id = 0;
  int age = 0, level = 0, score = 0;
  bool active = false, verified = false;
  double rating = 0;
  kvt::NSString username, first_name, last_name, email, bio, created_at;
  kvt::Ref<Address> address;
  kvt::NSArray phones;
  static kvt::NSDictionary modelContainerPropertyGenericClass() { return {{"phones", kvt::classOf<Phone>()}}; }
  COMPARED;
  ARCHIVED;
  KVT_MODEL(User, id, age, level, score, active, verified, rating, username, first_name, last_name, email, bio,
            created_at, address, phones)
};

class Hashtag : public kvt::NSObject {
 public:
  kvt::NSString text;
  kvt::NSArray indices;  // of numbers, which JSON gives without being told
  COMPARED;
  ARCHIVED;
  KVT_MODEL(Hashtag, text, indices)
};

class Url : public kvt::NSObject {
 public:
  kvt::NSString url, expanded_url, display_url;
  kvt::NSArray indices;
  COMPARED;
  ARCHIVED;
  KVT_MODEL(Url, url, expanded_url, display_url, indices)
};

class Mention : public kvt::NSObject {
 public:
  kvt::NSString screen_name, name;
  int64_t id = 0;
  kvt::NSString id_str;
  kvt::NSArray indices;
  COMPARED;
  ARCHIVED;
  KVT_MODEL(Mention, screen_name, name, id, id_str, indices)
};

class Entities : public kvt::NSObject {
 public:
  kvt::NSArray hashtags, urls, user_mentions;
  static kvt::NSDictionary modelContainerPropertyGenericClass() {
    return {{"hashtags", kvt::classOf<Hashtag>()},
            {"urls", kvt::classOf<Url>()},
            {"user_mentions", kvt::classOf<Mention>()}};
  }
  COMPARED;
  ARCHIVED;
  KVT_MODEL(Entities, hashtags, urls, user_mentions)
};

class FeedUser : public kvt::NSObject {
 public:
  int64_t id = 0;
  kvt::NSString id_str, name, screen_name, location, description, url;
  int followers_count = 0, friends_count = 0, statuses_count = 0;
  kvt::NSString created_at;
  bool verified = false, geo_enabled = false;
  kvt::NSString lang, profile_image_url;
  COMPARED;
  ARCHIVED;
  KVT_MODEL(FeedUser, id, id_str, name, screen_name, location, description, url, followers_count, friends_count,
            statuses_count, created_at, verified, geo_enabled, lang, profile_image_url)
};

class Status : public kvt::NSObject {
 public:
  kvt::NSString created_at;
  int64_t id = 0;
  kvt::NSString id_str, text, source;
  bool truncated = false;
  kvt::Ref<FeedUser> user;
  kvt::Ref<Entities> entities;
  int retweet_count = 0, favorite_count = 0;
  bool favorited = false, retweeted = false;
  kvt::NSString lang;
  COMPARED;
  ARCHIVED;
  KVT_MODEL(Status, created_at, id, id_str, text, source, truncated, user, entities, retweet_count, favorite_count,
            favorited, retweeted, lang)
};

#define MEMBER_I(name) int name = 0;
#define MEMBER_S(name) kvt::NSString name;
#define MEMBER(kind, name) MEMBER_##kind(name)
class Wide : public kvt::NSObject {
 public:
  WIDE_FIELDS(MEMBER)
  COMPARED;
  ARCHIVED;
  KVT_MODEL(Wide, WIDE_NAMES)
};
class Narrow : public kvt::NSObject {
 public:
  NARROW_FIELDS(MEMBER)
  COMPARED;
  ARCHIVED;
  KVT_MODEL(Narrow, NARROW_NAMES)
};
#undef MEMBER_I
#undef MEMBER_S
#undef MEMBER

/// The digest of a model and of an array of them, by the members themselves.
void addTo(bench::Digest& digest, const kvt::Ref<User>& user);
void addTo(bench::Digest& digest, const kvt::Ref<Status>& status);
void addTo(bench::Digest& digest, const kvt::Ref<Wide>& wide);
void addTo(bench::Digest& digest, const kvt::Ref<Narrow>& narrow);
