#!/usr/bin/env python3
"""What a person sees of kvt: its output, its messages, its exit statuses.

KVT names the program, KVT_DATA the folder of samples: X.json is a document, X.classes its table of classes, and X.out.json
what is left of it after a round trip, where that is not all.
"""
import decimal
import json
import os
import pathlib
import pty
import random
import re
import resource
import select
import subprocess
import sys
import tempfile
import time
import unittest

# Documents nest 512 levels deep.
sys.setrecursionlimit(10_000)

KVT = os.environ["KVT"]
DATA = pathlib.Path(os.environ["KVT_DATA"])
ISO_CODES = pathlib.Path("/usr/share/iso-codes/json")
USAGE, BAD_DATA, NO_INPUT, OUTPUT = 64, 65, 66, 74


def parsed(text):
    """Exact: decimals stay decimals, and true is not 1."""

    def strict(value):
        if isinstance(value, bool):
            return "true" if value else "false"
        if isinstance(value, list):
            return [strict(each) for each in value]
        if isinstance(value, dict):
            return {key: strict(each) for key, each in value.items()}
        return ("text", value) if isinstance(value, str) else value

    return strict(json.loads(text, parse_float=decimal.Decimal))


def kvt(*arguments, data=None, **options):
    return subprocess.run([KVT, *map(str, arguments)], input=data, capture_output=True, timeout=280, **options)


def sample(text):
    """A file that holds the text, for as long as the test runs."""
    file = tempfile.NamedTemporaryFile(suffix=".json")
    file.write(text if isinstance(text, bytes) else text.encode())
    file.flush()
    return file


def rows(table):
    """The properties of a printed table: class → property → (encoding, key, count)."""
    classes, title = {}, table.splitlines()[0]
    columns = [title.index(word) for word in ("Encoding", "JSON key", "Objects")]
    current = None
    for line in table.splitlines()[2:]:
        name, encoding, key = line[: columns[0]], line[columns[0] : columns[1]].strip(), line[columns[1] :].rsplit(None, 1)
        if name.startswith(" "):
            current[name.strip()] = (encoding, key[0].strip() if len(key) == 2 else "", int(key[-1].replace(",", "")))
        else:
            current = classes[name.strip()] = {}
    return classes


class Base(unittest.TestCase):
    maxDiff = None

    def run_ok(self, *arguments, **options):
        result = kvt(*arguments, **options)
        self.assertEqual(result.returncode, 0, result.stderr)
        return result.stdout.decode()

    def table(self, text):
        return rows(self.run_ok("model", "--classes", "-", data=text.encode()))

    def round_trip(self, text):
        return parsed(self.run_ok("model", "--json", "-", data=text if isinstance(text, bytes) else text.encode()))

    def assert_survives(self, document):
        self.assertEqual(self.round_trip(document), parsed(document))


class Classes(Base):
    def test_samples(self):
        samples = sorted(DATA.glob("*.classes"))
        self.assertGreater(len(samples), 10)
        for expected in samples:
            with self.subTest(expected.stem):
                printed = self.run_ok("model", "--classes", expected.with_suffix(".json"))
                self.assertEqual(printed, expected.read_text())

    def test_number_that_some_lack_can_be_nil(self):
        self.assertEqual(self.table('[{"a": 1, "b": true}, {"a": 2}]')["Item"],
                         {"a": ("q", "a", 2), "b": ('@"NSNumber"', "b", 1)})

    def test_256_keys_are_a_class_and_257_a_map(self):
        for count, encoding in (256, '@"Inner"'), (257, '@"NSDictionary"'):
            with self.subTest(count):
                table = self.table(json.dumps({"inner": {f"k{i}": i for i in range(count)}}))
                self.assertEqual(table["Root"]["inner"][0], encoding)
                self.assertEqual(len(table.get("Inner", {})), 256 if count == 256 else 0)

    def test_map_of_objects_has_an_element_class(self):
        table = self.table(json.dumps({"users": {f"u{i}": {"uid": i} for i in range(300)}}))
        self.assertEqual(table, {"Root": {"users": ('@"NSDictionary" of User', "users", 1)}, "User": {"uid": ("q", "uid", 300)}})

    def test_names_of_classes_are_not_taken_from_the_library(self):
        table = self.table('{"NSArray": {"a": 1}, "nSString": {"b": 1}, "root": {"c": 1}}')
        self.assertEqual(list(table), ["Root", "NSArray2", "NSString2", "Root2"])

    def test_singulars(self):
        rows_ = [("countries", "Country"), ("classes", "Class"), ("boxes", "Box"), ("status", "Status"),
                 ("children", "Child"), ("people", "Person"), ("addresses", "Address"), ("data", "Data"), ("users", "User"),
                 ("analysis", "Analysis"), ("postal_codes", "PostalCode"), ("LINES", "LINES")]
        for key, name in rows_:
            with self.subTest(key):
                self.assertIn(name, self.table(json.dumps({key: [{"x": 1}]})))

    def test_long_tables_are_cut_in_the_report_alone(self):
        document = json.dumps({"c%d" % i: {"k%d_%d" % (i, j): 0 for j in range(70)} for i in range(50)})
        report = self.run_ok("model", "-", data=document.encode())
        self.assertIn("… and 11 classes more", report)
        self.assertIn("… and 10 properties more", report)
        self.assertEqual(len(self.table(document)), 51)


class JSON(Base):
    def test_samples(self):
        for path in sorted(DATA.glob("*.json")):
            if path.suffixes == [".out", ".json"]:
                continue
            with self.subTest(path.stem):
                left = path.with_suffix(".out.json")
                result = kvt("model", "--json", path)
                self.assertEqual(result.returncode, 0, result.stderr)
                self.assertEqual(parsed(result.stdout), parsed((left if left.exists() else path).read_text()))
                self.assertEqual(result.stderr != b"", left.exists(), result.stderr)

    def test_nothing_else_is_printed(self):
        self.assertEqual(self.run_ok("model", "--json", "-", data=b'{"a":1}'), '{"a":1}\n')

    def test_losses_are_noted(self):
        result = kvt("model", "--json", "-", data=b'{"a":null,"b":[{"c":1},null]}')
        self.assertEqual(result.stdout, b'{"b":[{"c":1}]}\n')
        self.assertIn(b"note: 2 values did not survive", result.stderr)

    def test_encodings(self):
        document = '{"name": "Zoë 漢字 🙂", "list": [{"é": 1}]}'
        for encoding in "utf-8", "utf-8-sig", "utf-16", "utf-16-le", "utf-16-be", "utf-32":
            with self.subTest(encoding):
                self.assertEqual(self.round_trip(document.encode(encoding)), parsed(document))

    def test_escapes(self):
        self.assert_survives(r'{"a": "\u0000\u001f\"\\\/\b\f\n\r\t\u00e9\ud83d\ude42"}')

    def test_equal_keys_the_last_counts(self):
        self.assertEqual(self.round_trip('{"a": 1, "b": 2, "a": 3}'), {"a": 3, "b": 2})

    def test_dotted_keys_of_one_object(self):
        self.assert_survives('{"a.b": 1, "a.b.c": {"x": 1}, "a": 2, "b.c": [{"d.e": true}], "b.d": null, "..x": 1, "f..g": 2.5}'
                             .replace(', "b.d": null', ""))

    def test_many_keys_that_have_one_name(self):
        self.assert_survives(json.dumps({"k" + chr(0x2190 + i): i for i in range(200)}, ensure_ascii=False))


class RoundTrip(Base):
    def test_iso_codes(self):
        lists = sorted(ISO_CODES.glob("iso_*.json"))
        if not lists:
            self.skipTest("the package iso-codes is not installed")
        for path in lists:
            with self.subTest(path.name):
                result = kvt("model", "--json", path)
                self.assertEqual(result.stderr, b"")
                self.assertEqual(parsed(result.stdout), parsed(path.read_text()))


class Random(Base):
    """Documents by chance: the tool notes a loss exactly where Python sees a difference, and without cause there is none."""

    PLAIN = ["name", "Name", "id", "x-y", "x y", "x_y", "description", "hash", "2024-01-01", "/p", "items", "children", "é", "1", "."]
    HARD = PLAIN + ["", "a", "b", "a.b", "a.b.c", "a..b", "nul\0"]

    def value(self, chance, depth, keys, leaves):
        kind = chance.random()
        if depth <= 0 or kind < 0.45:
            return chance.choice(leaves)
        if kind < 0.65:
            return [self.value(chance, depth - 1, keys, leaves) for _ in range(chance.randrange(4))]
        if kind < 0.8:
            own = chance.sample(keys, chance.randrange(5))
            return [{key: self.value(chance, depth - 2, keys, leaves) for key in own if chance.random() < 0.8}
                    for _ in range(chance.randrange(4))]
        return {key: self.value(chance, depth - 1, keys, leaves) for key in chance.sample(keys, chance.randrange(6))}

    def documents(self, keys, leaves):
        for seed in range(60):
            chance = random.Random(seed)
            document = {f"part {i}": self.value(chance, 6, keys, leaves) for i in range(4)}
            yield seed, json.dumps([document, document] if chance.random() < 0.2 else document)

    LEAVES = [1, -1, 2**63, 2**64 - 1, 2**70, 10**17 + 1, 1.5, -0.25, 0, True, False, "t", "", "null", "12"]

    def test_nothing_is_lost_without_cause(self):
        for seed, text in self.documents(self.PLAIN, self.LEAVES):
            with self.subTest(seed):
                self.assert_survives(text)

    def test_what_is_lost_is_noted(self):
        losses = 0
        for seed, text in self.documents(self.HARD, self.LEAVES + [None]):
            with self.subTest(seed):
                result = kvt("model", "--json", "-", data=text.encode())
                self.assertEqual(result.returncode, 0, result.stderr)
                differs = parsed(result.stdout) != parsed(text)
                self.assertEqual(differs, b"did not survive" in result.stderr, text)
                losses += differs
        self.assertGreater(losses, 10)


class Report(Base):
    def losses(self, document):
        """Kind → (count, first place), as printed."""
        report = self.run_ok("model", "-", data=document.encode())
        part = report.split("Round trip\n\n")[1].split("\nThroughput")[0]
        found = re.findall(r"^ +([\d,]+)  (.*?) +first at (.*)$", part, re.M)
        return part.splitlines()[0], {kind: (int(count), place) for count, kind, place in found}

    def test_everything_survives(self):
        self.assertEqual(self.losses('{"a": [{"b": 1}, {"b": 2}]}'), ("All 5 values survived.", {}))

    def test_kinds_of_losses(self):
        cases = [
            ('{"x": 1, "a": {"b": [{"c": null}, {"c": 1}]}}', {"null under a key": (1, "a.b[0].c")}),
            ('{"a": [{"b": 1}, null, null]}', {"null among models": (2, "a[1]")}),
            ('{"a": 1, "": 2}', {'the key ""': (1, '[""]')}),
            ('[{"a": 1}, 5, "x"]', {"element that is no object": (2, "[1]")}),
            ('{"a.b": 1, "a": {"b": 2}}', {"key that is also a path": (1, '["a.b"]')}),
            ('[{"a.b": 1}, {"a": {"b": 2}}]', {"key that is also a path": (1, '[1]["a.b"]')}),
            ('{"odd key": {"1": null}}', {"null under a key": (1, '["odd key"]["1"]')}),
        ]
        for document, expected in cases:
            with self.subTest(document):
                self.assertEqual(self.losses(document)[1], expected)

    def test_counts(self):
        self.assertEqual(self.losses('{"a": null, "b": null, "c": 1}')[0], "2 of 3 values did not survive:")

    def test_sections(self):
        report = self.run_ok("model", DATA / "tree.json")
        self.assertRegex(report, r"tree\.json  \d+ bytes, 1 class, 7 objects, \d+ values\n")
        for heading in "Classes", "The object", "Round trip", "Throughput":
            self.assertRegex(report, rf"(?m)^{heading}\b")
        self.assertRegex(report, r'(?m)^<Root: 0x[0-9a-f]+> \{\n    children = \[\n')
        self.assertRegex(report, r"(?m)^read   text to models  .* MB/s .* objects/s")
        self.assertRegex(report, r"(?m)^write  models to text  .* MB/s .* objects/s")
        self.assertEqual(self.run_ok("model", DATA / "top_array.json").count("<Item: 0x"), 2)

    def test_long_samples_are_cut(self):
        text = "x" * 5000
        report = self.run_ok("model", "-", data=json.dumps({"list": [{"text": text}] * 1000}).encode())
        self.assertEqual(report.count("<List: 0x"), 2)
        self.assertNotIn("x" * 121, report)
        wide = self.run_ok("model", "-", data=json.dumps({f"k{i}": i for i in range(100)}).encode())
        self.assertIn("… and 62 lines more", wide)

    def test_control_characters_reach_no_terminal(self):
        report = kvt("model", DATA / "controls.json").stdout.decode()
        self.assertIn(r"\u001b]0;title\u0007", report)
        for character in report:
            self.assertTrue(character == "\n" or ord(character) >= 0x20, repr(character))
            self.assertNotIn(character, "\x7f\x9b\u202e")


class Failures(Base):
    def fails(self, status, said, *arguments, **options):
        result = kvt(*arguments, **options)
        self.assertEqual(result.returncode, status, result.stderr)
        self.assertRegex(result.stderr.decode(), said)
        self.assertEqual(result.stdout, b"")

    def test_bad_json_says_where_and_what(self):
        cases = [
            ('{"a": 1,\n "b": x}', "line 2, column 7: .*'x'"),
            ('[{"a": 1}', "line 1, column 10: "),
            ('{"a": "\n"}', "line 1, column 8: "),
            ("{} {}", "line 1, column 4: "),
            ('{\n\n  "é": tru}', "line 3, column 8: "),
            ('{"a": "\\ud800"}', "line 1, column "),
            ("[1e999]", "line 1, column "),
            ("[" * 513 + "]" * 513, "line 1, column 513: "),
        ]
        for text, said in cases:
            with self.subTest(text[:30]), sample(text) as file:
                self.fails(BAD_DATA, f"^kvt: {re.escape(file.name)}, {said}", "model", file.name)

    def test_bytes_that_are_no_text(self):
        with sample(b'{"a": "\xff\xfe"}') as file:
            self.fails(BAD_DATA, f"^kvt: {re.escape(file.name)}, line 1, column 8: .*UTF-8", "model", file.name)

    def test_what_is_no_document(self):
        cases = [("", "^kvt: standard input"), (" \n", "^kvt: standard input"), ("5", "holds nothing but a number"),
                 ('"x"', "holds nothing but a text"), ("null", "holds nothing but null"), ("true", "holds nothing but true or false"),
                 ("[]", "is an empty array"), ("{}", "is an empty object"), ("[1, [2]]", "is an array without objects"),
                 ("[{}, {}]", "is an array of objects without keys"), ('{"": 1}', 'is an object whose only key is ""')]
        for text, said in cases:
            for option in [], ["--json"], ["--classes"]:
                with self.subTest(text=text, option=option):
                    self.fails(BAD_DATA, said, "model", *option, "-", data=text.encode())

    def test_files_that_cannot_be_read(self):
        self.fails(NO_INPUT, "^kvt: cannot read /nowhere/x.json: No such file or directory\n$", "model", "/nowhere/x.json")
        self.fails(NO_INPUT, "Is a directory", "model", DATA)
        self.fails(NO_INPUT, r"cannot read no\\u001b\[31m: No such file", "model", "no\x1b[31m")
        if os.geteuid() != 0:
            with sample("{}") as file:
                os.chmod(file.name, 0)
                self.fails(NO_INPUT, "Permission denied", "model", file.name)

    def test_closed_standard_input(self):
        result = subprocess.run(["sh", "-c", '"$0" model - <&-', KVT], capture_output=True)
        self.assertEqual(result.returncode, NO_INPUT, result.stderr)

    def test_output_that_cannot_be_written(self):
        for option in [], ["--json"], ["--classes"]:
            with self.subTest(option), open("/dev/full", "wb") as full:
                result = subprocess.run([KVT, "model", *option, DATA / "tree.json"], stdout=full, stderr=subprocess.PIPE)
                self.assertEqual(result.returncode, OUTPUT)
                self.assertIn(b"cannot write to standard output: No space left on device", result.stderr)
        with open("/dev/full", "wb") as full:
            self.assertEqual(subprocess.run([KVT, "--help"], stdout=full, stderr=subprocess.PIPE).returncode, OUTPUT)

    def test_reader_that_goes_away(self):
        big = json.dumps([{"text": "x" * 100}] * 5000)
        with sample(big) as file:
            process = subprocess.Popen([KVT, "model", "--json", file.name], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            process.stdout.close()
            said = process.stderr.read()
            process.stderr.close()
            self.assertEqual(process.wait(), OUTPUT)
            self.assertIn(b"Broken pipe", said)

    def test_closed_standard_output(self):
        result = subprocess.run(["sh", "-c", '"$0" --version >&-', KVT], stderr=subprocess.PIPE)
        self.assertEqual(result.returncode, OUTPUT)


class CommandLine(Base):
    def test_wrong_usage(self):
        cases = [([], "which command"), (["fly"], "unknown command fly"), (["model"], "which file"),
                 (["model", "a", "b"], "one file at a time"), (["model", "--fly", "a"], "unknown option --fly"),
                 (["model", "--json", "--classes", "a"], "exclude each other"), (["help", "fly"], "no help on fly"),
                 (["--fly"], "unknown command --fly"), (["model", "--", "-a", "-b"], "one file at a time"),
                 (["model", "-\x1b"], r"unknown option -\\u001b")]
        for arguments, said in cases:
            with self.subTest(arguments):
                result = kvt(*arguments)
                self.assertEqual(result.returncode, USAGE)
                self.assertEqual(result.stdout, b"")
                self.assertRegex(result.stderr.decode(), said)
                self.assertIn(b"usage: kvt", result.stderr)

    def test_help(self):
        self.assertIn("usage: kvt COMMAND", self.run_ok("--help"))
        self.assertEqual(self.run_ok("help"), self.run_ok("--help"))
        self.assertEqual(self.run_ok("-h"), self.run_ok("--help"))
        self.assertIn("--classes", self.run_ok("help", "model"))
        self.assertIn("--max-size", self.run_ok("help", "cache"))
        self.assertEqual(self.run_ok("model", "--help"), self.run_ok("help", "model"))
        for text in self.run_ok("--help"), self.run_ok("help", "model"), self.run_ok("help", "cache"):
            self.assertLessEqual(max(map(len, text.splitlines())), 110)

    def test_version(self):
        self.assertEqual(self.run_ok("--version"), f"kvt {os.environ['KVT_VERSION']}\n")

    def test_file_named_like_an_option(self):
        with tempfile.TemporaryDirectory() as folder:
            (pathlib.Path(folder) / "--json").write_text('{"a":1}')
            self.assertEqual(self.run_ok("model", "--json", "--", "--json", cwd=folder), '{"a":1}\n')

    def test_standard_input_and_pipes(self):
        self.assertEqual(self.run_ok("model", "--json", "-", data=b'{"a":1}'), '{"a":1}\n')
        self.assertEqual(self.run_ok("model", "--json", "/dev/stdin", data=b'{"a":1}'), '{"a":1}\n')


class Terminal(Base):
    def on_terminal(self, *arguments, environment=None):
        """Standard output and standard error as a terminal gets them."""
        variables = {**os.environ, "TERM": "xterm", **(environment or {})}
        leader, follower = pty.openpty()
        process = subprocess.Popen([KVT, *map(str, arguments)], stdout=follower, stderr=follower, env=variables)
        os.close(follower)
        shown = b""
        while select.select([leader], [], [], 60)[0]:
            try:
                piece = os.read(leader, 65536)
            except OSError:  # the other end is closed
                break
            if not piece:
                break
            shown += piece
        os.close(leader)
        self.assertEqual(process.wait(), 0)
        return shown.decode()

    def test_colours(self):
        variables = {**os.environ}
        variables.pop("NO_COLOR", None)
        coloured = self.on_terminal("model", "--classes", DATA / "names.json", environment={"NO_COLOR": ""})
        self.assertIn("\x1b[", coloured)
        self.assertEqual(re.sub("\x1b\\[[0-9;]*m", "", coloured).replace("\r\n", "\n"), (DATA / "names.classes").read_text())
        for plain in {"NO_COLOR": "1"}, {"TERM": "dumb"}:
            self.assertNotIn("\x1b", self.on_terminal("model", "--classes", DATA / "names.json", environment=plain))

    def test_progress_is_for_long_files(self):
        document = json.dumps([{"id": i, "name": "n" * 60} for i in range(60_000)])
        with sample(document) as file:
            shown = self.on_terminal("model", "--classes", file.name)
            for stage in "parsing …", "looking for classes …":
                self.assertIn("\r\x1b[K" + stage, shown)
            # The line is taken away before the table begins.
            self.assertRegex(shown, "\r\x1b\\[K(\x1b\\[[0-9;]*m)*Class, properties")
        self.assertNotIn("\r\x1b[K", self.on_terminal("model", DATA / "tree.json"))

    def test_columns_line_up_by_width_on_screen(self):
        table = self.run_ok("model", "--classes", "-", data='{"漢字": 1, "é\u0301e": 2, "plain": 3}'.encode())
        width = {"漢": 2, "字": 2, "\u0301": 0}
        ends = {sum(width.get(character, 1) for character in line) for line in table.splitlines()}
        self.assertEqual(len(ends), 1, table)


class Limits(Base):
    def test_512_levels(self):
        for document in '{"a":' * 511 + "{}" + "}" * 511, '{"list":' + "[" * 511 + "]" * 511 + "}", "[" + '{"a":[' * 255 + '{"b":1}' + "]}" * 255 + "]":
            with self.subTest(document[:12]):
                self.assert_survives(document)
                self.run_ok("model", "-", data=document.encode())

    def test_10000_keys(self):
        keys = {f"key {i}": i for i in range(10_000)}
        self.assert_survives(json.dumps(keys))
        self.assert_survives(json.dumps({"inner": keys, "list": [keys]}))
        self.assert_survives(json.dumps([keys, {"other": 1}]))
        self.run_ok("model", "-", data=json.dumps(keys).encode())

    def test_map_at_the_top(self):
        self.assert_survives(json.dumps({f"user{i}": {"uid": i} for i in range(20_000)}))

    def test_more_keys_than_a_class_takes(self):
        result = kvt("model", "-", data=json.dumps({f"k{i}": i for i in range(20_000)}).encode())
        self.assertEqual(result.returncode, BAD_DATA)
        self.assertIn(b"more than 16,384 keys", result.stderr)

    def test_a_new_kind_of_object_everywhere(self):
        document = json.dumps({f"a{i}": {f"b{i}_{j}": {f"c{i}_{j}": j} for j in range(100)} for i in range(100)})
        report = self.run_ok("model", "-", data=document.encode())
        self.assertIn("stay dictionaries", report)
        self.assertIn("values survived.", report)

    @unittest.skipIf(os.environ.get("KVT_SANITIZED"), "sanitizers keep freed memory back")
    def test_memory(self):
        document = json.dumps([{"id": i, "name": f"name {i}", "tags": ["a", "b"], "at": {"x": i / 4, "y": 1}} for i in range(100_000)])
        with sample(document) as file:
            process = subprocess.Popen([KVT, "model", file.name], stdout=subprocess.DEVNULL)
            _, status, usage = os.wait4(process.pid, 0)
            process.returncode = os.waitstatus_to_exitcode(status)
            self.assertEqual(process.returncode, 0)
            # The text, its tree, the models and the tree of what came back are in memory at once.
            self.assertLess(usage.ru_maxrss * 1024, 30 * len(document))


class Cache(Base):
    """A folder of files that are so many blocks long, and so many days old."""

    BLOCK = 4096

    def setUp(self):
        self.scratch = tempfile.TemporaryDirectory()
        self.addCleanup(self.scratch.cleanup)
        os.chmod(self.scratch.name, 0o755)
        self.outside = pathlib.Path(self.scratch.name, "outside")
        self.outside.mkdir()
        (self.outside / "victim").write_text("precious")
        self.folder = pathlib.Path(self.scratch.name, "cache")
        self.folder.mkdir()

    def write(self, name, blocks=1, modified=0.0, accessed=0.0):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(b"x" * (blocks * self.BLOCK))
        now = time.time()
        os.utime(path, (now - accessed * 86400, now - modified * 86400))

    def left(self):
        return sorted(str(each.relative_to(self.folder)) for each in self.folder.rglob("*") if each.is_symlink() or not each.is_dir())

    def expire(self, *arguments):
        return self.run_ok("cache", self.folder, "--expire", *arguments)

    def would_go(self, report):
        return re.findall(r"^  +[\d.,]+ \w+  [-\d]+ [:\d]+ [-+]\d+  (.*)$", report, re.M)

    def test_what_a_folder_holds(self):
        self.write("new", 2, modified=1, accessed=9)
        self.write("old", 3, modified=9, accessed=1)
        self.write("inner/middle", 1, modified=5, accessed=5)
        self.write(".hidden", 50)
        self.write(".folder/x", 50)
        shown = self.run_ok("cache", self.folder, env={**os.environ, "TZ": "UTC0"})
        self.assertIn(f"{self.folder}  3 files, 24.6 kB on the disk, in 1 more folder\n2 hidden files or folders left out", shown)
        dates = re.findall(r"^(\w+)? +(oldest|newest)  ([-\d]+ [:\d]+) \+0000  (.*)$", shown, re.M)
        self.assertEqual([(each[0], each[1], each[3]) for each in dates[:4]],
                         [("accessed", "oldest", "new"), ("", "newest", "old"), ("modified", "oldest", "old"), ("", "newest", "new")])
        nine = time.strftime("%Y-%m-%d %H:%M", time.gmtime((self.folder / "old").stat().st_mtime))
        self.assertTrue(dates[2][2].startswith(nine))
        self.assertRegex(shown, r"(?m)^created +(oldest|this file system does not keep it)")
        self.assertEqual(len(self.left()), 5)

    def test_an_empty_folder(self):
        self.assertEqual(self.run_ok("cache", self.folder), f"{self.folder}  0 files, 0 bytes on the disk\n")
        self.assertIn("Removed: 0 files", self.expire("--by", "modified", "--days", "1"))

    def test_a_file_system_without_creation_dates(self):
        proc = pathlib.Path("/proc/self/fdinfo")
        self.assertRegex(self.run_ok("cache", proc), "(?m)^created   this file system does not keep it$")
        result = kvt("cache", proc, "--expire", "--by", "created", "--days", "1")
        self.assertEqual(result.returncode, BAD_DATA)
        self.assertRegex(result.stderr.decode(), "files? in /proc/.* have no such date")

    def test_by_size_half_of_what_there_was_is_left(self):
        for name, blocks, age in ("a", 40, 4), ("b", 30, 3), ("c", 20, 2), ("d", 10, 1):
            self.write(name, blocks, age, accessed=10 - age)
        limit = str(60 * self.BLOCK)
        self.assertEqual(self.would_go(self.expire("--by", "modified", "--max-size", limit, "--dry-run")), ["a", "b"])
        self.assertEqual(self.would_go(self.expire("--by=access", f"--max-size={limit}", "--dry-run")), ["d", "c", "b"])
        self.assertEqual(self.left(), ["a", "b", "c", "d"])
        shown = self.expire("--by", "modified", "--max-size", limit)
        self.assertIn("Removed: 2 files, 287 kB on the disk", shown)
        self.assertIn("Left:    2 files, 123 kB on the disk", shown)
        self.assertNotIn("more than", shown)
        self.assertEqual(self.left(), ["c", "d"])
        self.assertIn("That is more than 1.00 kB still", self.expire("--by", "modified", "--max-size", "1k"))
        self.assertEqual(self.left(), ["d"])

    def test_by_age(self):
        for name, age in ("six", 6.9), ("seven", 7.1), ("inner/eight", 8), (".hidden", 100), ("future", -5):
            self.write(name, 1, age, accessed=0)
        arguments = "--by", "modified", "--days", "7"
        self.assertEqual(self.would_go(self.expire(*arguments, "--dry-run")), ["inner/eight", "seven"])
        self.assertIn("Nothing would go", self.expire("--by", "access", "--days", "7", "--dry-run"))
        self.assertEqual(self.would_go(self.expire(*arguments)), ["inner/eight", "seven"])
        self.assertEqual(self.left(), [".hidden", "future", "six"])
        self.assertTrue((self.folder / "inner").is_dir())

    def test_without_days_nothing_goes_by_age(self):
        self.write("ancient", 1, 10_000, 10_000)
        self.assertIn("Removed: 0 files", self.expire("--by", "modified", "--max-size", "1G"))
        self.assertEqual(self.left(), ["ancient"])

    def test_age_comes_before_size(self):
        for name, blocks, age in ("old", 100, 30), ("a", 10, 4), ("b", 10, 3), ("c", 10, 2):
            self.write(name, blocks, age)
        shown = self.expire("--by", "modified", "--days", "7", "--max-size", str(30 * self.BLOCK))
        self.assertEqual(self.left(), ["a", "b", "c"], "what has gone by age takes no room")
        shown = self.expire("--by", "modified", "--days", "7", "--max-size", str(29 * self.BLOCK))
        self.assertEqual(self.left(), ["c"])
        self.assertIn("Left:    1 file", shown)

    def test_what_would_go_goes(self):
        for seed in range(25):
            chance = random.Random(seed)
            for i in range(chance.randrange(1, 30)):
                self.write(chance.choice(["", "x/", "x/y/", ".h/"]) + f"{chance.choice(['f', '.g'])}{i}", chance.randrange(1, 9),
                           chance.uniform(-2, 20), chance.uniform(-2, 20))
            os.symlink(self.outside, self.folder / "link")
            arguments = ["--by", chance.choice(["access", "modified"]), "--max-size", str(chance.randrange(1, 200) * self.BLOCK)]
            if chance.random() < 0.5:
                arguments += ["--days", str(chance.randrange(1, 15))]
            with self.subTest(seed=seed, arguments=arguments):
                before = self.left()
                would = self.would_go(self.expire(*arguments, "--dry-run"))
                self.assertEqual(self.left(), before)
                self.expire(*arguments)
                self.assertEqual(sorted(set(before) - set(self.left())), sorted(would))
            self.run_ok("cache", self.folder, "--expire", "--all")
            self.assertEqual(list(self.folder.iterdir()), [])
        self.assertEqual((self.outside / "victim").read_text(), "precious")

    def test_everything(self):
        self.write("a", 2)
        self.write(".hidden/b", 3)
        os.symlink(self.outside, self.folder / "link")
        self.assertIn("3 files", self.expire("--all", "--dry-run"))
        self.assertEqual(self.left(), [".hidden/b", "a", "link"])
        self.assertIn("Removed: 3 files, 20.5 kB on the disk\nLeft:    0 files", self.expire("--all"))
        self.assertEqual(list(self.folder.iterdir()), [])
        self.assertEqual((self.outside / "victim").read_text(), "precious")

    def test_a_link_to_the_folder(self):
        self.write("a")
        link = pathlib.Path(self.scratch.name, "link")
        link.symlink_to(self.folder)
        self.run_ok("cache", link, "--expire", "--all")
        self.assertTrue(link.is_symlink())
        self.assertEqual(self.left(), [])

    def test_wrong_usage(self):
        self.write("a")
        home = {"env": {**os.environ, "HOME": str(self.folder / "home")}}
        cases = [
            ([], {}, "which folder"), ([self.folder, self.folder], {}, "one folder"),
            ([self.folder, "--days", "7"], {}, "nothing is removed without --expire"),
            ([self.folder, "--all"], {}, "nothing is removed without --expire"),
            ([self.folder, "--dry-run"], {}, "nothing is removed without --expire"),
            ([self.folder, "--expire"], {}, "what shall go"),
            ([self.folder, "--expire", "--by", "access"], {}, "what shall go"),
            ([self.folder, "--expire", "--days", "7"], {}, "by which date"),
            ([self.folder, "--expire", "--all", "--days", "7"], {}, "takes no other limit"),
            ([self.folder, "--expire", "--by", "birth", "--days", "7"], {}, "--by is access, modified or created, not birth"),
            ([self.folder, "--expire", "--by", "access", "--days", "0"], {}, "say so with --all"),
            ([self.folder, "--expire", "--by", "access", "--days", "x"], {}, "a whole number, not x"),
            ([self.folder, "--expire", "--by", "access", "--days", "-1"], {}, "a whole number, not -1"),
            ([self.folder, "--expire", "--by", "access", "--days", "1.5"], {}, "a whole number, not 1.5"),
            ([self.folder, "--expire", "--by", "access", "--days"], {}, "--days needs a value"),
            ([self.folder, "--expire", "--by", "access", "--days", "1", "--days=2"], {}, "--days is given twice"),
            ([self.folder, "--expire", "--by", "access", "--max-size", "0"], {}, "everything goes with --all"),
            *[([self.folder, "--expire", "--by", "access", "--max-size", bad], {}, "not ")
              for bad in ("", "k", "1X", "-5", "1.5M", "1i", "99999999999999999999", "99999999T", "1kk", "0x10", " 1")],
            (["/", "--expire", "--all"], {}, "is no cache|holds"),
            ([".", "--expire", "--all"], {"cwd": self.folder}, "holds the working directory"),
            ([self.folder, "--expire", "--all"], home, "holds your home directory"),
            ([self.folder, "--fly"], {}, "unknown option --fly"),
        ]
        for arguments, options, said in cases:
            with self.subTest(arguments):
                result = kvt("cache", *arguments, **options)
                self.assertEqual(result.returncode, USAGE, result.stderr)
                self.assertRegex(result.stderr.decode(), said)
                self.assertEqual(result.stdout, b"")
        self.assertEqual(self.left(), ["a"])

    def test_sizes(self):
        self.write("a", 1000, 2)
        self.write("b", 1000, 1)
        # The files take 8,192,000 bytes.
        for text, goes in [("8192000", False), ("8191999", True), ("8192kB", False), ("8191k", True), ("8000Ki", False),
                           ("7999KiB", True), ("9M", False), ("8M", True), ("8MiB", False), ("7Mi", True), ("1G", False),
                           ("1T", False), ("1GiB", False), ("16T", False), ("8192000B", False)]:
            with self.subTest(text):
                self.assertEqual(self.would_go(self.expire("--by", "modified", "--max-size", text, "--dry-run")),
                                 ["a", "b"] if goes else [])

    def test_what_is_no_folder(self):
        self.write("a")
        for path, said in (self.folder / "none", "No such file or directory"), (self.folder / "a", "Not a directory"):
            result = kvt("cache", path)
            self.assertEqual(result.returncode, NO_INPUT)
            self.assertEqual(result.stderr.decode(), f"kvt: cannot read {path}: {said}\n")

    def as_nobody(self, *arguments):
        """Permissions mean nothing to root."""
        if os.geteuid() != 0:
            return kvt("cache", *arguments)
        for root, folders, files in os.walk(self.scratch.name):
            for each in [root, *(os.path.join(root, name) for name in folders + files)]:
                os.chown(each, 65534, 65534, follow_symlinks=False)
        try:
            return kvt("cache", *arguments, user=65534, group=65534, extra_groups=[])
        except PermissionError:
            self.skipTest("the program cannot be run by another user")

    def test_what_cannot_be_read_or_removed(self):
        self.write("locked/old", 5, 9)
        self.write("secret/x", 5, 9)
        self.write("b", 3, 8)
        os.chmod(self.folder / "locked", 0o555)
        os.chmod(self.folder / "secret", 0)
        try:
            result = self.as_nobody(self.folder)
            self.assertEqual(result.returncode, NO_INPUT)
            self.assertIn(b"2 files, 32.8 kB", result.stdout)
            self.assertEqual(result.stderr, b"kvt: cannot read secret: Permission denied\nkvt: 1 folder is not counted\n")
            result = self.as_nobody(self.folder, "--expire", "--by", "modified", "--days", "7")
            self.assertEqual(result.returncode, OUTPUT)
            self.assertIn(b"Removed: 1 file,", result.stdout)
            self.assertIn(b"kvt: cannot remove locked/old: Permission denied\n", result.stderr)
            self.write("b", 3, 8)
            result = self.as_nobody(self.folder, "--expire", "--by", "modified", "--max-size", "1k")
            self.assertEqual(result.returncode, OUTPUT)
            self.assertIn(b"1 file that should have made room is still there", result.stderr)
            result = self.as_nobody(self.folder, "--expire", "--all")
            self.assertEqual(result.returncode, OUTPUT)
            self.assertIn(b"not everything in ", result.stderr)
            self.assertEqual(self.left(), ["locked/old", "secret/x"])
        finally:
            os.chmod(self.folder / "locked", 0o755)
            os.chmod(self.folder / "secret", 0o755)

    def test_names_from_strangers(self):
        raw = os.fsencode(self.folder)
        for name in b"\x1b[31mred", b"\xff\xfe", b"a\nb":
            with open(os.path.join(raw, name), "wb") as file:
                file.write(b"x")
            os.utime(os.path.join(raw, name), (0, 0))
        shown = self.expire("--by", "modified", "--days", "7")
        self.assertEqual(sorted(self.would_go(shown)), [r"\u001b[31mred", r"\xff\xfe", r"a\nb"])
        self.assertEqual(os.listdir(raw), [])

    def test_long_lists_are_cut(self):
        for i in range(50):
            self.write(f"f{i}", 1, 9 + i)
        shown = self.expire("--by", "modified", "--days", "7", "--dry-run")
        self.assertEqual(len(self.would_go(shown)), 40)
        self.assertIn("… and 10 files more", shown)

    def test_progress_is_for_large_folders(self):
        for i in range(7000):
            (self.folder / str(i)).touch()
        shown = Terminal.on_terminal(self, "cache", self.folder)
        self.assertRegex(shown, "\r\x1b\\[Klooking at files … [567],\\d+ files\r\x1b\\[K")
        self.run_ok("cache", self.folder, "--expire", "--all")
        self.write("a")
        self.assertNotIn("\r\x1b[K", Terminal.on_terminal(self, "cache", self.folder))

    def test_output_that_cannot_be_written(self):
        self.write("a")
        with open("/dev/full", "wb") as full:
            result = subprocess.run([KVT, "cache", self.folder], stdout=full, stderr=subprocess.PIPE)
            self.assertEqual(result.returncode, OUTPUT)


if __name__ == "__main__":
    unittest.main()
