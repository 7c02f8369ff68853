"""Keyed archives made and read without the library, on nothing but Python's plistlib: the format's other opinion.

keyed_archive.py make SEED N FILE   writes N random object graphs as archives, and prints what each one is
keyed_archive.py check FILE         holds each archive in the file against the rules of the format, and prints what it
                                    is, or "bad: " and the rule that it breaks

A file holds for each archive its size in bytes in decimal, a line end, and its bytes. What a graph is: scalars as
canonical.py writes them, and
  nil n U<hex>               nil, null, URL
  #k=M<hex> #k=m<hex>        mutable text, mutable data
  #k=A[..] #k=H{..} #k=S(..) array, dictionary and set, in their order; with a lower-case letter the mutable ones
  #k=P{..}                   a Person: name, age, best friend, friends
Objects that have an identity are numbered as they are met; where one is met again it is #k alone.
"""
import plistlib
import random
import sys

import canonical
from plistlib import UID

# Of each class: the classes above it, and the keys of its objects. Keys with a "*" hold arrays of references, those with
# a "-" values in place, the others references.
FORMS = {
    "NSString": (["NSObject"], ["-NS.string"]),
    "NSMutableString": (["NSString", "NSObject"], ["-NS.string"]),
    "NSMutableData": (["NSData", "NSObject"], ["-NS.data"]),
    "NSDate": (["NSObject"], ["-NS.time"]),
    "NSNull": (["NSObject"], []),
    "NSURL": (["NSObject"], ["NS.base", "NS.relative"]),
    "NSArray": (["NSObject"], ["*NS.objects"]),
    "NSMutableArray": (["NSArray", "NSObject"], ["*NS.objects"]),
    "NSDictionary": (["NSObject"], ["*NS.keys", "*NS.objects"]),
    "NSMutableDictionary": (["NSDictionary", "NSObject"], ["*NS.keys", "*NS.objects"]),
    "NSSet": (["NSObject"], ["*NS.objects"]),
    "NSMutableSet": (["NSSet", "NSObject"], ["*NS.objects"]),
    "OraclePerson": (["NSObject"], ["name", "-age", "best", "friends"]),
}
IN_PLACE = {"NS.string": str, "NS.data": bytes, "NS.time": float, "age": int}
SIGNS = {"NSArray": "A[]", "NSMutableArray": "a[]", "NSSet": "S()", "NSMutableSet": "s()",
         "NSDictionary": "H{}", "NSMutableDictionary": "h{}", "OraclePerson": "P{}"}


class Thing:
    """An object that has a class."""

    def __init__(self, cls, **values):
        self.cls = cls
        self.values = {key.replace("_", "."): value for key, value in values.items()}


def text(value):
    return canonical.meaning(value)[1:]


def describe(value, numbers):
    if value is None:
        return "nil"
    if not isinstance(value, Thing):
        return canonical.meaning(value)
    values = value.values
    if value.cls == "NSNull":
        return "n"
    if value.cls == "NSDate":
        return "D" + canonical.bits(values["NS.time"])
    if value.cls == "NSURL":
        return "U" + text(values["NS.relative"])
    if value.cls == "NSString":
        return canonical.meaning(values["NS.string"])
    if value in numbers:
        return "#%d" % numbers[value]
    numbers[value] = len(numbers)
    start = "#%d=" % numbers[value]
    if value.cls == "NSMutableString":
        return start + "M" + text(values["NS.string"])
    if value.cls == "NSMutableData":
        return start + "m" + text(values["NS.data"])
    sign = SIGNS[value.cls]
    if sign[0] in "Hh":
        pairs = zip(values["NS.keys"], values["NS.objects"])
        parts = [describe(key, numbers) + ":" + describe(each, numbers) for key, each in pairs]
    elif sign[0] == "P":
        parts = [describe(values[key], numbers) for key in ("name", "age", "best", "friends")]
    else:
        parts = [describe(each, numbers) for each in values["NS.objects"]]
    return start + sign[:2] + "".join(part + "," for part in parts) + sign[2]


# ---- making ---------------------------------------------------------------------------------------------------------


class Archiver:
    def __init__(self):
        self.objects = ["$null"]
        self.uids = {}

    def uid(self, value):
        if value is None:
            return UID(0)
        # 1, 1.0 and True are one key of a Python dictionary, and not one object here.
        key = value if isinstance(value, Thing) else (type(value), value)
        if key not in self.uids:
            number = self.uids[key] = len(self.objects)
            self.objects.append(None)
            self.objects[number] = self.record(value) if isinstance(value, Thing) else value
        return UID(self.uids[key])

    def class_uid(self, cls):
        if ("class", cls) not in self.uids:
            self.uids[("class", cls)] = len(self.objects)
            self.objects.append({"$classname": cls, "$classes": [cls] + FORMS[cls][0]})
        return UID(self.uids[("class", cls)])

    def record(self, thing):
        result = {"$class": self.class_uid(thing.cls)}
        for key in FORMS[thing.cls][1]:
            value = thing.values[key.strip("*-")]
            if key[0] == "*":
                value = [self.uid(each) for each in value]
            elif key[0] != "-":
                value = self.uid(value)
            result[key.strip("*-")] = value
        return result


def plain(value):
    """UIDs as XML has them, which plistlib does not write."""
    if isinstance(value, UID):
        return {"CF$UID": value.data}
    if isinstance(value, list):
        return [plain(each) for each in value]
    if isinstance(value, dict):
        return {key: plain(each) for key, each in value.items()}
    return value


def archive(root, binary):
    archiver = Archiver()
    top = {"root": archiver.uid(root)}
    value = {"$version": 100000, "$archiver": "NSKeyedArchiver", "$top": top, "$objects": archiver.objects}
    if binary:
        return plistlib.dumps(value, fmt=plistlib.FMT_BINARY)
    return plistlib.dumps(plain(value), fmt=plistlib.FMT_XML)


class Graphs:
    def __init__(self, seed):
        self.random = random.Random(seed)

    def scalar(self):
        r = self.random
        kind = r.randrange(7)
        if kind == 0:
            return r.random() < 0.5
        if kind == 1:
            return r.choice([0, 1, -1, 255, 256, 2**31, 2**63 - 1, 2**63, 2**64 - 1, -2**63])
        if kind == 2:
            return r.choice([0.5, 0.1, 1e300, -2.0])
        if kind == 3:
            return bytes(r.randrange(256) for _ in range(r.randrange(20)))
        return r.choice(["", "a", "Zoë", "日本", "😀", "$class", "text", "NS.objects", "x" * 30])

    def leaf(self):
        r = self.random
        kind = r.randrange(8)
        if kind == 0:
            return Thing("NSDate", NS_time=r.randrange(-10**9, 10**9) / 4)
        if kind == 1:
            return Thing("NSURL", NS_base=None, NS_relative="http://example.com/%d" % r.randrange(5))
        if kind == 2:
            return Thing("NSNull")
        if kind == 3:
            return Thing("NSMutableString", NS_string=r.choice(["", "m", "Zoë"]))
        if kind == 4:
            return Thing("NSMutableData", NS_data=b"ab")
        return self.scalar()

    def scalars(self):
        """Without those that are equal to an object's eyes: 1 and 1.0 and true."""
        kept = {}
        for _ in range(self.random.randrange(4)):
            value = self.scalar()
            kept.setdefault((isinstance(value, (bool, int, float)), value), value)
        return list(kept.values())

    def graph(self):
        r = self.random
        nodes = [Thing(r.choice([*SIGNS, "OraclePerson"])) for _ in range(r.randrange(1, 12))]

        def one_of(cls):
            fitting = [node for node in nodes if node.cls == cls]
            return r.choice(fitting) if fitting and r.random() < 0.7 else None

        def any_value():
            return r.choice(nodes) if r.random() < 0.5 else self.leaf()

        for node in nodes:
            if node.cls == "OraclePerson":
                node.values = {"name": r.choice([None, "Ann", "Zoë"]), "age": r.randrange(-5, 100),
                               "best": one_of("OraclePerson"), "friends": one_of("NSArray")}
            elif "Set" in node.cls:
                node.values = {"NS.objects": self.scalars()}
            elif "Array" in node.cls:
                node.values = {"NS.objects": [any_value() for _ in range(r.randrange(5))]}
            else:
                keys = self.scalars()
                node.values = {"NS.keys": keys, "NS.objects": [any_value() for _ in keys]}
        return nodes[0]


# ---- checking -------------------------------------------------------------------------------------------------------


class Broken(Exception):
    pass


def demand(condition, rule):
    if not condition:
        raise Broken(rule)


class Unarchiver:
    def __init__(self, value):
        demand(list(value) == ["$version", "$archiver", "$top", "$objects"], "the four keys, in order")
        demand(value["$version"] == 100000 and isinstance(value["$version"], int), "$version is 100000")
        demand(value["$archiver"] == "NSKeyedArchiver", "$archiver is NSKeyedArchiver")
        self.objects = value["$objects"]
        demand(self.objects[0] == "$null", "the first object is $null")
        demand(list(value["$top"]) == ["root"], "the top has a root")
        self.made = {}
        self.used = {0}
        self.classes = {}
        self.root = self.value(value["$top"]["root"])
        demand(self.used == set(range(len(self.objects))), "every object is referred to")
        scalars = [(type(each), each) for each in self.objects[1:] if not isinstance(each, dict)]
        demand(len(scalars) == len(set(scalars)), "equal scalars are there once")

    def value(self, uid):
        demand(isinstance(uid, UID), "references are UIDs")
        number = uid.data
        demand(number < len(self.objects), "references are within the objects")
        if number == 0:
            return None
        self.used.add(number)
        if number in self.made:
            return self.made[number]
        record = self.objects[number]
        demand(not isinstance(record, list), "no object is a bare array")
        if not isinstance(record, dict):
            self.made[number] = record
            return record
        thing = self.made[number] = Thing(self.class_name(record))
        keys = FORMS[thing.cls][1]
        demand(set(record) == {"$class"} | {key.strip("*-") for key in keys}, "the keys of " + thing.cls)
        for key in keys:
            name = key.strip("*-")
            value = record[name]
            if key[0] == "*":
                demand(isinstance(value, list), name + " is an array")
                value = [self.value(each) for each in value]
            elif key[0] == "-":
                demand(type(value) is IN_PLACE[name], name + " is in place")
            else:
                value = self.value(value)
            thing.values[name] = value
        return thing

    def class_name(self, record):
        demand(isinstance(record.get("$class"), UID), "an object has a class")
        number = record["$class"].data
        demand(0 < number < len(self.objects), "classes are within the objects")
        self.used.add(number)
        description = self.objects[number]
        demand(set(description) == {"$classname", "$classes"}, "the keys of a class")
        cls = description["$classname"]
        demand(cls in FORMS, "a known class: " + cls)
        demand(description["$classes"] == [cls] + FORMS[cls][0], "the chain of " + cls)
        demand(self.classes.setdefault(cls, number) == number, "a class is there once")
        return cls


def main(arguments):
    if arguments[0] == "check":
        for piece in canonical.read_pieces(arguments[1]):
            try:
                print(describe(Unarchiver(plistlib.loads(piece)).root, {}))
            except Broken as rule:
                print("bad: %s" % rule)
        return
    graphs = Graphs(int(arguments[1]))
    with open(arguments[3], "wb") as file:
        for i in range(int(arguments[2])):
            root = graphs.graph()
            data = archive(root, i % 4 != 3)
            file.write(b"%d\n" % len(data) + data)
            print(describe(root, {}))


if __name__ == "__main__":
    main(sys.argv[1:])
