"""gdb shows KVTFoundation's handles by what they hold.

    (gdb) source kvt_gdb.py
    (gdb) print user
    $1 = <User 0x55555557a2c0> = {uid = 123456, name = "Harry", phones = NSArray of 2 = {"+81 3", "+81 90"}}
    (gdb) print value            # an id
    $2 = (NSNumber) 42

Text is quoted, numbers are bare, collections show their elements, nil is nil. Only memory is read, no function of the program
is called, so core files are read as well as running programs. Debug information is needed of the program alone: the
library says itself, in its read-only data (`kvt::debuggerLayout`), where its bodies keep what they hold.
"""

import datetime
import decimal
import json
import re
import struct

import gdb
import gdb.printing

POINTER = 8  # bytes
NIL = "nil"


# ---- memory ---------------------------------------------------------------------------------------------------------


def read(address, size):
    return gdb.selected_inferior().read_memory(address, size).tobytes() if size else b""


def unpack(code, address):
    return struct.unpack("<" + code, read(address, struct.calcsize("<" + code)))[0]


def pointer_at(address):
    return unpack("Q", address)


class Layout:
    """Offsets of the bodies' fields by name, as the library tells them."""

    ENTRY = 32
    NAME = 28

    known = None

    @classmethod
    def of(cls, field):
        if cls.known is None:
            cls.known = cls.load()
        return cls.known[field]

    @classmethod
    def load(cls):
        # The library may have no debug information, hence a symbol without a type.
        entry = int(gdb.parse_and_eval("(unsigned long) &'kvt::debuggerLayout'"))
        fields = {}
        while True:
            name, offset = struct.unpack("<%dsi" % cls.NAME, read(entry, cls.ENTRY))
            name = name.split(b"\0", 1)[0].decode("ascii")
            if not name:
                return fields
            fields[name] = offset
            entry += cls.ENTRY

    @classmethod
    def forget(cls, *ignored):
        cls.known = None


# A new file may be another build of the library, or the first one to know the layout.
gdb.events.new_objfile.connect(Layout.forget)


def field(address, name):
    return address + Layout.of(name)


# ---- classes --------------------------------------------------------------------------------------------------------


def class_name(body):
    """The name of the class at that address; a std::string keeps its pointer and length first."""
    name = field(body, "ClassBody.name")
    length = unpack("Q", name + POINTER)
    if length > 4096:
        raise gdb.error("no class")  # a variable that is not set yet
    return read(pointer_at(name), length).decode("utf-8", "replace")


def class_of(address):
    return pointer_at(address + POINTER)  # behind the table of virtual functions


def class_chain(body):
    """Names of the class at that address and of its superclasses, nearest first."""
    names = []
    while body and len(names) < 64:
        names.append(class_name(body))
        body = pointer_at(field(body, "ClassBody.superclass"))
    return names


# ---- values ---------------------------------------------------------------------------------------------------------


def element_limit():
    limit = gdb.parameter("print elements")
    return 1 << 30 if limit is None or limit <= 0 else int(limit)


def quoted(text):
    limit = element_limit()
    dots = "..." if len(text) > limit else ""
    text = json.dumps(text[:limit], ensure_ascii="UTF" not in str(gdb.parameter("host-charset")).upper())
    # Surrogates that stand alone have no form outside.
    return re.sub("[\ud800-\udfff]", lambda match: "\\u%04x" % ord(match.group()), text) + dots


def text_of(address):
    size = unpack("I", field(address, "StringBody.size"))
    offset = unpack("B", field(address, "StringBody.start"))
    start = address + offset if offset else pointer_at(field(address, "StringBody.buffer"))
    # Four bytes are the most that a character may take.
    wanted = min(size, 4 * element_limit() + 4)
    if unpack("B", field(address, "StringBody.form")) == 2:
        return read(start, 2 * wanted).decode("utf-16-le", "surrogatepass")
    return read(start, wanted).decode("utf-8", "replace")


def number_of(address):
    code = chr(unpack("B", field(address, "NumberBody.type")))
    value = field(address, "NumberBody.integer")
    if code == "B":
        return "true" if unpack("q", value) else "false"
    if code == "f":
        return "%.9g" % unpack("d", value)
    if code == "d":
        return repr(unpack("d", value))
    return str(unpack("Q" if code == "Q" else "q", value))


def decimal_of(address):
    body = "DecimalNumberBody."
    flags = unpack("B", field(address, body + "flags"))
    if flags & 2:
        return "NaN"
    mantissa = unpack("Q", field(address, body + "high")) << 64 | unpack("Q", field(address, body + "low"))
    digits = tuple(int(digit) for digit in str(mantissa))
    return format(decimal.Decimal((flags & 1, digits, unpack("b", field(address, body + "exponent")))), "f")


def date_of(address):
    seconds = unpack("d", field(address, "DateBody.interval"))
    try:
        return str(datetime.datetime(2001, 1, 1) + datetime.timedelta(seconds=seconds)) + " +0000"
    except (OverflowError, ValueError):  # beyond the years that Python knows
        return "%r s since 2001-01-01 00:00:00 +0000" % seconds


def data_of(address):
    length = unpack("Q", field(address, "DataBody.length"))
    shown = min(length, 16, element_limit())
    dots = "..." if length > shown else ""
    return "<%d bytes: %s%s>" % (length, read(pointer_at(field(address, "DataBody.bytes")), shown).hex(), dots)


def handle_at(address):
    """The handle that lies there, for gdb to print like any other."""
    kind = gdb.lookup_type("kvt::Handle")
    return gdb.Value(address).cast(kind.pointer()).dereference()


def array_elements(address):
    first = pointer_at(field(address, "ArrayBody.items"))
    for index in range(unpack("Q", field(address, "ArrayBody.count"))):
        yield "[%d]" % index, handle_at(first + index * POINTER)


def slots(address, body):
    """Addresses of a table's slots that are in use, in their order; a removed one has lost its first reference."""
    slot = pointer_at(field(address, body + ".slots"))
    size = Layout.of(body + ".slotSize")
    for _ in range(unpack("I", field(address, body + ".used"))):
        if pointer_at(slot):
            yield slot
        slot += size


def dictionary_entries(address):
    for index, slot in enumerate(slots(address, "DictionaryBody")):
        yield "key%d" % index, handle_at(slot)
        yield "value%d" % index, handle_at(slot + POINTER)


def set_members(address):
    for index, slot in enumerate(slots(address, "SetBody")):
        yield "[%d]" % index, handle_at(slot)


# ---- printers -------------------------------------------------------------------------------------------------------


class Scalar:
    def __init__(self, text):
        self.text = text

    def to_string(self):
        return self.text


class Collection:
    def __init__(self, name, address, count, children, hint):
        self.text = "%s of %d" % (name, count)
        self.address = address
        self.elements = children
        self.hint = hint

    def to_string(self):
        return self.text

    def children(self):
        return self.elements(self.address)

    def display_hint(self):
        return self.hint


class Described:
    """An object of a class in C++: its members, if the program's debug information tells them."""

    open = 0
    DEEPEST = 4  # objects refer to each other in circles

    def __init__(self, name, address):
        self.name = name
        self.address = address

    def to_string(self):
        return "<%s 0x%x>" % (self.name, self.address)

    def children(self):
        if Described.open >= self.DEEPEST:
            return
        Described.open += 1
        try:
            kind = self.cpp_type()
            if kind is not None:
                for name, value in self.members(kind, gdb.Value(self.address)):
                    yield name, value
        finally:
            Described.open -= 1

    def cpp_type(self):
        """By the name of its table of virtual functions; gdb's own dynamic types warn where a type is not known."""
        symbol = gdb.execute("info symbol 0x%x" % pointer_at(self.address), to_string=True)
        match = re.match(r"vtable for (.+?)(?: \+ \d+)? in section ", symbol)
        try:
            return gdb.lookup_type(match.group(1)) if match else None
        except gdb.error:
            return None

    def members(self, kind, address):
        value = address.cast(kind.pointer()).dereference()
        for member in kind.fields():
            if member.is_base_class:
                if member.type.name not in ("kvt::NSObject", "kvt::Object"):
                    for inner in self.members(member.type, gdb.Value(int(address) + member.bitpos // 8)):
                        yield inner
            elif hasattr(member, "bitpos") and not member.artificial and member.name:
                yield member.name, value[member]


def printer_of(address, with_class):
    """The printer of the object at that address; `with_class` where its class does not stand there already."""
    if not address:
        return Scalar(NIL)
    isa = class_of(address)
    if not isa:
        return Scalar("<object 0x%x>" % address)
    if unpack("B", field(isa, "ClassBody.isMeta")):
        return Scalar(class_name(address))  # a class is an object too
    chain = class_chain(isa)
    name = chain[0]
    prefix = "(%s) " % name if with_class else ""
    if "NSString" in chain:
        return Scalar(prefix + quoted(text_of(address)))
    if "NSDecimalNumber" in chain:
        return Scalar(prefix + decimal_of(address))
    if "NSNumber" in chain:
        return Scalar(prefix + number_of(address))
    if "NSDate" in chain:
        return Scalar(prefix + date_of(address))
    if "NSData" in chain:
        return Scalar(prefix + data_of(address))
    if "NSNull" in chain:
        return Scalar("NSNull")
    if "NSArray" in chain:
        return Collection(name, address, unpack("Q", field(address, "ArrayBody.count")), array_elements, "array")
    if "NSDictionary" in chain:
        return Collection(name, address, unpack("I", field(address, "DictionaryBody.count")), dictionary_entries, "map")
    if "NSSet" in chain:
        return Collection(name, address, unpack("I", field(address, "SetBody.count")), set_members, "array")
    return Described(name, address)


def is_handle(kind):
    if kind.name == "kvt::Handle":
        return True
    return any(member.is_base_class and is_handle(member.type.strip_typedefs()) for member in kind.fields())


def address_in(value):
    """What the handle points to."""
    return int(value.cast(gdb.lookup_type("kvt::Handle"))["object_"])


def lookup(value):
    kind = value.type.strip_typedefs().unqualified()
    if kind.code != gdb.TYPE_CODE_STRUCT or kind.sizeof != POINTER:
        return None
    try:
        if kind.name == "kvt::SEL":
            name = int(value["name_"])
            return Scalar("@selector(%s)" % gdb.Value(name).cast(gdb.lookup_type("char").pointer()).string() if name else NIL)
        if kind.name == "kvt::Class":
            body = int(value["body_"])
            return Scalar(class_name(body) if body else NIL)
        if is_handle(kind):
            return printer_of(address_in(value), kind.name == "kvt::id")
    except (gdb.error, KeyError, struct.error):
        return None  # no library, or memory that is no object: gdb's own view says more
    return None


lookup.name = "KVTFoundation"
lookup.enabled = True
gdb.printing.register_pretty_printer(None, lookup, replace=True)
