#!/usr/bin/env python3
"""Makes the benchmarks' data from fixed seeds.

    generate.py FOLDER          texts (*.json), digests.txt, WideFields.h and QtModels.h

digests.txt holds what every peer must find in the objects that it reads: `workload digest`, computed here from the values
themselves. The two texts of 10 and 100 MB have no line in it (this would take minutes); there the peers are held against
each other.
"""
import json
import os
import random
import sys

MASK = (1 << 64) - 1


def compact(value):
    return json.dumps(value, ensure_ascii=False, separators=(",", ":"))


# ---- W1: one user -----------------------------------------------------------------------------------------------------

W1 = dict(
    id=9007199254740, age=37, level=12, score=-48213, active=True, verified=False, rating=4.8125,
    username="marguerite.d", first_name="Marguerite", last_name="D\u00fcr\u00f4m-\u5c71\u7530",
    email="marguerite.durom@example.org",
    bio="Keeps bees, reads maps, and writes about the small railways of the north.",
    created_at="2023-11-04T09:31:27Z",
    address=dict(street="1184 Old Harbour Road", city="Fredriksberg", state="Vestland", zip="N-5063", country="Norway"),
    phones=[dict(number="+47 555 01 234", type=1, label="home"), dict(number="+47 555 09 876", type=2, label="mobile"),
            dict(number="+47 555 44 100", type=3, label="work office")])

# ---- W2: a feed of statuses -------------------------------------------------------------------------------------------

EN = ("the of light river a morning paper stone and quiet market train north letter to window garden under seven small road "
      "blue we music after long winter coffee city house open field at harbour new old walk read story line").split()
JA = ["今日は", "良い天気", "ですね", "東京", "電車", "本を読む", "山の上", "音楽", "友達と", "早く寝る"]
EMOJI = ["\U0001F600", "\U0001F68B", "\u2615", "\u2603", "\U0001F3B5"]
MONTHS = "Jan Feb Mar Apr May Jun Jul Aug Sep Oct Nov Dec".split()
DAYS = "Mon Tue Wed Thu Fri Sat Sun".split()
LANGUAGES = ["en", "ja", "fr", "nb"]


class Feed:
    """Statuses as a news feed has them: a third of the texts Japanese, some emoji, a few escapes."""

    def __init__(self, seed):
        self.random = random.Random(seed)

    def date(self):
        r = self.random
        return "%s %s %02d %02d:%02d:%02d +0000 %d" % (
            r.choice(DAYS), r.choice(MONTHS), r.randint(1, 28), r.randint(0, 23), r.randint(0, 59), r.randint(0, 59),
            r.randint(2008, 2023))

    def sentence(self, words):
        r = self.random
        japanese = r.random() < 0.3
        parts = [r.choice(JA) if japanese else r.choice(EN) for _ in range(words)]
        if r.random() < 0.2:
            parts.append(r.choice(EMOJI))
        text = ("" if japanese else " ").join(parts)
        if r.random() < 0.12:
            text += "\n" + r.choice(EN)
        if r.random() < 0.08:
            text = '"' + text + '"'
        return text

    def line(self, words):
        return self.sentence(words).replace("\n", " ")

    def word(self, size):
        return "".join(self.random.choice("abcdefghijklmnopqrstuvwxyz0123456789_") for _ in range(size))

    def indices(self):
        start = self.random.randint(0, 100)
        return [start, start + self.random.randint(3, 20)]

    def user(self):
        r = self.random
        number = r.randint(10_000_000, 3_000_000_000)
        screen_name = self.word(r.randint(6, 14))
        return dict(
            id=number, id_str=str(number), name=self.line(2), screen_name=screen_name,
            location=self.sentence(r.randint(0, 2)), description=self.sentence(r.randint(3, 14)),
            url="http://t.co/" + self.word(10) if r.random() < .5 else "", followers_count=r.randint(0, 90000),
            friends_count=r.randint(0, 5000), statuses_count=r.randint(0, 200000), created_at=self.date(),
            verified=r.random() < .05, geo_enabled=r.random() < .4, lang=r.choice(LANGUAGES),
            profile_image_url="http://pbs.twimg.com/profile_images/%d/%s_normal.jpeg" % (
                r.randint(10**17, 9 * 10**17), self.word(8)))

    def url(self):
        word = self.word(10)
        return dict(url="http://t.co/" + word, expanded_url="http://www.example.com/%s/%s" % (self.word(6), word),
                    display_url="example.com/" + self.word(6), indices=self.indices())

    def mention(self):
        screen_name, name = self.word(10), self.line(1)
        number = self.random.randint(10**7, 3 * 10**9)
        return dict(screen_name=screen_name, name=name, id=number, id_str=str(number), indices=self.indices())

    def status(self):
        r = self.random
        number = r.randint(5 * 10**17, 9 * 10**17)
        entities = dict(
            hashtags=[dict(text=r.choice(EN), indices=self.indices()) for _ in range(r.choice([0, 0, 0, 1, 2]))],
            urls=[self.url() for _ in range(r.choice([0, 0, 1]))],
            user_mentions=[self.mention() for _ in range(r.choice([0, 0, 1, 1, 2]))])
        source = '<a href="http://twitter.com/download/%s" rel="nofollow">Twitter for %s</a>'
        return dict(
            created_at=self.date(), id=number, id_str=str(number), text=self.sentence(r.randint(5, 18)),
            source=source % (("iphone", "iPhone") if r.random() < .5 else ("android", "Android")),
            truncated=False, user=self.user(), entities=entities, retweet_count=r.randint(0, 3000),
            favorite_count=r.randint(0, 3000), favorited=r.random() < .2, retweeted=r.random() < .2,
            lang=r.choice(LANGUAGES))


def shuffled(value, r):
    """The same value, the keys of each object in an order of its own."""
    if isinstance(value, dict):
        keys = list(value)
        r.shuffle(keys)
        return {key: shuffled(value[key], r) for key in keys}
    if isinstance(value, list):
        return [shuffled(each, r) for each in value]
    return value


# ---- W1x256: users that differ ----------------------------------------------------------------------------------------

def many_users(count):
    feed = Feed(256)
    r = feed.random
    users = []
    for _ in range(count):
        users.append(dict(
            id=r.randint(1, 10**r.randint(2, 15)), age=r.randint(0, 99), level=r.randint(-3, 40),
            score=r.randint(-10**6, 10**6), active=r.random() < .7, verified=r.random() < .2,
            rating=r.randint(-9 * 10**5, 9 * 10**5) / 10.0**r.randint(1, 5),
            username=feed.word(r.randint(3, 18)), first_name=feed.line(1), last_name=feed.line(r.randint(1, 2)),
            email=feed.word(r.randint(4, 20)) + "@example.org", bio=feed.sentence(r.randint(0, 30)),
            created_at="20%02d-%02d-%02dT%02d:%02d:%02dZ" % (
                r.randint(0, 23), r.randint(1, 12), r.randint(1, 28), r.randint(0, 23), r.randint(0, 59), r.randint(0, 59)),
            address=dict(street="%d %s" % (r.randint(1, 4000), feed.line(r.randint(1, 4))), city=feed.line(1),
                         state=feed.word(r.randint(2, 12)), zip="N-%04d" % r.randint(0, 9999), country=feed.word(r.randint(4, 10))),
            phones=[dict(number="+47 %03d %02d %03d" % (r.randint(0, 999), r.randint(0, 99), r.randint(0, 999)),
                         type=r.randint(1, 9), label=feed.word(r.randint(3, 12))) for _ in range(r.randint(0, 6))]))
    return users


# ---- W4: a wide class and a narrow one --------------------------------------------------------------------------------

def wide_fields():
    """(kind, name) of 100 members, I for int and S for text, and the ten of them that the narrow class has."""
    nouns = "shipping billing account order customer product vendor invoice payment delivery".split()
    kinds = "name code total status street city count level note ref".split()
    names = [noun + "_" + kind for noun in nouns for kind in kinds]
    random.Random(4).shuffle(names)
    wide = [("I" if i % 2 else "S", name) for i, name in enumerate(names)]
    narrow = [wide[i] for i in range(3, 100, 5) if i % 20 in (3, 8)]
    return wide, narrow


def wide_header(wide, narrow):
    lines = ["// Made by generate.py: the members of the wide class and of the narrow one. X(kind, name), I for int, S for text.",
             "#pragma once"]
    for name, fields in (("WIDE", wide), ("NARROW", narrow)):
        lines.append("#define %s_FIELDS(X) %s" % (name, " ".join("X(%s, %s)" % each for each in fields)))
        lines.append("#define %s_NAMES %s" % (name, ", ".join(each for _, each in fields)))
    return "\n".join(lines) + "\n"


QT_CLASSES = """
QAddress: QString street, city, state, zip, country
QPhone: QString number; int type; QString label
QUser: qlonglong id; int age, level, score; bool active, verified; double rating;
    QString username, first_name, last_name, email, bio, created_at; QAddress address; QList<QPhone> phones
QHashtag: QString text; QList<int> indices
QLink: QString url, expanded_url, display_url; QList<int> indices
QMention: QString screen_name, name; qlonglong id; QString id_str; QList<int> indices
QEntities: QList<QHashtag> hashtags; QList<QLink> urls; QList<QMention> user_mentions
QFeedUser: qlonglong id; QString id_str, name, screen_name, location, description, url;
    int followers_count, friends_count, statuses_count; QString created_at; bool verified, geo_enabled;
    QString lang, profile_image_url
QStatus: QString created_at; qlonglong id; QString id_str, text, source; bool truncated; QFeedUser user; QEntities entities;
    int retweet_count, favorite_count; bool favorited, retweeted; QString lang
"""


def qt_header(wide, narrow):
    """Classes that Qt's meta-object compiler reads; it takes no member from a macro."""
    classes = {}
    for name, body in (line.split(": ") for line in QT_CLASSES.strip().replace("\n    ", " ").split("\n")):
        members = classes[name] = []
        for declaration in body.split(";"):
            type_, names = declaration.strip().split(" ", 1)
            members += [(type_, each.strip()) for each in names.split(",")]
    types = {"I": "int", "S": "QString"}
    classes["QWide"] = [(types[kind], each) for kind, each in wide]
    classes["QNarrow"] = [(types[kind], each) for kind, each in narrow]

    text = "// Made by generate.py: the workloads' classes with properties for Qt's meta-object system.\n#pragma once\n"
    text += "".join("#include <%s>\n" % each for each in ("QList", "QMetaType", "QObject", "QString"))
    for name, members in classes.items():
        text += "\nstruct %s {\n  Q_GADGET\n" % name
        text += "".join("  Q_PROPERTY(%s %s MEMBER %s)\n" % (type_, each, each) for type_, each in members) + " public:\n"
        text += "".join("  %s %s{};\n" % member for member in members)
        text += "  bool operator==(const %s&) const = default;\n};\nQ_DECLARE_METATYPE(%s)\n" % (name, name)
    return text


# ---- digests ----------------------------------------------------------------------------------------------------------

class Digest:
    """As Digest in Digest.h: depends on every value and on their order."""

    def __init__(self):
        self.value = 1469598103934665603

    def mix(self, number):
        self.value = ((self.value ^ (number & MASK)) * 1099511628211) & MASK

    def add(self, value):
        if isinstance(value, str):
            data = value.encode()
            for byte in data:
                self.mix(byte)
            self.mix(len(data))
        elif isinstance(value, float):
            self.mix(int(value * 1e6))
        elif isinstance(value, int):
            self.mix(int(value))
        elif isinstance(value, list):
            self.mix(len(value))
            for each in value:
                self.add(each)
        else:
            for each in value.values():
                self.add(each)
        return self


def digest_of(value):
    return Digest().add(value).value


# ---- all together -----------------------------------------------------------------------------------------------------

def main(folder):
    os.makedirs(folder, exist_ok=True)

    def put(name, text):
        with open(os.path.join(folder, name), "w", encoding="utf-8") as file:
            file.write(text)

    def grown(bytes_wanted, seed):
        feed, parts, size = Feed(seed), [], 2
        while size < bytes_wanted:
            parts.append(compact(feed.status()))
            size += len(parts[-1].encode()) + 1
        return "[" + ",".join(parts) + "]"

    feed = Feed(20240607)
    statuses = [feed.status() for _ in range(1000)]
    users = many_users(256)
    wide, narrow = wide_fields()
    values = {name: (feed.random.randint(-5000, 5000000) if kind == "I" else feed.line(feed.random.randint(1, 4)))
              for kind, name in wide}
    narrow_values = {name: values[name] for _, name in narrow}

    put("W1.json", compact(W1))
    put("W2.json", compact(statuses))
    put("W4a.json", compact(narrow_values))  # 10 keys, for the class with 100 members
    put("W4b.json", compact(values))         # 100 keys, for the class with 10 members
    put("W1x256.json", "\n".join(compact(user) for user in users))
    put("W2shuffled.json", compact(shuffled(statuses, random.Random(7))))
    put("W2pretty.json", json.dumps(statuses, ensure_ascii=False, indent=2))
    put("W2x10MB.json", grown(10**7, 10))
    put("W2x100MB.json", grown(10**8, 100))
    put("WideFields.h", wide_header(wide, narrow))
    put("QtModels.h", qt_header(wide, narrow))

    feed_digest = digest_of(statuses)
    digests = {
        "W1": digest_of(W1), "W2": feed_digest, "W2shuffled": feed_digest, "W2pretty": feed_digest,
        "W4a": digest_of({name: narrow_values.get(name, 0 if kind == "I" else "") for kind, name in wide}),
        "W4b": digest_of(narrow_values), "W1x256": digest_of(users)}
    put("digests.txt", "".join("%s 0x%016x\n" % each for each in digests.items()))


main(sys.argv[1])
