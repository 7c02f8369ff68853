#!/usr/bin/env python3
"""quotes.py sees what it should: each case breaks one thing, or none."""
import pathlib
import subprocess
import sys
import tempfile
import unittest

QUOTES = pathlib.Path(__file__).with_name("quotes.py")

PROGRAM = """\
#include <iostream>
// >>>
class A {};
// <<<
int main() {
  // >>>
  std::cout << 1 << "\\n";   // 1
  std::cout << "{}" << "\\n";  // {"b":2,"a":1}
  // <<<
}
"""
QUOTED = 'class A {};\n\nstd::cout << 1 << "\\n";   // 1\nstd::cout << "{}" << "\\n";  // {"b":2,"a":1}\n'


class QuotesTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        (self.root / "tour").mkdir()
        (self.root / "tour/a.cpp").write_text(PROGRAM)
        (self.root / "build.txt").write_text("  find me\nand me\n")

    def quotes(self, *arguments):
        result = subprocess.run([sys.executable, QUOTES, *map(str, arguments)], capture_output=True, text=True)
        return result.returncode, result.stderr

    def check(self, document, *options):
        (self.root / "doc.md").write_text(document)
        return self.quotes("check", self.root, self.root / "doc.md", *options)

    def test_true_quotation_passes(self):
        document = f"Text.\n\n<!-- tour/a.cpp -->\n```cpp\n{QUOTED}```\n\n```sh\nls\n```\n"
        self.assertEqual(self.check(document, "--folder", "tour"), (0, ""))

    def test_a_changed_character_is_seen(self):
        status, said = self.check(f"<!-- tour/a.cpp -->\n```cpp\n{QUOTED.replace('1 <<', '2 <<')}```\n")
        self.assertEqual(status, 1)
        self.assertIn("differs from tour/a.cpp", said)

    def test_a_block_from_nowhere_is_seen(self):
        status, said = self.check(f"<!-- tour/a.cpp -->\n```cpp\n{QUOTED}```\n\n```cpp\nint x;\n```\n")
        self.assertEqual(status, 1)
        self.assertIn("doc.md:9: C++ that nothing compiles", said)

    def test_a_program_that_is_not_quoted_is_seen(self):
        (self.root / "tour/b.cpp").write_text(PROGRAM)
        status, said = self.check(f"<!-- tour/a.cpp -->\n```cpp\n{QUOTED}```\n", "--folder", "tour")
        self.assertEqual(status, 1)
        self.assertIn("does not quote tour/b.cpp", said)

    def test_lines_of_a_file(self):
        self.assertEqual(self.check("<!-- lines of build.txt -->\n```cmake\nfind me\n```\n")[0], 0)
        status, said = self.check("<!-- lines of build.txt -->\n```cmake\nfind you\n```\n")
        self.assertEqual(status, 1)
        self.assertIn("not in build.txt: find you", said)

    def test_a_dead_link_is_seen(self):
        quoted = f"<!-- tour/a.cpp -->\n```cpp\n{QUOTED}```\n"
        self.assertEqual(self.check(quoted + "[a](tour/a.cpp#L1) [b](https://example.com/none)\n")[0], 0)
        status, said = self.check(quoted + "[a](tour/none.cpp)\n")
        self.assertEqual(status, 1)
        self.assertIn("leads nowhere: tour/none.cpp", said)

    def test_update_writes_what_is_true(self):
        self.assertEqual(self.check("<!-- tour/a.cpp -->\n```cpp\nold\n```\n", "--update")[0], 0)
        self.assertEqual((self.root / "doc.md").read_text(), f"<!-- tour/a.cpp -->\n```cpp\n{QUOTED}```\n")

    def program(self, text, status=0):
        path = self.root / "program"
        path.write_text(f"#!/bin/sh\ncat <<'END'\n{text}END\nexit {status}\n")
        path.chmod(0o755)
        return path

    def test_output_is_what_the_comments_say(self):
        source = self.root / "tour/a.cpp"
        rows = [('1\n{"a":1,"b":2}\n', 0, 0), ('2\n{"a":1,"b":2}\n', 0, 1), ('1\n{"a":1,"b":3}\n', 0, 1), ("1\n", 0, 1),
                ('1\n{"a":1,"b":2}\nmore\n', 0, 1), ('1\n{"a":1,"b":2}\n', 3, 1)]
        for text, ends_with, expected in rows:
            with self.subTest(text=text, ends_with=ends_with):
                self.assertEqual(self.quotes("run", source, self.program(text, ends_with))[0], expected)

    def test_a_printed_line_without_comment_is_seen(self):
        source = self.root / "tour/a.cpp"
        source.write_text(PROGRAM.replace("   // 1", ""))
        self.assertIn("2 lines are printed and 1 are said", self.quotes("run", source, self.program('{"a":1,"b":2}\n'))[1])

    def test_golden_ignores_addresses_alone(self):
        (self.root / "golden").write_text("<A: 0x12>\nb\n")
        self.assertEqual(self.quotes("golden", self.root / "golden", self.program("<A: 0xffe>\nb\n"))[0], 0)
        self.assertEqual(self.quotes("golden", self.root / "golden", self.program("<A: 0xffe>\nc\n"))[0], 1)


if __name__ == "__main__":
    unittest.main()
