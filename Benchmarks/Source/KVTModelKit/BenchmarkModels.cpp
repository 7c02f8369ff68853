#include "BenchmarkModels.h"

using namespace kvt;
using bench::Digest;

namespace {

void add(Digest& digest, const NSString& text) { digest.text(text.utf8()); }
template <class T>
requires std::is_arithmetic_v<T>
void add(Digest& digest, T number) { digest.number(number); }
/// Of numbers.
void add(Digest& digest, const NSArray& indices) {
  digest.number(indices.count());
  for (const id& each : indices) digest.number(each.as<NSNumber>().longLongValue());
}

template <class... T>
void addAll(Digest& digest, const T&... values) {
  (add(digest, values), ...);
}

template <class T, class F>
void addEach(Digest& digest, const NSArray& models, F addOne) {
  digest.number(models.count());
  for (const id& each : models) addOne(each.as<T>());
}

}  // namespace

void addTo(Digest& digest, const Ref<User>& u) {
  addAll(digest, u->id, u->age, u->level, u->score, u->active, u->verified, u->rating, u->username, u->first_name,
         u->last_name, u->email, u->bio, u->created_at);
  const Ref<Address>& a = u->address;
  addAll(digest, a->street, a->city, a->state, a->zip, a->country);
  addEach<Phone>(digest, u->phones, [&](const Ref<Phone>& p) { addAll(digest, p->number, p->type, p->label); });
}

void addTo(Digest& digest, const Ref<Status>& s) {
  addAll(digest, s->created_at, s->id, s->id_str, s->text, s->source, s->truncated);
  const Ref<FeedUser>& u = s->user;
  addAll(digest, u->id, u->id_str, u->name, u->screen_name, u->location, u->description, u->url, u->followers_count,
         u->friends_count, u->statuses_count, u->created_at, u->verified, u->geo_enabled, u->lang,
         u->profile_image_url);
  addEach<Hashtag>(digest, s->entities->hashtags, [&](const Ref<Hashtag>& h) { addAll(digest, h->text, h->indices); });
  addEach<Url>(digest, s->entities->urls, [&](const Ref<Url>& url) {
    addAll(digest, url->url, url->expanded_url, url->display_url, url->indices);
  });
  addEach<Mention>(digest, s->entities->user_mentions, [&](const Ref<Mention>& m) {
    addAll(digest, m->screen_name, m->name, m->id, m->id_str, m->indices);
  });
  addAll(digest, s->retweet_count, s->favorite_count, s->favorited, s->retweeted, s->lang);
}

#define ADD(kind, name) add(digest, each->name);
void addTo(Digest& digest, const Ref<Wide>& each) { WIDE_FIELDS(ADD) }
void addTo(Digest& digest, const Ref<Narrow>& each) { NARROW_FIELDS(ADD) }
#undef ADD
