"""Python's own reader and writer of property lists, for the library's to be held against.

canonical.py read FILE          for each list in the file, a line: what it means, or "error"
canonical.py make SEED N FILE   writes N random lists to the file, binary and XML in turn, and prints what each means

A file holds for each list its size in bytes in decimal, a line end, and its bytes. What a list means:
  t f            booleans
  i<digits>      an integer
  r<bits>        a double, its bits in hexadecimal
  D<bits>        a date, likewise, in seconds since 2001
  d<hex>         data
  s<hex>         text, as the bytes of its UTF-16
  u<digits>      a UID
  [..] {..}      arrays and dictionaries, each entry followed by a comma, entries in the order of their keys
"""
import datetime
import plistlib
import random
import struct
import sys

REFERENCE = datetime.datetime(2001, 1, 1)


def bits(value):
    return struct.pack(">d", value).hex()


def meaning(value):
    if value is True:
        return "t"
    if value is False:
        return "f"
    if isinstance(value, plistlib.UID):
        return "u%d" % value.data
    if isinstance(value, int):
        return "i%d" % value
    if isinstance(value, float):
        return "r" + bits(value)
    if isinstance(value, datetime.datetime):
        return "D" + bits((value - REFERENCE).total_seconds())
    if isinstance(value, (bytes, bytearray)):
        return "d" + bytes(value).hex()
    if isinstance(value, str):
        return "s" + value.encode("utf-16-be", "surrogatepass").hex()
    if isinstance(value, list):
        return "[" + "".join(meaning(each) + "," for each in value) + "]"
    if isinstance(value, dict):
        entries = sorted((meaning(key), meaning(each)) for key, each in value.items())
        return "{" + "".join(key + ":" + each + "," for key, each in entries) + "}"
    raise TypeError(type(value))


def read_pieces(path):
    with open(path, "rb") as file:
        data = file.read()
    at = 0
    while at < len(data):
        end = data.index(b"\n", at)
        size = int(data[at:end])
        yield data[end + 1:end + 1 + size]
        at = end + 1 + size


class Lists:
    PIECES = ["a", "key", "Zoë", "日本語", "😀", "<&>\"'", " ", "\t", "\n", "]]>", "&amp;", "é", "x" * 40, ""]

    def __init__(self, seed):
        self.random = random.Random(seed)

    def text(self):
        return "".join(self.random.choice(self.PIECES) for _ in range(self.random.randrange(5)))

    def scalar(self, binary):
        r = self.random
        kind = r.randrange(9)
        if kind == 0:
            return r.random() < 0.5
        if kind == 1:
            return r.choice([0, 1, 127, 128, 255, 256, 65535, 65536, 2**31, 2**32 - 1, 2**32, 2**63 - 1, 2**63,
                             2**64 - 1, -1, -128, -2**31, -2**63])
        if kind == 2:
            return r.randrange(-2**63, 2**64)
        if kind == 3:
            return r.choice([0.0, -0.0, 0.1, 1e300, -2.5, 1e-320, float("inf"), float("-inf")])
        if kind == 4:
            return r.uniform(-1e6, 1e6)
        if kind == 5:
            date = REFERENCE + datetime.timedelta(seconds=r.randrange(-6 * 10**10, 6 * 10**10))
            return date + datetime.timedelta(microseconds=500000) if binary and r.random() < 0.3 else date
        if kind == 6:
            return bytes(r.randrange(256) for _ in range(r.randrange(100)))
        if kind == 7 and binary:
            return plistlib.UID(r.choice([0, 1, 255, 256, 65535, 65536, 2**32 - 1, 2**32, 2**64 - 1]))
        return self.text()

    def value(self, binary, depth):
        r = self.random
        if depth == 0 or r.random() < 0.3:
            return self.scalar(binary)
        count = r.randrange(20, 300) if r.random() < 0.02 else r.randrange(6)
        if r.random() < 0.5:
            array = [self.value(binary, depth - 1) for _ in range(count)]
            # The same object at several places is written once.
            return array + array[:1] if r.random() < 0.2 else array
        return {self.text(): self.value(binary, depth - 1) for _ in range(count)}


def main(arguments):
    if arguments[0] == "read":
        for piece in read_pieces(arguments[1]):
            try:
                print(meaning(plistlib.loads(piece)))
            except Exception:  # whatever it is: the list is refused
                print("error")
        return
    lists = Lists(int(arguments[1]))
    with open(arguments[3], "wb") as file:
        for i in range(int(arguments[2])):
            binary = i % 2 == 0
            value = lists.value(binary, 4)
            data = plistlib.dumps(value, fmt=plistlib.FMT_BINARY if binary else plistlib.FMT_XML,
                                  sort_keys=i % 3 == 0)
            file.write(b"%d\n" % len(data) + data)
            # Read again, since its writer takes 0.0 and -0.0 for one.
            print(meaning(plistlib.loads(data)))


if __name__ == "__main__":
    sys.setrecursionlimit(5000)
    main(sys.argv[1:])
